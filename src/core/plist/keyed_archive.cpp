#include "plist/keyed_archive.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <vector>

namespace numbrel {

namespace {

// Writing: every value becomes an object of "$objects"; scalars equal in type and value, and equal
// strings, are stored once and referenced from each place they stand.
class Archiver {
public:
    Archiver() { objects_.emplace_back("$null"); }

    Value finish(const Value& root) {
        std::uint64_t top = add(root, 0);
        return Value::makeDictionary({{"$archiver", "NSKeyedArchiver"},
                                      {"$objects", Value(std::move(objects_))},
                                      {"$top", Value::makeDictionary({{"root", Value::uid(top)}})},
                                      {"$version", 100000}});
    }

private:
    std::uint64_t add(const Value& v, int depth) {
        switch (v.type()) {
            case Value::Type::String:
                return shared(strings_, v.string(), v);
            case Value::Type::Bool:
            case Value::Type::Integer:
            case Value::Type::Real:
            case Value::Type::Uid: {
                std::string key(1, static_cast<char>(v.type()));
                std::uint64_t bits = 0;
                if (v.isReal()) {
                    double d = v.real();
                    std::memcpy(&bits, &d, sizeof bits);
                } else if (v.isBool()) {
                    bits = v.boolean() ? 1 : 0;
                } else {
                    bits = v.isUid() ? v.uidValue() : static_cast<std::uint64_t>(v.integer());
                }
                key.append(reinterpret_cast<const char*>(&bits), sizeof bits);
                return shared(scalars_, key, v);
            }
            case Value::Type::Date:
                return object(Value::makeDictionary(
                    {{"NS.time", Value(v.date().seconds)}, {"$class", Value::uid(classOf(kDate))}}));
            case Value::Type::Data:
                return object(
                    Value::makeDictionary({{"NS.data", v}, {"$class", Value::uid(classOf(kData))}}));
            case Value::Type::Array: {
                std::uint64_t self = reserve();
                Array refs;
                refs.reserve(v.array().size());
                for (const Value& e : v.array())
                    refs.push_back(Value::uid(add(e, depth + 1)));
                objects_[self] = Value::makeDictionary(
                    {{"NS.objects", Value(std::move(refs))}, {"$class", Value::uid(classOf(kArray))}});
                return self;
            }
            case Value::Type::Dictionary: {
                std::uint64_t self = reserve();
                Array keys, values;
                keys.reserve(v.dictionary().size());
                values.reserve(v.dictionary().size());
                for (const Value::Entry& e : v.dictionary()) {
                    keys.push_back(Value::uid(shared(strings_, e.key.str(), Value(e.key.view()))));
                    values.push_back(Value::uid(add(e.value, depth + 1)));
                }
                objects_[self] = Value::makeDictionary({{"NS.keys", Value(std::move(keys))},
                                                        {"NS.objects", Value(std::move(values))},
                                                        {"$class", Value::uid(classOf(kDictionary))}});
                return self;
            }
        }
        return 0;
    }

    std::uint64_t shared(std::unordered_map<std::string, std::uint64_t>& seen, const std::string& key,
                         const Value& v) {
        auto [it, fresh] = seen.try_emplace(key, objects_.size());
        if (fresh) objects_.push_back(v);
        return it->second;
    }
    std::uint64_t reserve() {
        objects_.emplace_back();
        return objects_.size() - 1;
    }
    std::uint64_t object(Value v) {
        objects_.push_back(std::move(v));
        return objects_.size() - 1;
    }

    enum ClassKind { kDictionary, kArray, kDate, kData, kClassKinds };
    std::uint64_t classOf(ClassKind kind) {
        if (classes_[kind]) return classes_[kind];
        static const char* const kNames[kClassKinds][3] = {
            {"NSMutableDictionary", "NSDictionary", "NSObject"},
            {"NSMutableArray", "NSArray", "NSObject"},
            {"NSDate", "NSObject", nullptr},
            {"NSData", "NSObject", nullptr}};
        Array chain;
        for (const char* name : kNames[kind])
            if (name) chain.emplace_back(name);
        classes_[kind] = object(Value::makeDictionary(
            {{"$classname", Value(kNames[kind][0])}, {"$classes", Value(std::move(chain))}}));
        return classes_[kind];
    }

    Array objects_;
    std::unordered_map<std::string, std::uint64_t> strings_, scalars_;
    std::uint64_t classes_[kClassKinds] = {};
};

// Reading: objects are decoded once and copied where they are referenced again; a budget on the
// values produced stops a small file of shared references from unfolding into an enormous tree.
class Unarchiver {
public:
    explicit Unarchiver(const Array& objects)
        : objects_(objects),
          state_(objects.size(), kUnseen),
          decoded_(objects.size()),
          sizes_(objects.size(), 0),
          budget_(8 * objects.size() + 4096) {}

    bool decode(const Value& ref, int depth, Value& out, std::size_t& size) {
        if (!ref.isUid()) return fail("a reference is not a UID");
        std::uint64_t id = ref.uidValue();
        if (id >= objects_.size()) return fail("a reference points past the objects");
        if (id == 0) return fail("a value is $null");
        if (depth > kMaxPlistDepth) return fail("the archive nests too deeply");
        if (state_[id] == kInProgress) return fail("the archive refers to itself in a cycle");
        if (state_[id] == kDone) {
            if (sizes_[id] > budget_) return fail("the archive unfolds to too many values");
            budget_ -= sizes_[id];
            out = decoded_[id];
            size = sizes_[id];
            return true;
        }
        state_[id] = kInProgress;
        std::size_t mine = 1;
        if (budget_ == 0) return fail("the archive unfolds to too many values");
        --budget_;
        const Value& o = objects_[id];
        Value result;
        if (o.isDictionary()) {
            if (!decodeObject(o, depth, result, mine)) return false;
        } else if (o.isString() || o.isNumber() || o.isData()) {
            result = o;
        } else {
            return fail("an object of type " + std::string(typeName(o.type())) + " where none is allowed");
        }
        state_[id] = kDone;
        sizes_[id] = mine;
        decoded_[id] = result;
        out = std::move(result);
        size = mine;
        return true;
    }

    const std::string& error() const { return error_; }

private:
    enum State : std::uint8_t { kUnseen, kInProgress, kDone };

    bool fail(std::string message) {
        if (error_.empty()) error_ = std::move(message);
        return false;
    }

    bool className(const Value& object, std::string& name) {
        const Value* cls = object.find("$class");
        if (!cls || !cls->isUid() || cls->uidValue() >= objects_.size())
            return fail("an object without a valid $class");
        const Value& c = objects_[cls->uidValue()];
        const Value* n = c.find("$classname");
        if (!c.isDictionary() || !n || !n->isString()) return fail("a class without a $classname");
        name = n->string();
        return true;
    }

    bool decodeObject(const Value& o, int depth, Value& out, std::size_t& size) {
        std::string cls;
        if (!className(o, cls)) return false;
        if (cls == "NSMutableDictionary" || cls == "NSDictionary") {
            const Value* keys = o.find("NS.keys");
            const Value* values = o.find("NS.objects");
            if (!keys || !values || !keys->isArray() || !values->isArray() ||
                keys->array().size() != values->array().size())
                return fail("a dictionary whose keys and objects do not pair up");
            Value::Dictionary dict;
            dict.reserve(keys->array().size());
            for (std::size_t i = 0; i < keys->array().size(); ++i) {
                Value key, value;
                std::size_t ks = 0, vs = 0;
                if (!decode(keys->array()[i], depth + 1, key, ks)) return false;
                if (!key.isString()) return fail("a dictionary key is not a string");
                if (!decode(values->array()[i], depth + 1, value, vs)) return false;
                size += vs;
                dict.push_back(Value::Entry{Key(key.string()), std::move(value)});
            }
            // Keys arrive in the writer's order: sort, and let a repeated key keep its last value.
            std::stable_sort(dict.begin(), dict.end(),
                             [](const Value::Entry& a, const Value::Entry& b) { return a.key < b.key; });
            Value::Dictionary unique;
            unique.reserve(dict.size());
            for (Value::Entry& e : dict) {
                if (!unique.empty() && unique.back().key == e.key) {
                    unique.back().value = std::move(e.value);
                } else {
                    unique.push_back(std::move(e));
                }
            }
            out = Value(std::move(unique));
            return true;
        }
        if (cls == "NSMutableArray" || cls == "NSArray") {
            const Value* values = o.find("NS.objects");
            if (!values || !values->isArray()) return fail("an array without NS.objects");
            Array items;
            items.reserve(values->array().size());
            for (const Value& ref : values->array()) {
                Value item;
                std::size_t s = 0;
                if (!decode(ref, depth + 1, item, s)) return false;
                size += s;
                items.push_back(std::move(item));
            }
            out = Value(std::move(items));
            return true;
        }
        if (cls == "NSMutableString" || cls == "NSString") {
            const Value* s = o.find("NS.string");
            if (!s || !s->isString()) return fail("a string object without NS.string");
            out = *s;
            return true;
        }
        if (cls == "NSDate") {
            const Value* t = o.find("NS.time");
            if (!t || !(t->isReal() || t->isInteger())) return fail("a date without NS.time");
            out = Value(Date{t->toReal()});
            return true;
        }
        if (cls == "NSMutableData" || cls == "NSData") {
            const Value* d = o.find("NS.data");
            if (!d || !d->isData()) return fail("a data object without NS.data");
            out = *d;
            return true;
        }
        return fail("an object of class " + cls + ", which a backup never holds");
    }

    const Array& objects_;
    std::vector<State> state_;
    std::vector<Value> decoded_;
    std::vector<std::size_t> sizes_;
    std::size_t budget_;
    std::string error_;
};

}  // namespace

std::string writeKeyedArchive(const Value& root) {
    return writeBinaryPlist(Archiver().finish(root));
}

PlistResult readKeyedArchive(std::string_view bytes) {
    PlistResult plist = readBinaryPlist(bytes);
    if (!plist.ok()) return plist;
    const Value& top = plist.value;
    const Value* archiver = top.find("$archiver");
    const Value* objects = top.find("$objects");
    const Value* topDict = top.find("$top");
    const Value* root = topDict ? topDict->find("root") : nullptr;
    if (!top.isDictionary() || !archiver || archiver->toString() != "NSKeyedArchiver")
        return {Value(), "not a keyed archive"};
    if (!objects || !objects->isArray() || !root)
        return {Value(), "a keyed archive without $objects or root"};
    Unarchiver reader(objects->array());
    PlistResult out;
    std::size_t size = 0;
    if (!reader.decode(*root, 0, out.value, size)) return {Value(), reader.error()};
    return out;
}

}  // namespace numbrel
