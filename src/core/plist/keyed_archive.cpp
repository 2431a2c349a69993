#include "plist/keyed_archive.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <unordered_map>
#include <vector>

#include "plist/plist_objects.h"
#include "plist/utf.h"

namespace numbrel {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
constexpr unsigned kRefSize = 4;  // object references of the archives written here
constexpr std::uint32_t kNone = ~std::uint32_t{0};

unsigned bytesFor(std::uint64_t v) {
    return v <= 0xFF ? 1 : v <= 0xFFFF ? 2 : v <= 0xFFFFFFFF ? 4 : 8;
}

// Writes the archive straight into binary property-list form: every archive object is one object
// of the file, and the UID of each archive object one more, made the first time it is referenced.
class ArchiveWriter {
public:
    // slotKey, when given, is one more entry of the root dictionary: an integer of its own, always
    // eight bytes wide, whose place in the text is kept in slot().
    std::string run(const Value& root, std::string_view slotKey = {}) {
        root_ = &root;
        slotKey_ = slotKey;
        // Room for a large household at once: pages that are never written cost nothing.
        out_.reserve(16 << 20);
        offsets_.reserve(1 << 19);
        out_ = kMagic;
        nsKeys_ = text("NS.keys");
        nsObjects_ = text("NS.objects");
        classKey_ = text("$class");
        archive_.push_back(
            text("$null"));  // UID 0 is no value: a document's own "$null" gets a UID of its own
        const std::uint32_t rootUid = add(root);

        // "$objects", "$top" and the top-level dictionary.
        std::uint32_t objects = reserve();
        begin(objects);
        marker(0xA, archive_.size());
        for (std::uint32_t o : archive_)
            ref(o);
        const std::uint32_t rootRef = uidRef(rootUid), rootKey = text("root");
        std::uint32_t top = reserve();
        begin(top);
        marker(0xD, 1);
        ref(rootKey);
        ref(rootRef);
        const std::uint32_t keys[4] = {text("$archiver"), text("$objects"), text("$top"), text("$version")};
        const std::uint32_t values[4] = {text("NSKeyedArchiver"), objects, top, integer(100000)};
        std::uint32_t document = reserve();
        begin(document);
        marker(0xD, 4);
        for (std::uint32_t k : keys)
            ref(k);
        for (std::uint32_t v : values)
            ref(v);

        const std::uint64_t table = out_.size();
        const unsigned offsetSize = bytesFor(table);
        for (std::uint64_t o : offsets_)
            put(o, offsetSize);
        out_.append(6, '\0');
        out_ += static_cast<char>(offsetSize);
        out_ += static_cast<char>(kRefSize);
        put(offsets_.size(), 8);
        put(document, 8);
        put(table, 8);
        return std::move(out_);
    }

    // Where the slot's eight bytes are in the text run() gave.
    std::size_t slot() const { return slot_; }

private:
    enum ClassKind { kDictionary, kArray, kDate, kData, kClassKinds };

    // Encodes a value as an archive object and answers its UID.
    std::uint32_t add(const Value& v) {
        switch (v.type()) {
            case Value::Type::String:
                return stringUid(v.string());
            case Value::Type::Bool:
                return scalarUid(v.boolean() ? 1 : 0, 'b', [&] { return boolean(v.boolean()); });
            case Value::Type::Integer:
                return scalarUid(static_cast<std::uint64_t>(v.integer()), 'i',
                                 [&] { return integer(v.integer()); });
            case Value::Type::Real:
                return scalarUid(std::bit_cast<std::uint64_t>(v.real()), 'r', [&] { return real(v.real()); });
            case Value::Type::Uid:  // not a document value; kept as a number
                return scalarUid(v.uidValue(), 'i',
                                 [&] { return integer(static_cast<std::int64_t>(v.uidValue())); });
            case Value::Type::Date: {
                std::uint32_t time = real(v.date().seconds);
                return object({text("NS.time"), time}, kDate);
            }
            case Value::Type::Data: {
                std::uint32_t data = reserve();
                begin(data);
                marker(0x4, v.data().size());
                out_.append(reinterpret_cast<const char*>(v.data().data()), v.data().size());
                return object({text("NS.data"), data}, kData);
            }
            case Value::Type::Array: {
                const std::uint32_t self = newUid();
                const std::size_t base = scratch_.size();
                for (const Value& e : v.array())
                    scratch_.push_back(add(e));
                archive_[self] = container(base, 0, kArray);
                return self;
            }
            case Value::Type::Dictionary: {
                const std::uint32_t self = newUid();
                const std::size_t base = scratch_.size();
                const bool slot = &v == root_ && !slotKey_.empty();
                for (const Value::Entry& e : v.dictionary())
                    scratch_.push_back(stringUid(e.key));
                if (slot) scratch_.push_back(stringUid(slotKey_));
                for (const Value::Entry& e : v.dictionary())
                    scratch_.push_back(add(e.value));
                if (slot) scratch_.push_back(slotUid());
                archive_[self] = container(base, v.dictionary().size() + (slot ? 1 : 0), kDictionary);
                return self;
            }
        }
        return 0;
    }

    // The NS.keys (for a dictionary) and NS.objects arrays of the UIDs in scratch_ from base, and the
    // object that holds them; scratch_ is cut back to base.
    std::uint32_t container(std::size_t base, std::size_t keyCount, ClassKind kind) {
        for (std::size_t i = base; i < scratch_.size(); ++i)
            scratch_[i] = uidRef(scratch_[i]);
        const std::uint32_t cls = uidRef(classUid(kind));
        std::uint32_t keys = kNone;
        if (kind == kDictionary) {
            // Dictionaries with the same keys (every reading, every meter) share one NS.keys array.
            std::string signature(reinterpret_cast<const char*>(scratch_.data() + base),
                                  keyCount * sizeof(std::uint32_t));
            auto [it, fresh] = keyArrays_.try_emplace(std::move(signature), 0);
            if (fresh) it->second = refArray(base, base + keyCount);
            keys = it->second;
        }
        const std::uint32_t values = refArray(base + keyCount, scratch_.size());
        scratch_.resize(base);
        const std::uint32_t self = reserve();
        begin(self);
        if (kind == kDictionary) {
            marker(0xD, 3);
            ref(nsKeys_);
            ref(nsObjects_);
            ref(classKey_);
            ref(keys);
        } else {
            marker(0xD, 2);
            ref(nsObjects_);
            ref(classKey_);
        }
        ref(values);
        ref(cls);
        return self;
    }

    std::uint32_t refArray(std::size_t from, std::size_t to) {
        const std::uint32_t self = reserve();
        begin(self);
        marker(0xA, to - from);
        for (std::size_t i = from; i < to; ++i)
            ref(scratch_[i]);
        return self;
    }

    // An archive object {key: value, "$class": class} (dates and data).
    std::uint32_t object(std::pair<std::uint32_t, std::uint32_t> entry, ClassKind kind) {
        const std::uint32_t cls = uidRef(classUid(kind));
        const std::uint32_t self = reserve();
        begin(self);
        marker(0xD, 2);
        ref(entry.first);
        ref(classKey_);
        ref(entry.second);
        ref(cls);
        archive_.push_back(self);
        return static_cast<std::uint32_t>(archive_.size() - 1);
    }

    std::uint32_t classUid(ClassKind kind) {
        if (classes_[kind] != kNone) return classes_[kind];
        static const char* const kNames[kClassKinds][3] = {
            {"NSMutableDictionary", "NSDictionary", "NSObject"},
            {"NSMutableArray", "NSArray", "NSObject"},
            {"NSDate", "NSObject", nullptr},
            {"NSData", "NSObject", nullptr}};
        std::vector<std::uint32_t> chain;
        for (const char* name : kNames[kind])
            if (name) chain.push_back(text(name));
        const std::uint32_t name = text(kNames[kind][0]);
        const std::uint32_t list = reserve();
        begin(list);
        marker(0xA, chain.size());
        for (std::uint32_t c : chain)
            ref(c);
        const std::uint32_t keys[2] = {text("$classname"), text("$classes")};
        const std::uint32_t self = reserve();
        begin(self);
        marker(0xD, 2);
        ref(keys[0]);
        ref(keys[1]);
        ref(name);
        ref(list);
        archive_.push_back(self);
        classes_[kind] = static_cast<std::uint32_t>(archive_.size() - 1);
        return classes_[kind];
    }

    // The slot's integer: an archive object shared with no equal number.
    std::uint32_t slotUid() {
        const std::uint32_t self = reserve();
        begin(self);
        out_ += '\x13';
        slot_ = out_.size();
        put(0, 8);
        archive_.push_back(self);
        return static_cast<std::uint32_t>(archive_.size() - 1);
    }

    std::uint32_t newUid() {
        archive_.push_back(kNone);
        return static_cast<std::uint32_t>(archive_.size() - 1);
    }

    // The UID object referring to an archive object, made once.
    std::uint32_t uidRef(std::uint32_t archiveUid) {
        if (archiveUid >= uids_.size()) uids_.resize(archiveUid + 1, kNone);
        if (uids_[archiveUid] != kNone) return uids_[archiveUid];
        const std::uint32_t self = reserve();
        begin(self);
        const unsigned n = bytesFor(archiveUid);
        out_ += static_cast<char>(0x80 | (n - 1));
        put(archiveUid, n);
        uids_[archiveUid] = self;
        return self;
    }

    std::uint32_t stringUid(std::string_view s) {
        auto [it, fresh] = strings_.try_emplace(s, 0);
        if (fresh) {
            archive_.push_back(text(s));
            it->second = static_cast<std::uint32_t>(archive_.size() - 1);
        }
        return it->second;
    }

    template <typename Make>
    std::uint32_t scalarUid(std::uint64_t bits, char type, Make make) {
        auto& seen = type == 'b' ? bools_ : type == 'i' ? integers_ : reals_;
        auto [it, fresh] = seen.try_emplace(bits, 0);
        if (fresh) {
            archive_.push_back(make());
            it->second = static_cast<std::uint32_t>(archive_.size() - 1);
        }
        return it->second;
    }

    // Plain objects of the file. Texts used as keys and names are written once.
    std::uint32_t text(std::string_view s) {
        auto [it, fresh] = texts_.try_emplace(s, 0);
        if (!fresh) return it->second;
        const std::uint32_t self = reserve();
        begin(self);
        if (isAscii(s)) {
            marker(0x5, s.size());
            out_.append(s);
        } else {
            std::u16string wide = utf8ToUtf16(s);
            marker(0x6, wide.size());
            for (char16_t c : wide)
                put(c, 2);
        }
        it->second = self;
        return self;
    }
    std::uint32_t integer(std::int64_t v) {
        const std::uint32_t self = reserve();
        begin(self);
        if (v < 0) {
            out_ += '\x13';
            put(static_cast<std::uint64_t>(v), 8);
        } else {
            const unsigned n = bytesFor(static_cast<std::uint64_t>(v));
            out_ += static_cast<char>(0x10 | std::countr_zero(n));
            put(static_cast<std::uint64_t>(v), n);
        }
        return self;
    }
    std::uint32_t real(double d) {
        const std::uint32_t self = reserve();
        begin(self);
        out_ += '\x23';
        put(std::bit_cast<std::uint64_t>(d), 8);
        return self;
    }
    std::uint32_t boolean(bool b) {
        const std::uint32_t self = reserve();
        begin(self);
        out_ += b ? '\x09' : '\x08';
        return self;
    }

    std::uint32_t reserve() {
        offsets_.push_back(0);
        return static_cast<std::uint32_t>(offsets_.size() - 1);
    }
    void begin(std::uint32_t index) { offsets_[index] = out_.size(); }
    void marker(unsigned high, std::size_t count) {
        if (count < 15) {
            out_ += static_cast<char>(high << 4 | count);
            return;
        }
        out_ += static_cast<char>(high << 4 | 0xF);
        const unsigned n = bytesFor(count);
        out_ += static_cast<char>(0x10 | std::countr_zero(n));
        put(count, n);
    }
    void ref(std::uint32_t index) { put(index, kRefSize); }
    void put(std::uint64_t v, unsigned n) {
        char bytes[8];
        for (unsigned i = 0; i < n; ++i)
            bytes[i] = static_cast<char>(v >> (8 * (n - 1 - i)));
        out_.append(bytes, n);
    }

    const Value* root_ = nullptr;
    std::string_view slotKey_;
    std::size_t slot_ = 0;
    std::string out_;
    std::vector<std::uint64_t> offsets_;  // of every object of the file, by its index
    std::vector<std::uint32_t> archive_;  // the file object of each archive object, by UID
    std::vector<std::uint32_t> uids_;     // the UID object of each archive object, by UID
    std::vector<std::uint32_t> scratch_;  // UIDs of the children of the containers being written
    std::unordered_map<std::string_view, std::uint32_t> strings_, texts_;
    std::unordered_map<std::uint64_t, std::uint32_t> bools_, integers_, reals_;
    std::unordered_map<std::string, std::uint32_t> keyArrays_;  // NS.keys arrays by their references
    std::uint32_t classes_[kClassKinds] = {kNone, kNone, kNone, kNone};
    std::uint32_t nsKeys_ = 0, nsObjects_ = 0, classKey_ = 0;
};

// Reads an archive straight from the file's objects, looking at each only when the tree reaches it.
class ArchiveReader {
public:
    explicit ArchiveReader(std::string_view bytes)
        : data_(reinterpret_cast<const std::uint8_t*>(bytes.data())), size_(bytes.size()) {}

    PlistResult run() {
        PlistResult out;
        std::uint64_t top = 0;
        if (!open(top) || !readTop(top)) return {Value(), error_};
        if (!decode(root_, 0, out.value)) return {Value(), error_};
        return out;
    }

private:
    // The kinds of the texts that matter as keys and class names.
    enum Name : std::int8_t {
        kUnknown = -1,
        kOther,
        kNSKeys,
        kNSObjects,
        kClass,
        kNSString,
        kNSTime,
        kNSData,
        kClassName,
        kArchiver,
        kObjects,
        kTop,
        kRoot,
        kNotText
    };
    enum ClassKind : std::int8_t {
        kNoClass = -1,
        kDictionaryClass,
        kArrayClass,
        kStringClass,
        kDateClass,
        kDataClass
    };

    bool fail(std::string message) {
        if (error_.empty()) error_ = std::move(message);
        return false;
    }

    static std::uint64_t big(const std::uint8_t* p, std::size_t n) { return plist::readBigEndian(p, n); }
    plist::ObjectBytes objects() const { return {data_, table_}; }

    bool open(std::uint64_t& top) {
        if (size_ < kMagic.size() + kTrailerSize || std::memcmp(data_, kMagic.data(), kMagic.size()) != 0)
            return fail("not a binary property list");
        const std::uint8_t* t = data_ + size_ - kTrailerSize;
        offsetSize_ = t[6];
        refSize_ = t[7];
        count_ = big(t + 8, 8);
        top = big(t + 16, 8);
        table_ = big(t + 24, 8);
        const std::uint64_t end = size_ - kTrailerSize;
        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8)
            return fail("bad trailer sizes");
        if (count_ == 0 || top >= count_) return fail("bad trailer object count");
        if (table_ < kMagic.size() || table_ > end || count_ > (end - table_) / offsetSize_)
            return fail("offset table outside the file");
        names_.assign(count_, kUnknown);
        return true;
    }

    bool offsetOf(std::uint64_t index, std::uint64_t& pos) {
        if (index >= count_) return fail("object reference out of range");
        pos = big(data_ + table_ + index * offsetSize_, offsetSize_);
        if (pos < kMagic.size() || pos >= table_) return fail("object offset outside the file");
        return true;
    }
    bool need(std::uint64_t pos, std::uint64_t len) {
        const char* error = nullptr;
        return objects().need(pos, len, error) || fail(error);
    }

    // The marker of an object, and for strings, data and containers their count and where their
    // contents start.
    bool header(std::uint64_t index, std::uint8_t& high, std::uint64_t& count, std::uint64_t& pos) {
        if (!offsetOf(index, pos)) return false;
        const std::uint8_t marker = data_[pos++];
        high = marker >> 4;
        const std::uint8_t low = marker & 0x0F;
        count = low;
        if (high < 0x4 || high == 0x8) return true;
        const char* error = nullptr;
        return objects().count(pos, low, count, error) || fail(error);
    }

    // A container's references, checked to lie in the file.
    bool refs(std::uint64_t index, std::uint8_t want, std::uint64_t& count, std::uint64_t& pos) {
        std::uint8_t high = 0;
        if (!header(index, high, count, pos)) return false;
        if (high != want) return fail(want == 0xD ? "a dictionary was expected" : "an array was expected");
        const std::uint64_t per = want == 0xD ? 2 * refSize_ : refSize_;
        if (count > table_ / per || !need(pos, count * per)) return fail("bad container count");
        return true;
    }
    std::uint64_t refAt(std::uint64_t pos, std::uint64_t i) {
        return big(data_ + pos + i * refSize_, refSize_);
    }

    bool text(std::uint64_t index, std::string& out) {
        std::uint64_t pos = 0;
        if (!offsetOf(index, pos)) return false;
        const std::uint8_t high = data_[pos] >> 4;
        if (high != 0x5 && high != 0x6) return fail("a string was expected");
        Value v;
        const char* error = nullptr;
        if (!objects().scalar(pos, v, error)) return fail(error);
        out = std::move(v.string());
        return true;
    }

    Name name(std::uint64_t index) {
        if (index >= count_) return kNotText;
        if (names_[index] != kUnknown) return static_cast<Name>(names_[index]);
        std::string s;
        std::string saved = error_;
        Name n = kNotText;
        if (text(index, s)) {
            static const std::pair<std::string_view, Name> kNames[] = {{"NS.keys", kNSKeys},
                                                                       {"NS.objects", kNSObjects},
                                                                       {"$class", kClass},
                                                                       {"NS.string", kNSString},
                                                                       {"NS.time", kNSTime},
                                                                       {"NS.data", kNSData},
                                                                       {"$classname", kClassName},
                                                                       {"$archiver", kArchiver},
                                                                       {"$objects", kObjects},
                                                                       {"$top", kTop},
                                                                       {"root", kRoot}};
            n = kOther;
            for (const auto& [t, k] : kNames)
                if (s == t) n = k;
        } else {
            error_ = saved;  // not being a text is an answer here, not an error
        }
        names_[index] = n;
        return n;
    }

    bool uid(std::uint64_t index, std::uint64_t& out) {
        std::uint64_t pos = 0;
        if (!offsetOf(index, pos)) return false;
        const std::uint8_t marker = data_[pos];
        if (marker >> 4 != 0x8) return fail("a reference is not a UID");
        const std::size_t n = (marker & 0x0F) + 1u;
        if (n > 8 || !need(pos + 1, n)) return fail("bad UID");
        out = big(data_ + pos + 1, n);
        return true;
    }

    bool readTop(std::uint64_t top) {
        std::uint64_t count = 0, pos = 0;
        if (!refs(top, 0xD, count, pos)) return fail("not a keyed archive");
        bool archiver = false, haveObjects = false, haveRoot = false;
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t key = refAt(pos, i), value = refAt(pos, count + i);
            switch (name(key)) {
                case kArchiver: {
                    std::string s;
                    archiver = text(value, s) && s == "NSKeyedArchiver";
                    break;
                }
                case kObjects: {
                    std::uint64_t n = 0, at = 0;
                    if (!refs(value, 0xA, n, at)) return false;
                    objects_.resize(n);
                    for (std::uint64_t k = 0; k < n; ++k)
                        objects_[k] = refAt(at, k);
                    haveObjects = true;
                    break;
                }
                case kTop: {
                    std::uint64_t n = 0, at = 0;
                    if (!refs(value, 0xD, n, at)) return false;
                    for (std::uint64_t k = 0; k < n; ++k)
                        if (name(refAt(at, k)) == kRoot) haveRoot = uid(refAt(at, n + k), root_);
                    break;
                }
                default:
                    break;
            }
        }
        if (!archiver) return fail("not a keyed archive");
        if (!haveObjects || !haveRoot) return fail("a keyed archive without $objects or root");
        state_.assign(objects_.size(), 0);
        classes_.assign(objects_.size(), kNoClass);
        keyIndex_.assign(objects_.size(), -1);
        containers_ = 4 * objects_.size() + 4096;
        values_ = 64 * objects_.size() + 4096;
        return true;
    }

    bool archiveObject(std::uint64_t uid, std::uint64_t& index) {
        if (uid >= objects_.size()) return fail("a reference points past the objects");
        if (uid == 0) return fail("a value is $null");
        index = objects_[uid];
        if (index >= count_) return fail("object reference out of range");
        return true;
    }

    ClassKind classOf(std::uint64_t uid) {
        std::uint64_t index = 0;
        if (!archiveObject(uid, index)) return kNoClass;
        if (classes_[uid] != kNoClass) return static_cast<ClassKind>(classes_[uid]);
        std::uint64_t count = 0, pos = 0;
        if (!refs(index, 0xD, count, pos)) {
            fail("a class without a $classname");
            return kNoClass;
        }
        std::string className;
        for (std::uint64_t i = 0; i < count; ++i)
            if (name(refAt(pos, i)) == kClassName && !text(refAt(pos, count + i), className)) return kNoClass;
        ClassKind kind = kNoClass;
        if (className == "NSMutableDictionary" || className == "NSDictionary") kind = kDictionaryClass;
        if (className == "NSMutableArray" || className == "NSArray") kind = kArrayClass;
        if (className == "NSMutableString" || className == "NSString") kind = kStringClass;
        if (className == "NSDate") kind = kDateClass;
        if (className == "NSMutableData" || className == "NSData") kind = kDataClass;
        if (kind == kNoClass) {
            fail(className.empty() ? "a class without a $classname"
                                   : "an object of class " + className + ", which a backup never holds");
            return kNoClass;
        }
        classes_[uid] = kind;
        return kind;
    }

    // A plain value standing in "$objects": string, number, boolean, data or date.
    bool scalar(std::uint64_t index, Value& out) {
        std::uint64_t pos = 0;
        if (!offsetOf(index, pos)) return false;
        if (data_[pos] >> 4 == 0x8) return fail("a UID where a value belongs");
        const char* error = nullptr;
        return objects().scalar(pos, out, error) || fail(error);
    }

    // The members of an archive object that matter, by name.
    struct Members {
        std::uint64_t keys = kNone, objects = kNone, cls = kNone, string = kNone, time = kNone, data = kNone;
    };
    bool members(std::uint64_t index, Members& m) {
        std::uint64_t count = 0, pos = 0;
        if (!refs(index, 0xD, count, pos)) return false;
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t value = refAt(pos, count + i);
            switch (name(refAt(pos, i))) {
                case kNSKeys:
                    m.keys = value;
                    break;
                case kNSObjects:
                    m.objects = value;
                    break;
                case kClass:
                    m.cls = value;
                    break;
                case kNSString:
                    m.string = value;
                    break;
                case kNSTime:
                    m.time = value;
                    break;
                case kNSData:
                    m.data = value;
                    break;
                default:
                    break;
            }
        }
        return true;
    }

    bool key(std::uint64_t uid, Key& out) {
        if (uid < keyIndex_.size() && keyIndex_[uid] >= 0) {
            out = keys_[static_cast<std::size_t>(keyIndex_[uid])];
            return true;
        }
        Value v;
        if (!decode(uid, 0, v)) return false;
        if (!v.isString()) return fail("a dictionary key is not a string");
        keyIndex_[uid] = static_cast<std::int32_t>(keys_.size());
        keys_.emplace_back(v.string());
        out = keys_.back();
        return true;
    }

    bool decode(std::uint64_t id, int depth, Value& out) {
        std::uint64_t index = 0;
        if (!archiveObject(id, index)) return false;
        if (depth > kMaxPlistDepth) return fail("the archive nests too deeply");
        if (values_ == 0) return fail("the archive unfolds to too many values");
        --values_;
        std::uint64_t pos = 0;
        if (!offsetOf(index, pos)) return false;
        const std::uint8_t high = data_[pos] >> 4;
        if (high == 0xA || high == 0xC || high == 0x8)
            return fail("a bare container or UID where a value belongs");
        if (high != 0xD) return scalar(index, out);

        if (state_[id]) return fail("the archive refers to itself in a cycle");
        if (containers_ == 0) return fail("the archive unfolds to too many values");
        --containers_;
        Members m;
        if (!members(index, m)) return false;
        std::uint64_t classUid = 0;
        if (m.cls == kNone || !uid(m.cls, classUid)) return fail("an object without a valid $class");
        const ClassKind kind = classOf(classUid);
        if (kind == kNoClass) return false;
        state_[id] = 1;
        bool ok = false;
        switch (kind) {
            case kDictionaryClass:
                ok = dictionary(m, depth, out);
                break;
            case kArrayClass:
                ok = array(m, depth, out);
                break;
            case kStringClass:
                ok = m.string != kNone && scalar(m.string, out) && out.isString();
                if (!ok) fail("a string object without a string under NS.string");
                break;
            case kDateClass: {
                Value t;
                ok = m.time != kNone && scalar(m.time, t) && (t.isReal() || t.isInteger());
                if (ok)
                    out = Value(Date{t.toReal()});
                else
                    fail("a date without NS.time");
                break;
            }
            case kDataClass:
                ok = m.data != kNone && scalar(m.data, out) && out.isData();
                if (!ok) fail("a data object without data under NS.data");
                break;
            case kNoClass:
                break;
        }
        state_[id] = 0;
        return ok;
    }

    bool dictionary(const Members& m, int depth, Value& out) {
        std::uint64_t nk = 0, kp = 0, nv = 0, vp = 0;
        if (m.keys == kNone || m.objects == kNone || !refs(m.keys, 0xA, nk, kp) ||
            !refs(m.objects, 0xA, nv, vp) || nk != nv)
            return fail("a dictionary whose keys and objects do not pair up");
        // Dictionaries of the same keys share one NS.keys array (every reading does): its keys are
        // read once.
        const std::vector<Key>* known = keysOf(m.keys);
        if (known && known->size() != nk) known = nullptr;
        std::vector<Key> names;
        Value::Dictionary entries;
        entries.reserve(nk);
        for (std::uint64_t i = 0; i < nk; ++i) {
            std::uint64_t k = 0, v = 0;
            Key name;
            Value value;
            if (known) {
                name = (*known)[i];
            } else {
                if (!uid(refAt(kp, i), k) || !key(k, name)) return false;
                names.push_back(name);
            }
            if (!uid(refAt(vp, i), v) || !decode(v, depth + 1, value)) return false;
            entries.push_back(Value::Entry{std::move(name), std::move(value)});
        }
        if (!known) rememberKeys(m.keys, std::move(names));
        // Keys come in the writer's order: sorted here, and a repeated key keeps its last value.
        auto before = [](const Value::Entry& a, const Value::Entry& b) { return a.key < b.key; };
        if (!std::is_sorted(entries.begin(), entries.end(), before))
            std::stable_sort(entries.begin(), entries.end(), before);
        auto same = [](const Value::Entry& a, const Value::Entry& b) { return a.key == b.key; };
        if (std::adjacent_find(entries.begin(), entries.end(), same) == entries.end()) {
            out = Value(std::move(entries));
            return true;
        }
        Value::Dictionary unique;
        unique.reserve(entries.size());
        for (Value::Entry& e : entries) {
            if (!unique.empty() && unique.back().key == e.key) {
                unique.back().value = std::move(e.value);
            } else {
                unique.push_back(std::move(e));
            }
        }
        out = Value(std::move(unique));
        return true;
    }

    // The keys of an NS.keys array read before, or null.
    const std::vector<Key>* keysOf(std::uint64_t array) {
        if (array == lastKeysArray_) return lastKeys_;
        auto it = keyLists_.find(array);
        if (it == keyLists_.end()) return nullptr;
        lastKeysArray_ = array;
        lastKeys_ = &it->second;
        return lastKeys_;
    }
    void rememberKeys(std::uint64_t array, std::vector<Key> keys) {
        auto [it, fresh] = keyLists_.try_emplace(array, std::move(keys));
        lastKeysArray_ = array;
        lastKeys_ = &it->second;
    }

    bool array(const Members& m, int depth, Value& out) {
        std::uint64_t n = 0, p = 0;
        if (m.objects == kNone || !refs(m.objects, 0xA, n, p)) return fail("an array without NS.objects");
        Array items(n);
        for (std::uint64_t i = 0; i < n; ++i) {
            std::uint64_t v = 0;
            if (!uid(refAt(p, i), v) || !decode(v, depth + 1, items[i])) return false;
        }
        out = Value(std::move(items));
        return true;
    }

    const std::uint8_t* data_;
    std::size_t size_;
    unsigned offsetSize_ = 0, refSize_ = 0;
    std::uint64_t count_ = 0, table_ = 0, root_ = 0;
    std::vector<std::int8_t> names_;      // by file object
    std::vector<std::uint64_t> objects_;  // the file object of each archive object
    std::vector<std::uint8_t> state_;     // by archive object: being decoded
    std::vector<std::int8_t> classes_;    // by archive object: the class it names
    std::vector<std::int32_t> keyIndex_;  // by archive object: its key in keys_
    std::vector<Key> keys_;
    // The keys of the NS.keys arrays read so far, by file object (nodes stay put), and the last one.
    std::unordered_map<std::uint64_t, std::vector<Key>> keyLists_;
    static constexpr std::uint64_t kNoArray = ~std::uint64_t{0};
    std::uint64_t lastKeysArray_ = kNoArray;
    const std::vector<Key>* lastKeys_ = nullptr;
    std::uint64_t containers_ = 0, values_ = 0;
    std::string error_;
};

}  // namespace

std::string writeKeyedArchive(const Value& root) {
    return ArchiveWriter().run(root);
}

SlottedArchive writeKeyedArchive(const Value& root, std::string_view slotKey) {
    ArchiveWriter writer;
    SlottedArchive out;
    out.bytes = writer.run(root, slotKey);
    out.slot = writer.slot();
    return out;
}

void SlottedArchive::fill(std::int64_t value) {
    for (int i = 0; i < 8; ++i)
        bytes[slot + static_cast<std::size_t>(i)] =
            static_cast<char>(static_cast<std::uint64_t>(value) >> (56 - 8 * i));
}

PlistResult readKeyedArchive(std::string_view bytes) {
    return ArchiveReader(bytes).run();
}

}  // namespace numbrel
