#include "plist/binary_plist.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "plist/utf.h"

namespace numbrel {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;

std::uint64_t readBigEndian(const std::uint8_t* p, std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i)
        v = (v << 8) | p[i];
    return v;
}

double doubleFromBits(std::uint64_t bits) {
    return std::bit_cast<double>(bits);
}

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
        if (pos > objectsEnd_ || len > objectsEnd_ - pos)
            return setError("object runs past the end of the file");
        return true;
    }

    // Reads the element count of a marker whose low nibble is the count or 0xF (count follows).
    bool readCount(std::uint64_t& pos, std::uint8_t low, std::uint64_t& count) {
        if (low != 0xF) {
            count = low;
            return true;
        }
        if (!need(pos, 1)) return false;
        std::uint8_t m = data_[pos];
        if ((m & 0xF0) != 0x10) return setError("bad count");
        std::size_t n = std::size_t{1} << (m & 0x0F);
        if (n > 8) return setError("bad count");
        if (!need(pos + 1, n)) return false;
        count = readBigEndian(data_ + pos + 1, n);
        pos += 1 + n;
        return true;
    }

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
        std::uint8_t marker = data_[pos++];
        std::uint8_t high = marker >> 4, low = marker & 0x0F;
        switch (high) {
            case 0x0:
                if (marker == 0x08 || marker == 0x09) {
                    out = Value(marker == 0x09);
                    return true;
                }
                return setError("unsupported object (null or fill)");
            case 0x1: {
                std::size_t n = std::size_t{1} << low;
                if (low > 4 || !need(pos, n)) return setError("bad integer");
                if (n <= 8) {
                    std::uint64_t v = readBigEndian(data_ + pos, n);
                    // 1, 2 and 4 bytes are unsigned; 8 bytes are signed.
                    out = Value(static_cast<long long>(v));
                } else {
                    std::uint64_t hi = readBigEndian(data_ + pos, 8), lo = readBigEndian(data_ + pos + 8, 8);
                    bool fits = (hi == 0 && lo <= 0x7FFFFFFFFFFFFFFFull) ||
                                (hi == ~std::uint64_t{0} && lo > 0x7FFFFFFFFFFFFFFFull);
                    if (fits) {
                        out = Value(static_cast<long long>(lo));
                    } else if (hi == 0) {
                        out = Value(static_cast<double>(lo));  // unsigned 64-bit beyond int64
                    } else {
                        return setError("integer out of range");
                    }
                }
                return true;
            }
            case 0x2: {
                if (low == 2 && need(pos, 4)) {
                    out = Value(static_cast<double>(
                        std::bit_cast<float>(static_cast<std::uint32_t>(readBigEndian(data_ + pos, 4)))));
                    return true;
                }
                if (low == 3 && need(pos, 8)) {
                    out = Value(doubleFromBits(readBigEndian(data_ + pos, 8)));
                    return true;
                }
                return setError("bad real");
            }
            case 0x3:
                if (marker != 0x33 || !need(pos, 8)) return setError("bad date");
                out = Value(Date{doubleFromBits(readBigEndian(data_ + pos, 8))});
                return true;
            case 0x4: {
                std::uint64_t count = 0;
                if (!readCount(pos, low, count) || !need(pos, count)) return false;
                out = Value(Data(data_ + pos, data_ + pos + count));
                return true;
            }
            case 0x5: {
                std::uint64_t count = 0;
                if (!readCount(pos, low, count) || !need(pos, count)) return false;
                std::string_view s(reinterpret_cast<const char*>(data_ + pos), count);
                if (isAscii(s)) {
                    out = Value(std::string(s));
                } else {  // bytes above 0x7F in an "ASCII" string: read them as Latin-1
                    std::u16string wide(s.begin(), s.end());
                    for (std::size_t i = 0; i < s.size(); ++i)
                        wide[i] = static_cast<std::uint8_t>(s[i]);
                    out = Value(utf16ToUtf8(wide));
                }
                return true;
            }
            case 0x6: {
                std::uint64_t count = 0;
                if (!readCount(pos, low, count)) return false;
                if (count > objectsEnd_ / 2 || !need(pos, count * 2)) return setError("bad string length");
                std::u16string wide(count, u'\0');
                for (std::uint64_t i = 0; i < count; ++i)
                    wide[i] = static_cast<char16_t>(readBigEndian(data_ + pos + 2 * i, 2));
                out = Value(utf16ToUtf8(wide));
                return true;
            }
            case 0x8: {
                if (!need(pos, low + 1u)) return false;
                out = Value::uid(readBigEndian(data_ + pos, low + 1u));
                return true;
            }
            case 0xA:
            case 0xC:
                return readArray(index, pos, low, depth, out);
            case 0xD:
                return readDictionary(index, pos, low, depth, out);
            default:
                return setError("unknown object type");
        }
    }

    // Dictionary keys are shared by every dictionary that uses them: decode each key object once.
    bool readKey(std::uint64_t index, std::string& out) {
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
        keys_.push_back(key.string());
        out = std::move(key.string());
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
    std::vector<std::string> keys_;
    std::string error_;
};

// ---- writer ----

unsigned bytesFor(std::uint64_t v) {
    if (v <= 0xFF) return 1;
    if (v <= 0xFFFF) return 2;
    if (v <= 0xFFFFFFFFull) return 4;
    return 8;
}

void putBigEndian(std::string& out, std::uint64_t v, unsigned n) {
    for (unsigned i = n; i-- > 0;)
        out += static_cast<char>((v >> (8 * i)) & 0xFF);
}

class Writer {
  public:
    std::string run(const Value& top) {
        flatten(top);
        return finish();
    }

    std::string run(std::span<const std::pair<std::string_view, const Value*>> entries) {
        std::vector<std::pair<std::string_view, const Value*>> sorted(entries.begin(), entries.end());
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        objects_.push_back({nullptr, {}, 0, static_cast<std::uint32_t>(sorted.size())});
        std::size_t n = sorted.size();
        children_.resize(2 * n);
        for (std::size_t i = 0; i < n; ++i)
            children_[i] = addString(sorted[i].first, nullptr);
        for (std::size_t i = 0; i < n; ++i)
            children_[n + i] = flatten(*sorted[i].second);
        return finish();
    }

  private:
    std::string finish() {
        refSize_ = bytesFor(objects_.size());
        std::string out;
        out.reserve(objects_.size() * 12 + 64);
        out.append(kMagic);
        std::vector<std::uint64_t> offsets(objects_.size());
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            offsets[i] = out.size();
            writeObject(out, objects_[i]);
        }
        std::uint64_t tableOffset = out.size();
        unsigned offsetSize = bytesFor(tableOffset);
        for (std::uint64_t off : offsets)
            putBigEndian(out, off, offsetSize);
        out.append(6, '\0');
        out += static_cast<char>(offsetSize);
        out += static_cast<char>(refSize_);
        putBigEndian(out, objects_.size(), 8);
        putBigEndian(out, 0, 8);
        putBigEndian(out, tableOffset, 8);
        return out;
    }

    struct Object {
        const Value* value;          // null for a dictionary key or an assembled top dictionary
        std::string_view key;        // the key text of a dictionary key
        std::uint32_t firstChild;    // into children_, for containers
        std::uint32_t topCount = 0;  // entries of an assembled top dictionary
    };

    std::uint32_t addScalar(std::unordered_map<std::uint64_t, std::uint32_t>& seen, std::uint64_t bits,
                            const Value* v) {
        auto [it, inserted] = seen.try_emplace(bits, static_cast<std::uint32_t>(objects_.size()));
        if (inserted) objects_.push_back({v, {}, 0});
        return it->second;
    }

    std::uint32_t addString(std::string_view s, const Value* v) {
        auto [it, inserted] = strings_.try_emplace(s, static_cast<std::uint32_t>(objects_.size()));
        if (inserted) objects_.push_back({v, s, 0});
        return it->second;
    }

    std::uint32_t flatten(const Value& v) {
        switch (v.type()) {
            case Value::Type::Bool:
                return addScalar(bools_, v.boolean() ? 1 : 0, &v);
            case Value::Type::Integer:
                return addScalar(integers_, static_cast<std::uint64_t>(v.integer()), &v);
            case Value::Type::Real:
                return addScalar(reals_, std::bit_cast<std::uint64_t>(v.real()), &v);
            case Value::Type::Date:
                return addScalar(dates_, std::bit_cast<std::uint64_t>(v.date().seconds), &v);
            case Value::Type::Uid:
                return addScalar(uids_, v.uidValue(), &v);
            case Value::Type::String:
                return addString(v.string(), &v);
            case Value::Type::Data: {
                const Data& d = v.data();
                std::string_view bytes(reinterpret_cast<const char*>(d.data()), d.size());
                auto [it, inserted] = datas_.try_emplace(bytes, static_cast<std::uint32_t>(objects_.size()));
                if (inserted) objects_.push_back({&v, {}, 0});
                return it->second;
            }
            case Value::Type::Array: {
                auto index = static_cast<std::uint32_t>(objects_.size());
                objects_.push_back({&v, {}, 0});
                std::size_t n = v.array().size();
                auto first = static_cast<std::uint32_t>(children_.size());
                children_.resize(children_.size() + n);
                for (std::size_t i = 0; i < n; ++i)
                    children_[first + i] = flatten(v.array()[i]);
                objects_[index].firstChild = first;
                return index;
            }
            case Value::Type::Dictionary: {
                auto index = static_cast<std::uint32_t>(objects_.size());
                objects_.push_back({&v, {}, 0});
                const auto& d = v.dictionary();
                std::size_t n = d.size();
                auto first = static_cast<std::uint32_t>(children_.size());
                children_.resize(children_.size() + 2 * n);
                for (std::size_t i = 0; i < n; ++i)
                    children_[first + i] = addString(d[i].key, nullptr);
                for (std::size_t i = 0; i < n; ++i)
                    children_[first + n + i] = flatten(d[i].value);
                objects_[index].firstChild = first;
                return index;
            }
        }
        return 0;
    }

    static void writeMarker(std::string& out, std::uint8_t high, std::uint64_t count) {
        if (count < 15) {
            out += static_cast<char>((high << 4) | count);
        } else {
            out += static_cast<char>((high << 4) | 0x0F);
            writeInteger(out, static_cast<std::int64_t>(count));
        }
    }

    static void writeInteger(std::string& out, std::int64_t i) {
        if (i < 0) {
            out += '\x13';
            putBigEndian(out, static_cast<std::uint64_t>(i), 8);
            return;
        }
        auto u = static_cast<std::uint64_t>(i);
        unsigned n = bytesFor(u);
        out += static_cast<char>(0x10 | std::countr_zero(n));
        putBigEndian(out, u, n);
    }

    static void writeText(std::string& out, std::string_view s) {
        if (isAscii(s)) {
            writeMarker(out, 0x5, s.size());
            out.append(s);
            return;
        }
        std::u16string wide = utf8ToUtf16(s);
        writeMarker(out, 0x6, wide.size());
        for (char16_t c : wide)
            putBigEndian(out, c, 2);
    }

    void writeRefs(std::string& out, std::uint32_t first, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            putBigEndian(out, children_[first + i], refSize_);
    }

    void writeObject(std::string& out, const Object& o) {
        if (!o.value && o.topCount > 0) {
            writeMarker(out, 0xD, o.topCount);
            writeRefs(out, o.firstChild, 2 * o.topCount);
            return;
        }
        if (!o.value) {
            writeText(out, o.key);
            return;
        }
        const Value& v = *o.value;
        switch (v.type()) {
            case Value::Type::Bool:
                out += v.boolean() ? '\x09' : '\x08';
                break;
            case Value::Type::Integer:
                writeInteger(out, v.integer());
                break;
            case Value::Type::Real:
                out += '\x23';
                putBigEndian(out, std::bit_cast<std::uint64_t>(v.real()), 8);
                break;
            case Value::Type::Date:
                out += '\x33';
                putBigEndian(out, std::bit_cast<std::uint64_t>(v.date().seconds), 8);
                break;
            case Value::Type::Uid: {
                std::uint64_t id = v.uidValue();
                unsigned n = bytesFor(id);
                out += static_cast<char>(0x80 | (n - 1));
                putBigEndian(out, id, n);
                break;
            }
            case Value::Type::String:
                writeText(out, v.string());
                break;
            case Value::Type::Data:
                writeMarker(out, 0x4, v.data().size());
                out.append(reinterpret_cast<const char*>(v.data().data()), v.data().size());
                break;
            case Value::Type::Array:
                writeMarker(out, 0xA, v.array().size());
                writeRefs(out, o.firstChild, v.array().size());
                break;
            case Value::Type::Dictionary:
                writeMarker(out, 0xD, v.dictionary().size());
                writeRefs(out, o.firstChild, 2 * v.dictionary().size());
                break;
        }
    }

    std::vector<Object> objects_;
    std::vector<std::uint32_t> children_;
    std::unordered_map<std::uint64_t, std::uint32_t> bools_, integers_, reals_, dates_, uids_;
    std::unordered_map<std::string_view, std::uint32_t> strings_, datas_;
    unsigned refSize_ = 1;
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
