// The property-list value: the one data type of the settings document, backups and transfers.
// A Value is 16 bytes: a type tag and either an inline scalar, an owned string or data, or an array or
// dictionary whose one-pointer handle it holds in place.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/key.h"
#include "plist/packed_vector.h"

namespace numbrel {

// An absolute instant: seconds since 2001-01-01T00:00:00Z, the property-list epoch.
struct Date {
    double seconds = 0.0;
    friend bool operator==(Date, Date) = default;
    friend auto operator<=>(Date a, Date b) { return a.seconds <=> b.seconds; }
};

// The platform's "distant future": 4001-01-01T00:00:00Z, used by "review" to mean "never".
inline constexpr Date kDistantFuture{63113904000.0};

class Value;
using Array = PackedVector<Value>;
using Data = std::vector<std::uint8_t>;

class Value {
public:
    enum class Type : std::uint8_t { Bool, Integer, Real, String, Date, Data, Array, Dictionary, Uid };
    struct Entry;
    using Dictionary = PackedVector<Entry>;  // kept sorted by key (byte order), keys unique

    Value() noexcept : type_(Type::Bool) { u_.b = false; }
    Value(bool b) noexcept : type_(Type::Bool) { u_.b = b; }
    Value(int i) noexcept : type_(Type::Integer) { u_.i = i; }
    Value(long i) noexcept : type_(Type::Integer) { u_.i = i; }
    Value(long long i) noexcept : type_(Type::Integer) { u_.i = i; }
    Value(double d) noexcept : type_(Type::Real) { u_.d = d; }
    Value(numbrel::Date d) noexcept : type_(Type::Date) { u_.d = d.seconds; }
    Value(std::string s);
    Value(std::string_view s) : Value(std::string(s)) {}
    Value(const char* s) : Value(std::string(s)) {}
    Value(numbrel::Data d);
    Value(numbrel::Array a);
    Value(Dictionary d);  // must be sorted and unique; use makeDictionary() otherwise
    static Value uid(std::uint64_t id) noexcept;
    static Value makeDictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);
    static Value emptyDictionary();
    static Value emptyArray();

    Value(const Value& other);
    Value(Value&& other) noexcept : type_(other.type_) { take(other); }
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value() { destroy(); }

    Type type() const { return type_; }
    bool isBool() const { return type_ == Type::Bool; }
    bool isInteger() const { return type_ == Type::Integer; }
    bool isReal() const { return type_ == Type::Real; }
    bool isNumber() const { return type_ == Type::Integer || type_ == Type::Real || type_ == Type::Bool; }
    bool isString() const { return type_ == Type::String; }
    bool isDate() const { return type_ == Type::Date; }
    bool isData() const { return type_ == Type::Data; }
    bool isArray() const { return type_ == Type::Array; }
    bool isDictionary() const { return type_ == Type::Dictionary; }
    bool isUid() const { return type_ == Type::Uid; }

    // Exact accessors: only valid for the matching type.
    bool boolean() const { return u_.b; }
    std::int64_t integer() const { return u_.i; }
    double real() const { return u_.d; }
    numbrel::Date date() const { return {u_.d}; }
    std::uint64_t uidValue() const { return static_cast<std::uint64_t>(u_.i); }
    const std::string& string() const { return *u_.s; }
    std::string& string() { return *u_.s; }
    const numbrel::Data& data() const { return *u_.data; }
    const numbrel::Array& array() const { return u_.a; }
    numbrel::Array& array() { return u_.a; }
    const Dictionary& dictionary() const { return u_.m; }
    Dictionary& dictionary() { return u_.m; }

    // Lenient readers, as the document's readers use them: a boolean is any non-zero number, an
    // integer is the integer conversion (truncation) of whatever number is stored, and strings read
    // by their leading number. Anything else gives the fallback.
    bool toBool(bool fallback = false) const;
    std::int64_t toInteger(std::int64_t fallback = 0) const;
    double toReal(double fallback = 0.0) const;
    std::string_view toString(std::string_view fallback = {}) const;

    // Dictionary access (the value must be a dictionary for the mutating ones; lookups on any other
    // type find nothing).
    const Value* find(std::string_view key) const;
    Value* find(std::string_view key);
    // The same by a Key made once (a hot path compares numbers instead of texts).
    const Value* find(const Key& key) const;
    Value* find(const Key& key) { return const_cast<Value*>(static_cast<const Value*>(this)->find(key)); }
    bool contains(std::string_view key) const { return find(key) != nullptr; }
    Value& set(std::string_view key, Value value);
    bool erase(std::string_view key);

    // Array element or null when out of range or not an array.
    const Value* at(std::size_t index) const;
    Value* at(std::size_t index);
    std::size_t size() const;  // elements of an array or dictionary, 0 otherwise

    friend bool operator==(const Value& a, const Value& b);

private:
    void destroy() noexcept;
    // Takes other's payload (this has other's type already) and leaves other false.
    void take(Value& other) noexcept {
        switch (type_) {
            case Type::Array:
                ::new (&u_.a) numbrel::Array(std::move(other.u_.a));
                other.u_.a.~Array();
                break;
            case Type::Dictionary:
                ::new (&u_.m) Dictionary(std::move(other.u_.m));
                other.u_.m.~Dictionary();
                break;
            case Type::String:
                u_.s = other.u_.s;
                break;
            case Type::Data:
                u_.data = other.u_.data;
                break;
            default:
                copyScalar(other);
                break;
        }
        other.release();
    }
    // Copies other's number, boolean, date or UID (this has other's type already).
    void copyScalar(const Value& other) noexcept {
        if (type_ == Type::Bool) {
            u_.b = other.u_.b;
        } else if (type_ == Type::Real || type_ == Type::Date) {
            u_.d = other.u_.d;
        } else {
            u_.i = other.u_.i;
        }
    }
    void release() noexcept {
        type_ = Type::Bool;
        u_.b = false;
    }

    Type type_;
    union Payload {
        Payload() noexcept : b(false) {}
        ~Payload() {}
        bool b;
        std::int64_t i;
        double d;
        std::string* s;
        numbrel::Data* data;
        numbrel::Array a;
        Dictionary m;
    } u_;
};

struct Value::Entry {
    Key key;
    Value value;
    friend bool operator==(const Entry&, const Entry&) = default;
};

// Lenient lookups that most readers need: a missing key or another type gives the fallback.
template <typename K>
inline std::int64_t integerOf(const Value& dict, const K& key, std::int64_t fallback = 0) {
    const Value* v = dict.find(key);
    return v ? v->toInteger(fallback) : fallback;
}
template <typename K>
inline double realOf(const Value& dict, const K& key, double fallback = 0.0) {
    const Value* v = dict.find(key);
    return v ? v->toReal(fallback) : fallback;
}
template <typename K>
inline bool boolOf(const Value& dict, const K& key, bool fallback = false) {
    const Value* v = dict.find(key);
    return v ? v->toBool(fallback) : fallback;
}
template <typename K>
inline std::string_view stringOf(const Value& dict, const K& key, std::string_view fallback = {}) {
    const Value* v = dict.find(key);
    return v ? v->toString(fallback) : fallback;
}
// The array under key, or null when it is missing or not an array.
template <typename K>
inline const Array* arrayOf(const Value& dict, const K& key) {
    const Value* v = dict.find(key);
    return v && v->isArray() ? &v->array() : nullptr;
}
template <typename K>
inline Array* arrayOf(Value& dict, const K& key) {
    Value* v = dict.find(key);
    return v && v->isArray() ? &v->array() : nullptr;
}

const char* typeName(Value::Type type);

}  // namespace numbrel
