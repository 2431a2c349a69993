#include "plist/value.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace numbrel {

namespace {

bool keyLess(const Value::Entry& e, std::string_view key) {
    const std::string& k = e.key.str();
    // Settle on the first byte where that is enough, before calling into memcmp.
    if (!k.empty() && !key.empty() && k[0] != key[0])
        return static_cast<unsigned char>(k[0]) < static_cast<unsigned char>(key[0]);
    return std::string_view(k) < key;
}

std::string_view skipSpace(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r'))
        ++i;
    return s.substr(i);
}

// The leading number of a string, as the platform's string readers take it ("12abc" is 12).
double leadingReal(std::string_view s) {
    std::string text(skipSpace(s).substr(0, 64));
    char* end = nullptr;
    double d = std::strtod(text.c_str(), &end);
    return end == text.c_str() ? 0.0 : d;
}

std::int64_t clampToInteger(double d) {
    if (std::isnan(d)) return 0;
    if (d >= 9223372036854775807.0) return std::numeric_limits<std::int64_t>::max();
    if (d <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(d);  // truncation toward zero, as an integer conversion does
}

}  // namespace

Value::Value(std::string s) : type_(Type::String) {
    u_.s = new std::string(std::move(s));
}
Value::Value(numbrel::Data d) : type_(Type::Data) {
    u_.data = new numbrel::Data(std::move(d));
}
Value::Value(numbrel::Array a) : type_(Type::Array) {
    ::new (&u_.a) numbrel::Array(std::move(a));
}
Value::Value(Dictionary d) : type_(Type::Dictionary) {
    ::new (&u_.m) Dictionary(std::move(d));
}

Value Value::uid(std::uint64_t id) noexcept {
    Value v;
    v.type_ = Type::Uid;
    v.u_.i = static_cast<std::int64_t>(id);
    return v;
}

Value Value::makeDictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) {
    Value v = emptyDictionary();
    for (const auto& [k, val] : entries)
        v.set(k, val);
    return v;
}

Value Value::emptyDictionary() {
    return Value(Dictionary{});
}
Value Value::emptyArray() {
    return Value(numbrel::Array{});
}

Value::Value(const Value& other) : type_(other.type_) {
    switch (type_) {
        case Type::String:
            u_.s = new std::string(*other.u_.s);
            break;
        case Type::Data:
            u_.data = new numbrel::Data(*other.u_.data);
            break;
        case Type::Array:
            ::new (&u_.a) numbrel::Array(other.u_.a);
            break;
        case Type::Dictionary:
            ::new (&u_.m) Dictionary(other.u_.m);
            break;
        default:
            copyScalar(other);
            break;
    }
}

Value& Value::operator=(const Value& other) {
    if (this != &other) {
        Value copy(other);
        *this = std::move(copy);
    }
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    if (this != &other) {
        destroy();
        type_ = other.type_;
        take(other);
    }
    return *this;
}

void Value::destroy() noexcept {
    switch (type_) {
        case Type::String:
            delete u_.s;
            break;
        case Type::Data:
            delete u_.data;
            break;
        case Type::Array:
            u_.a.~Array();
            break;
        case Type::Dictionary:
            u_.m.~Dictionary();
            break;
        default:
            break;
    }
    release();
}

bool Value::toBool(bool fallback) const {
    switch (type_) {
        case Type::Bool:
            return u_.b;
        case Type::Integer:
            return u_.i != 0;
        case Type::Real:
            return u_.d != 0.0;
        case Type::String: {
            std::string_view s = skipSpace(*u_.s);
            if (s.empty()) return false;
            char c = s.front();
            if (c == 'Y' || c == 'y' || c == 'T' || c == 't') return true;
            if (c == '+' || c == '-') s.remove_prefix(1);
            while (!s.empty() && s.front() == '0')
                s.remove_prefix(1);
            return !s.empty() && s.front() >= '1' && s.front() <= '9';
        }
        default:
            return fallback;
    }
}

std::int64_t Value::toInteger(std::int64_t fallback) const {
    switch (type_) {
        case Type::Bool:
            return u_.b ? 1 : 0;
        case Type::Integer:
            return u_.i;
        case Type::Real:
            return clampToInteger(u_.d);
        case Type::String:
            return clampToInteger(leadingReal(*u_.s));
        default:
            return fallback;
    }
}

double Value::toReal(double fallback) const {
    switch (type_) {
        case Type::Bool:
            return u_.b ? 1.0 : 0.0;
        case Type::Integer:
            return static_cast<double>(u_.i);
        case Type::Real:
            return u_.d;
        case Type::String:
            return leadingReal(*u_.s);
        default:
            return fallback;
    }
}

std::string_view Value::toString(std::string_view fallback) const {
    return type_ == Type::String ? std::string_view(*u_.s) : fallback;
}

const Value* Value::find(std::string_view key) const {
    if (type_ != Type::Dictionary) return nullptr;
    const Dictionary& d = u_.m;
    // Most dictionaries of a document are small (a reading, a rate step): a scan that compares
    // lengths first beats a binary search of full string comparisons. Lookups are the engine's
    // hottest path.
    if (d.size() <= 8) {
        for (const Entry& e : d) {
            const std::string& k = e.key.str();
            if (k.size() == key.size() &&
                (key.empty() || (k[0] == key[0] && std::memcmp(k.data(), key.data(), key.size()) == 0)))
                return &e.value;
        }
        return nullptr;
    }
    auto it = std::lower_bound(d.begin(), d.end(), key, keyLess);
    return it != d.end() && it->key == key ? &it->value : nullptr;
}

const Value* Value::find(const Key& key) const {
    if (!key.isShared()) return find(key.view());
    if (type_ != Type::Dictionary) return nullptr;
    const Dictionary& d = u_.m;
    if (d.size() <= 32) {  // comparing numbers: a scan beats a search well past a meter's keys
        for (const Entry& e : d)
            if (e.key.id() == key.id()) return &e.value;
        return nullptr;
    }
    // Shared keys lie in one sorted table, so their addresses are in text order: among them the
    // search compares addresses, and texts only against keys of their own.
    auto it = std::lower_bound(d.begin(), d.end(), key, [](const Entry& e, const Key& k) {
        return e.key.isShared() ? e.key.id() < k.id() : e.key.view() < k.view();
    });
    return it != d.end() && it->key.id() == key.id() ? &it->value : nullptr;
}

Value* Value::find(std::string_view key) {
    return const_cast<Value*>(static_cast<const Value*>(this)->find(key));
}

Value& Value::set(std::string_view key, Value value) {
    Dictionary& d = u_.m;
    auto it = std::lower_bound(d.begin(), d.end(), key, keyLess);
    if (it != d.end() && it->key == key) {
        it->value = std::move(value);
        return it->value;
    }
    return d.insert(it, Entry{Key(key), std::move(value)})->value;
}

bool Value::erase(std::string_view key) {
    if (type_ != Type::Dictionary) return false;
    Dictionary& d = u_.m;
    auto it = std::lower_bound(d.begin(), d.end(), key, keyLess);
    if (it == d.end() || it->key != key) return false;
    d.erase(it);
    return true;
}

const Value* Value::at(std::size_t index) const {
    if (type_ != Type::Array || index >= u_.a.size()) return nullptr;
    return &u_.a[index];
}

Value* Value::at(std::size_t index) {
    return const_cast<Value*>(static_cast<const Value*>(this)->at(index));
}

std::size_t Value::size() const {
    if (type_ == Type::Array) return u_.a.size();
    if (type_ == Type::Dictionary) return u_.m.size();
    return 0;
}

bool operator==(const Value& a, const Value& b) {
    if (a.type_ != b.type_) return false;
    switch (a.type_) {
        case Value::Type::Bool:
            return a.u_.b == b.u_.b;
        case Value::Type::Integer:
        case Value::Type::Uid:
            return a.u_.i == b.u_.i;
        case Value::Type::Real:
        case Value::Type::Date:
            // Bit-identical values are equal, so that NaN equals itself in round-trip checks.
            return a.u_.d == b.u_.d || std::memcmp(&a.u_.d, &b.u_.d, sizeof(double)) == 0;
        case Value::Type::String:
            return *a.u_.s == *b.u_.s;
        case Value::Type::Data:
            return *a.u_.data == *b.u_.data;
        case Value::Type::Array:
            return a.u_.a == b.u_.a;
        case Value::Type::Dictionary:
            return a.u_.m == b.u_.m;
    }
    return false;
}

const char* typeName(Value::Type type) {
    switch (type) {
        case Value::Type::Bool:
            return "boolean";
        case Value::Type::Integer:
            return "integer";
        case Value::Type::Real:
            return "real";
        case Value::Type::String:
            return "string";
        case Value::Type::Date:
            return "date";
        case Value::Type::Data:
            return "data";
        case Value::Type::Array:
            return "array";
        case Value::Type::Dictionary:
            return "dictionary";
        case Value::Type::Uid:
            return "uid";
    }
    return "?";
}

}  // namespace numbrel
