#include "plist/binary_plist.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "plist/plist_objects.h"
#include "plist/utf.h"

namespace numbrel {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;

using plist::readBigEndian;

class Reader {
public:
    explicit Reader(std::string_view bytes)
        : data_(reinterpret_cast<const std::uint8_t*>(bytes.data())), size_(bytes.size()) {}

    PlistResult run() {
        PlistResult result;
        if (size_ < kMagic.size() + kTrailerSize || std::memcmp(data_, kMagic.data(), kMagic.size()) != 0) {
            result.error = "not a binary property list";
            return result;
        }
        const std::uint8_t* t = data_ + size_ - kTrailerSize;
        offsetSize_ = t[6];
        refSize_ = t[7];
        std::uint64_t numObjects = readBigEndian(t + 8, 8);
        std::uint64_t topObject = readBigEndian(t + 16, 8);
        std::uint64_t tableOffset = readBigEndian(t + 24, 8);
        objectsEnd_ = size_ - kTrailerSize;

        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8)
            return fail("bad trailer sizes");
        if (numObjects == 0 || topObject >= numObjects) return fail("bad trailer object count");
        if (tableOffset < kMagic.size() || tableOffset > objectsEnd_)
            return fail("offset table outside the file");
        if (numObjects > (objectsEnd_ - tableOffset) / offsetSize_)
            return fail("offset table outside the file");
        numObjects_ = numObjects;
        tableOffset_ = tableOffset;
        objectsEnd_ = tableOffset;  // objects lie between the header and the offset table
        onPath_.assign(numObjects, 0);
        // Every materialised node of a tree needs at least one reference byte in the file; the
        // slack allows some sharing. Beyond that the file is a "billion laughs" expansion.
        budget_ = 2 * size_ + 1024;

        if (!readObject(topObject, 0, result.value)) return fail(error_);
        return result;
    }

private:
    PlistResult fail(std::string message) {
        PlistResult r;
        r.error = std::move(message);
        return r;
    }

    bool setError(const char* message) {
        if (error_.empty()) error_ = message;
        return false;
    }

    bool objectOffset(std::uint64_t index, std::uint64_t& offset) {
        if (index >= numObjects_) return setError("object reference out of range");
        offset = readBigEndian(data_ + tableOffset_ + index * offsetSize_, offsetSize_);
        if (offset < kMagic.size() || offset >= objectsEnd_)
            return setError("object offset outside the file");
        return true;
    }

    bool need(std::uint64_t pos, std::uint64_t len) {
        const char* error = nullptr;
        return objects().need(pos, len, error) || setError(error);
    }

    bool readCount(std::uint64_t& pos, std::uint8_t low, std::uint64_t& count) {
        const char* error = nullptr;
        return objects().count(pos, low, count, error) || setError(error);
    }

    plist::ObjectBytes objects() const { return {data_, objectsEnd_}; }

    bool readRef(std::uint64_t pos, std::uint64_t& ref) {
        ref = readBigEndian(data_ + pos, refSize_);
        return true;
    }

    bool readObject(std::uint64_t index, int depth, Value& out) {
        if (depth > kMaxPlistDepth) return setError("nesting too deep");
        if (budget_ == 0) return setError("object graph too large");
        --budget_;
        std::uint64_t pos = 0;
        if (!objectOffset(index, pos)) return false;
        std::uint8_t marker = data_[pos];
        std::uint8_t high = marker >> 4, low = marker & 0x0F;
        switch (high) {
            case 0xA:
            case 0xC:
                return readArray(index, pos + 1, low, depth, out);
            case 0xD:
                return readDictionary(index, pos + 1, low, depth, out);
            default: {
                const char* error = nullptr;
                return objects().scalar(pos, out, error) || setError(error);
            }
        }
    }

    // Dictionary keys are shared by every dictionary that uses them: decode each key object once.
    bool readKey(std::uint64_t index, Key& out) {
        if (index < keyCache_.size() && keyCache_[index] >= 0) {
            out = keys_[static_cast<std::size_t>(keyCache_[index])];
            return true;
        }
        std::uint64_t pos = 0;
        if (!objectOffset(index, pos)) return false;
        std::uint8_t high = data_[pos] >> 4;
        if (high != 0x5 && high != 0x6) return setError("dictionary key is not a string");
        Value key;
        if (!readObject(index, 0, key)) return false;
        if (keyCache_.empty()) keyCache_.assign(numObjects_, -1);
        keyCache_[index] = static_cast<std::int32_t>(keys_.size());
        keys_.emplace_back(key.string());
        out = keys_.back();
        return true;
    }

    bool enter(std::uint64_t index) {
        if (onPath_[index]) return setError("reference cycle");
        onPath_[index] = 1;
        return true;
    }

    bool readArray(std::uint64_t index, std::uint64_t pos, std::uint8_t low, int depth, Value& out) {
        std::uint64_t count = 0;
        if (!readCount(pos, low, count)) return false;
        if (count > objectsEnd_ / refSize_ || !need(pos, count * refSize_))
            return setError("bad array count");
        if (count > budget_) return setError("object graph too large");
        if (!enter(index)) return false;
        Array items(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            std::uint64_t ref = 0;
            readRef(pos + i * refSize_, ref);
            if (!readObject(ref, depth + 1, items[i])) return false;
        }
        onPath_[index] = 0;
        out = Value(std::move(items));
        return true;
    }

    bool readDictionary(std::uint64_t index, std::uint64_t pos, std::uint8_t low, int depth, Value& out) {
        std::uint64_t count = 0;
        if (!readCount(pos, low, count)) return false;
        if (count > objectsEnd_ / (2 * refSize_) || !need(pos, 2 * count * refSize_))
            return setError("bad dictionary count");
        if (2 * count > budget_) return setError("object graph too large");
        if (!enter(index)) return false;
        Value::Dictionary entries(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            std::uint64_t keyRef = 0, valueRef = 0;
            readRef(pos + i * refSize_, keyRef);
            readRef(pos + (count + i) * refSize_, valueRef);
            if (!readKey(keyRef, entries[i].key)) return false;
            if (!readObject(valueRef, depth + 1, entries[i].value)) return false;
        }
        onPath_[index] = 0;
        // Keys are kept sorted; of duplicate keys the last one wins. Writers usually sort already.
        bool sortedUnique = true;
        for (std::size_t i = 1; i < entries.size() && sortedUnique; ++i)
            sortedUnique = entries[i - 1].key < entries[i].key;
        if (!sortedUnique) {
            std::stable_sort(entries.begin(), entries.end(),
                             [](const Value::Entry& a, const Value::Entry& b) { return a.key < b.key; });
            std::size_t w = 0;
            for (std::size_t r = 0; r < entries.size(); ++r) {
                if (w > 0 && entries[w - 1].key == entries[r].key) {
                    entries[w - 1].value = std::move(entries[r].value);
                } else {
                    if (w != r) entries[w] = std::move(entries[r]);
                    ++w;
                }
            }
            entries.resize(w);
        }
        out = Value(std::move(entries));
        return true;
    }

    const std::uint8_t* data_;
    std::uint64_t size_;
    std::uint64_t objectsEnd_ = 0;
    std::uint64_t tableOffset_ = 0;
    std::uint64_t numObjects_ = 0;
    std::uint64_t budget_ = 0;
    unsigned offsetSize_ = 0;
    unsigned refSize_ = 0;
    std::vector<std::uint8_t> onPath_;
    std::vector<std::int32_t> keyCache_;  // object index -> index into keys_, or -1
    std::vector<Key> keys_;
    std::string error_;
};

// ---- writer ----

unsigned bytesFor(std::uint64_t v) {
    if (v <= 0xFF) return 1;
    if (v <= 0xFFFF) return 2;
    if (v <= 0xFFFFFFFFull) return 4;
    return 8;
}

// An open-addressing map from 64-bit keys to object indexes, for sharing equal scalars: far
// smaller and faster than a node-based map for the hundred thousand numbers of a large document.
class ScalarIndex {
public:
    // The index stored for key, or inserts candidate and returns it.
    std::uint32_t findOrInsert(std::uint8_t type, std::uint64_t key, std::uint32_t candidate,
                               bool& inserted) {
        if (10 * (size_ + 1) > 7 * slots_.size()) grow();
        std::size_t mask = slots_.size() - 1;
        for (std::size_t i = mix(key + type) & mask;; i = (i + 1) & mask) {
            Slot& slot = slots_[i];
            if (slot.index == kEmpty) {
                slot = {key, candidate, type};
                ++size_;
                inserted = true;
                return candidate;
            }
            if (slot.key == key && slot.type == type) {
                inserted = false;
                return slot.index;
            }
        }
    }

private:
    static constexpr std::uint32_t kEmpty = 0xFFFFFFFF;
    struct Slot {
        std::uint64_t key = 0;
        std::uint32_t index = kEmpty;
        std::uint8_t type = 0;
    };
    static std::uint64_t mix(std::uint64_t x) {
        x ^= x >> 30;
        x *= 0xbf58476d1ce4e5b9ull;
        x ^= x >> 27;
        x *= 0x94d049bb133111ebull;
        return x ^ (x >> 31);
    }
    void grow() {
        std::vector<Slot> old = std::move(slots_);
        slots_.assign(old.empty() ? 64 : 2 * old.size(), Slot{});
        size_ = 0;
        bool inserted = false;
        for (const Slot& s : old)
            if (s.index != kEmpty) findOrInsert(s.type, s.key, s.index, inserted);
    }
    std::vector<Slot> slots_;
    std::size_t size_ = 0;
};

class Writer {
public:
    std::string run(const Value& top) {
        reserveFor(top, 1);
        flatten(top);
        return finish();
    }

    std::string run(std::span<const std::pair<std::string_view, const Value*>> entries) {
        std::vector<std::pair<std::string_view, const Value*>> sorted(entries.begin(), entries.end());
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        std::size_t n = sorted.size();
        std::size_t nodes = 1 + n, refs = 2 * n;
        for (const auto& e : sorted)
            count(*e.second, nodes, refs);
        objects_.reserve(nodes);
        children_.reserve(refs);
        objects_.push_back({nullptr, 0, kTop | static_cast<std::uint32_t>(n)});
        children_.resize(2 * n);
        for (std::size_t i = 0; i < n; ++i)
            children_[i] = addString(sorted[i].first, &sorted[i].first, kViewKey);
        for (std::size_t i = 0; i < n; ++i)
            children_[n + i] = flatten(*sorted[i].second);
        return finish();
    }

private:
    // Upper bounds of the objects and references a value needs, so that the tables are allocated
    // once at their final size (a large document would otherwise hold two copies while growing).
    static void count(const Value& v, std::size_t& nodes, std::size_t& refs) {
        ++nodes;
        if (v.isArray()) {
            refs += v.array().size();
            for (const Value& e : v.array())
                count(e, nodes, refs);
        } else if (v.isDictionary()) {
            nodes += v.dictionary().size();
            refs += 2 * v.dictionary().size();
            for (const auto& e : v.dictionary())
                count(e.value, nodes, refs);
        }
    }
    void reserveFor(const Value& v, std::size_t extra) {
        std::size_t nodes = extra, refs = 0;
        count(v, nodes, refs);
        objects_.reserve(nodes);
        children_.reserve(refs);
    }

    // An object of the file: what it is (kind in the top bits of info) and where its children are.
    struct Object {
        const void* ptr;      // the Value, or the key text (std::string or std::string_view)
        std::uint32_t child;  // first entry in children_, for containers
        std::uint32_t info;   // kind | count (count used by the assembled top dictionary)
    };
    static constexpr std::uint32_t kValue = 0, kStringKey = 1u << 30, kViewKey = 2u << 30, kTop = 3u << 30;
    static constexpr std::uint32_t kKindMask = 3u << 30;

    // Output buffer written through a cursor; room is made once per object, not per byte.
    char* room(std::size_t bytes) {
        if (used_ + bytes > out_.size()) out_.resize(std::max(out_.size() * 2, used_ + bytes + 4096));
        return out_.data() + used_;
    }
    void advance(char* end) { used_ = static_cast<std::size_t>(end - out_.data()); }

    static char* put(char* p, std::uint64_t v, unsigned n) {
        for (unsigned i = n; i-- > 0;)
            *p++ = static_cast<char>((v >> (8 * i)) & 0xFF);
        return p;
    }
    static char* putInteger(char* p, std::int64_t i) {
        if (i < 0) {
            *p++ = '\x13';
            return put(p, static_cast<std::uint64_t>(i), 8);
        }
        auto u = static_cast<std::uint64_t>(i);
        unsigned n = bytesFor(u);
        *p++ = static_cast<char>(0x10 | std::countr_zero(n));
        return put(p, u, n);
    }
    static char* putMarker(char* p, std::uint8_t high, std::uint64_t count) {
        if (count < 15) {
            *p++ = static_cast<char>((high << 4) | count);
            return p;
        }
        *p++ = static_cast<char>((high << 4) | 0x0F);
        return putInteger(p, static_cast<std::int64_t>(count));
    }

    std::string finish() {
        refSize_ = bytesFor(objects_.size());
        out_.resize(objects_.size() * 10 + children_.size() * refSize_ + 64);
        char* p = room(kMagic.size());
        std::memcpy(p, kMagic.data(), kMagic.size());
        advance(p + kMagic.size());
        std::vector<std::uint32_t> offsets(objects_.size());  // files stay far below 4 GB
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            offsets[i] = static_cast<std::uint32_t>(used_);
            writeObject(objects_[i]);
        }
        std::uint64_t tableOffset = used_;
        unsigned offsetSize = bytesFor(tableOffset);
        p = room(offsets.size() * offsetSize + 32);
        for (std::uint64_t off : offsets)
            p = put(p, off, offsetSize);
        std::memset(p, 0, 6);
        p += 6;
        *p++ = static_cast<char>(offsetSize);
        *p++ = static_cast<char>(refSize_);
        p = put(p, objects_.size(), 8);
        p = put(p, 0, 8);
        p = put(p, tableOffset, 8);
        advance(p);
        out_.resize(used_);
        return std::move(out_);
    }

    std::uint32_t add(const void* ptr, std::uint32_t info) {
        objects_.push_back({ptr, 0, info});
        return static_cast<std::uint32_t>(objects_.size() - 1);
    }

    std::uint32_t addScalar(std::uint8_t type, std::uint64_t bits, const Value* v) {
        bool inserted = false;
        std::uint32_t index =
            scalars_.findOrInsert(type, bits, static_cast<std::uint32_t>(objects_.size()), inserted);
        if (inserted) add(v, kValue);
        return index;
    }

    std::uint32_t addString(std::string_view s, const void* ptr, std::uint32_t kind) {
        auto [it, inserted] = strings_.try_emplace(s, static_cast<std::uint32_t>(objects_.size()));
        if (inserted) add(ptr, kind);
        return it->second;
    }

    std::uint32_t flatten(const Value& v) {
        switch (v.type()) {
            case Value::Type::Bool:
                return addScalar(0, v.boolean() ? 1 : 0, &v);
            case Value::Type::Integer:
                return addScalar(1, static_cast<std::uint64_t>(v.integer()), &v);
            case Value::Type::Real:
                return addScalar(2, std::bit_cast<std::uint64_t>(v.real()), &v);
            case Value::Type::Uid:
                return addScalar(3, v.uidValue(), &v);
            case Value::Type::Date:
                return add(&v, kValue);  // dates rarely repeat: not worth sharing
            case Value::Type::String:
                return addString(v.string(), &v, kValue);
            case Value::Type::Data: {
                const Data& d = v.data();
                std::string_view bytes(reinterpret_cast<const char*>(d.data()), d.size());
                auto [it, inserted] = datas_.try_emplace(bytes, static_cast<std::uint32_t>(objects_.size()));
                if (inserted) add(&v, kValue);
                return it->second;
            }
            case Value::Type::Array: {
                std::uint32_t index = add(&v, kValue);
                std::size_t n = v.array().size();
                auto first = static_cast<std::uint32_t>(children_.size());
                children_.resize(children_.size() + n);
                for (std::size_t i = 0; i < n; ++i)
                    children_[first + i] = flatten(v.array()[i]);
                objects_[index].child = first;
                return index;
            }
            case Value::Type::Dictionary: {
                std::uint32_t index = add(&v, kValue);
                const auto& d = v.dictionary();
                std::size_t n = d.size();
                auto first = static_cast<std::uint32_t>(children_.size());
                children_.resize(children_.size() + 2 * n);
                for (std::size_t i = 0; i < n; ++i)
                    children_[first + i] = addString(d[i].key, &d[i].key, kStringKey);
                for (std::size_t i = 0; i < n; ++i)
                    children_[first + n + i] = flatten(d[i].value);
                objects_[index].child = first;
                return index;
            }
        }
        return 0;
    }

    void writeText(std::string_view s) {
        if (isAscii(s)) {
            char* p = putMarker(room(s.size() + 16), 0x5, s.size());
            if (!s.empty()) std::memcpy(p, s.data(), s.size());  // an empty view may hold no pointer
            advance(p + s.size());
            return;
        }
        std::u16string wide = utf8ToUtf16(s);
        char* p = putMarker(room(2 * wide.size() + 16), 0x6, wide.size());
        for (char16_t c : wide)
            p = put(p, c, 2);
        advance(p);
    }

    void writeContainer(std::uint8_t high, std::uint32_t first, std::size_t count, std::size_t refs) {
        char* p = putMarker(room(refs * refSize_ + 16), high, count);
        for (std::size_t i = 0; i < refs; ++i)
            p = put(p, children_[first + i], refSize_);
        advance(p);
    }

    void writeObject(const Object& o) {
        switch (o.info & kKindMask) {
            case kStringKey:
                return writeText(static_cast<const Key*>(o.ptr)->view());
            case kViewKey:
                return writeText(*static_cast<const std::string_view*>(o.ptr));
            case kTop: {
                std::size_t n = o.info & ~kKindMask;
                return writeContainer(0xD, o.child, n, 2 * n);
            }
            default:
                break;
        }
        const Value& v = *static_cast<const Value*>(o.ptr);
        char* p = room(24);
        switch (v.type()) {
            case Value::Type::Bool:
                *p++ = v.boolean() ? '\x09' : '\x08';
                break;
            case Value::Type::Integer:
                p = putInteger(p, v.integer());
                break;
            case Value::Type::Real:
                *p++ = '\x23';
                p = put(p, std::bit_cast<std::uint64_t>(v.real()), 8);
                break;
            case Value::Type::Date:
                *p++ = '\x33';
                p = put(p, std::bit_cast<std::uint64_t>(v.date().seconds), 8);
                break;
            case Value::Type::Uid: {
                std::uint64_t id = v.uidValue();
                unsigned n = bytesFor(id);
                *p++ = static_cast<char>(0x80 | (n - 1));
                p = put(p, id, n);
                break;
            }
            case Value::Type::String:
                return writeText(v.string());
            case Value::Type::Data: {
                const Data& d = v.data();
                p = putMarker(room(d.size() + 16), 0x4, d.size());
                if (!d.empty()) std::memcpy(p, d.data(), d.size());  // empty data holds no pointer
                p += d.size();
                break;
            }
            case Value::Type::Array:
                return writeContainer(0xA, o.child, v.array().size(), v.array().size());
            case Value::Type::Dictionary:
                return writeContainer(0xD, o.child, v.dictionary().size(), 2 * v.dictionary().size());
        }
        advance(p);
    }

    std::vector<Object> objects_;
    std::vector<std::uint32_t> children_;
    ScalarIndex scalars_;
    std::unordered_map<std::string_view, std::uint32_t> strings_, datas_;
    unsigned refSize_ = 1;
    std::string out_;
    std::size_t used_ = 0;
};

}  // namespace

PlistResult readBinaryPlist(std::string_view bytes) {
    return Reader(bytes).run();
}

std::string writeBinaryPlist(const Value& value) {
    return Writer().run(value);
}

std::string writeBinaryPlistDictionary(std::span<const std::pair<std::string_view, const Value*>> entries) {
    if (entries.empty()) return writeBinaryPlist(Value::emptyDictionary());
    return Writer().run(entries);
}

bool looksLikeBinaryPlist(std::string_view bytes) {
    return bytes.substr(0, kMagic.size()) == kMagic;
}

}  // namespace numbrel
