// A vector whose size, capacity and elements share one heap block, and whose handle is one pointer.
//
// The arrays and dictionaries of a document are many and small: a reading is a dictionary of two
// entries holding an array of three numbers. With std::vector each of them would be a handle of
// three words plus a separate buffer; here an empty one costs a null pointer and a full one a
// single allocation, so a value can hold its container in place and a reading needs two blocks
// instead of four. The interface is the part of std::vector's that the system uses; iterators are
// pointers, and any operation that grows the vector invalidates them, as with std::vector.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "plist/block_pool.h"

namespace numbrel {

template <typename T>
class PackedVector {
    struct alignas(8) Header {
        std::uint32_t size;
        std::uint32_t capacity;
    };

public:
    using value_type = T;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = T&;
    using const_reference = const T&;
    using pointer = T*;
    using const_pointer = const T*;
    using iterator = T*;
    using const_iterator = const T*;

    PackedVector() noexcept = default;
    PackedVector(std::initializer_list<T> items) { append(items.begin(), items.end()); }
    template <std::input_iterator It>
    PackedVector(It first, It last) {
        append(first, last);
    }
    explicit PackedVector(size_type n) { resize(n); }
    PackedVector(const PackedVector& other) { append(other.begin(), other.end()); }
    PackedVector(PackedVector&& other) noexcept : h_(std::exchange(other.h_, nullptr)) {}
    PackedVector& operator=(const PackedVector& other) {
        if (this != &other) {
            PackedVector copy(other);
            swap(copy);
        }
        return *this;
    }
    PackedVector& operator=(PackedVector&& other) noexcept {
        if (this != &other) {
            PackedVector gone(std::move(*this));
            h_ = std::exchange(other.h_, nullptr);
        }
        return *this;
    }
    PackedVector& operator=(std::initializer_list<T> items) {
        PackedVector copy(items);
        swap(copy);
        return *this;
    }
    ~PackedVector() {
        if (h_) {
            std::destroy(begin(), end());
            release(h_);
        }
    }

    size_type size() const noexcept { return h_ ? h_->size : 0; }
    bool empty() const noexcept { return size() == 0; }
    size_type capacity() const noexcept { return h_ ? h_->capacity : 0; }
    static constexpr size_type max_size() noexcept { return std::numeric_limits<std::uint32_t>::max(); }

    T* data() noexcept { return h_ ? elements(h_) : nullptr; }
    const T* data() const noexcept { return h_ ? elements(h_) : nullptr; }
    iterator begin() noexcept { return data(); }
    iterator end() noexcept { return data() + size(); }
    const_iterator begin() const noexcept { return data(); }
    const_iterator end() const noexcept { return data() + size(); }
    const_iterator cbegin() const noexcept { return begin(); }
    const_iterator cend() const noexcept { return end(); }

    T& operator[](size_type i) noexcept { return data()[i]; }
    const T& operator[](size_type i) const noexcept { return data()[i]; }
    T& front() noexcept { return data()[0]; }
    const T& front() const noexcept { return data()[0]; }
    T& back() noexcept { return data()[size() - 1]; }
    const T& back() const noexcept { return data()[size() - 1]; }

    void reserve(size_type n) {
        if (n > capacity()) reallocate(n);
    }
    void shrink_to_fit() {
        if (capacity() > size()) reallocate(size());
    }
    void clear() noexcept {
        if (h_) {
            std::destroy(begin(), end());
            h_->size = 0;
        }
    }

    void push_back(const T& value) { emplace_back(value); }
    void push_back(T&& value) { emplace_back(std::move(value)); }
    template <typename... Args>
    T& emplace_back(Args&&... args) {
        const size_type n = size();
        if (n == capacity()) {
            // The new element is made before the old ones move, so that it may be built from one of them.
            Header* grown = allocate(grownCapacity(n + 1));
            T* slot = ::new (static_cast<void*>(elements(grown) + n)) T(std::forward<Args>(args)...);
            relocate(grown);
            ++h_->size;
            return *slot;
        }
        T* slot = ::new (static_cast<void*>(elements(h_) + n)) T(std::forward<Args>(args)...);
        ++h_->size;
        return *slot;
    }
    void pop_back() noexcept {
        std::destroy_at(&back());
        --h_->size;
    }

    void resize(size_type n) {
        resizeWith(n, [](T* p) { ::new (static_cast<void*>(p)) T(); });
    }
    void resize(size_type n, const T& value) {
        if (n > size() && n > capacity()) {
            T copy(value);  // value may be one of the elements
            resizeWith(n, [&](T* p) { ::new (static_cast<void*>(p)) T(copy); });
        } else {
            resizeWith(n, [&](T* p) { ::new (static_cast<void*>(p)) T(value); });
        }
    }

    template <typename... Args>
    iterator emplace(const_iterator position, Args&&... args) {
        const size_type at = static_cast<size_type>(position - begin());
        if (at == size()) return &emplace_back(std::forward<Args>(args)...);
        T item(std::forward<Args>(args)...);
        openGap(at, 1);
        T* p = data() + at;
        *p = std::move(item);
        return p;
    }
    iterator insert(const_iterator position, const T& value) { return emplace(position, value); }
    iterator insert(const_iterator position, T&& value) { return emplace(position, std::move(value)); }
    template <std::forward_iterator It>
    iterator insert(const_iterator position, It first, It last) {
        const size_type at = static_cast<size_type>(position - begin());
        const auto count = static_cast<size_type>(std::distance(first, last));
        if (count == 0) return begin() + at;
        PackedVector items(first, last);  // the range may lie in this vector
        openGap(at, count);
        std::move(items.begin(), items.end(), data() + at);
        return data() + at;
    }

    iterator erase(const_iterator position) { return erase(position, position + 1); }
    iterator erase(const_iterator first, const_iterator last) {
        T* from = begin() + (first - cbegin());
        T* to = begin() + (last - cbegin());
        if (from != to) {
            T* newEnd = std::move(to, end(), from);
            std::destroy(newEnd, end());
            h_->size = static_cast<std::uint32_t>(newEnd - data());
        }
        return from;
    }

    void swap(PackedVector& other) noexcept { std::swap(h_, other.h_); }
    friend void swap(PackedVector& a, PackedVector& b) noexcept { a.swap(b); }

    friend bool operator==(const PackedVector& a, const PackedVector& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    static T* elements(Header* h) noexcept {
        static_assert(alignof(T) <= alignof(Header), "elements follow the header without padding");
        return reinterpret_cast<T*>(h + 1);
    }
    static const T* elements(const Header* h) noexcept { return elements(const_cast<Header*>(h)); }

    static Header* allocate(size_type capacity) {
        if (capacity > max_size()) throw std::length_error("PackedVector too long");
        auto* h = static_cast<Header*>(allocateBlock(sizeof(Header) + capacity * sizeof(T)));
        h->size = 0;
        h->capacity = static_cast<std::uint32_t>(capacity);
        return h;
    }
    static void release(Header* h) noexcept { freeBlock(h, sizeof(Header) + h->capacity * sizeof(T)); }
    size_type grownCapacity(size_type needed) const {
        if (needed > max_size()) throw std::length_error("PackedVector too long");
        return std::max(needed, std::min(max_size(), capacity() * 2));
    }
    // Moves the elements into a new block (which may already hold constructed elements past them)
    // and frees the old one.
    void relocate(Header* grown) noexcept {
        if (h_) {
            T* from = elements(h_);
            std::uninitialized_move(from, from + h_->size, elements(grown));
            std::destroy(from, from + h_->size);
            grown->size = h_->size;
            release(h_);
        }
        h_ = grown;
    }
    void reallocate(size_type capacity) {
        if (capacity == 0) {
            PackedVector gone(std::move(*this));
            return;
        }
        relocate(allocate(capacity));
    }
    // Makes room for count elements at index at; the room holds moved-from elements afterwards.
    void openGap(size_type at, size_type count) {
        const size_type n = size();
        if (n + count > capacity()) {
            Header* grown = allocate(grownCapacity(n + count));
            T* from = elements(h_);
            T* to = elements(grown);
            std::uninitialized_move(from, from + at, to);
            std::uninitialized_value_construct(to + at, to + at + count);
            std::uninitialized_move(from + at, from + n, to + at + count);
            std::destroy(from, from + n);
            release(h_);
            grown->size = static_cast<std::uint32_t>(n + count);
            h_ = grown;
            return;
        }
        T* p = elements(h_);
        // The tail moves up by count: its last count elements into fresh room, the rest in place.
        const size_type fresh = std::min(count, n - at);
        std::uninitialized_move(p + n - fresh, p + n, p + n + count - fresh);
        std::uninitialized_value_construct(p + n, p + n + count - fresh);
        std::move_backward(p + at, p + n - fresh, p + n);
        h_->size = static_cast<std::uint32_t>(n + count);
    }
    template <typename Make>
    void resizeWith(size_type n, Make make) {
        const size_type old = size();
        if (n <= old) {
            if (h_) {
                std::destroy(begin() + n, end());
                h_->size = static_cast<std::uint32_t>(n);
            }
            return;
        }
        reserve(n);
        for (size_type i = old; i < n; ++i) {
            make(elements(h_) + i);
            ++h_->size;
        }
    }
    template <typename It>
    void append(It first, It last) {
        if constexpr (std::forward_iterator<It>)
            reserve(size() + static_cast<size_type>(std::distance(first, last)));
        for (; first != last; ++first)
            emplace_back(*first);
    }

    Header* h_ = nullptr;
};

// Erases the elements that match pred, keeping the order of the others; answers how many went.
template <typename T, typename Pred>
std::size_t erase_if(PackedVector<T>& v, Pred pred) {
    auto kept = std::remove_if(v.begin(), v.end(), pred);
    const auto gone = static_cast<std::size_t>(v.end() - kept);
    v.erase(kept, v.end());
    return gone;
}

}  // namespace numbrel
