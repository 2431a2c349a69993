#include "plist/description.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace numbrel {

namespace {

constexpr std::size_t kChunk = 1 << 16;
constexpr char kHex[] = "0123456789abcdef";

// Writes the description into a byte buffer through a cursor; room is made once per token rather
// than per character. With a consumer, the text is handed over in chunks as it grows.
class Describer {
public:
    Describer(std::string& out, const std::function<void(std::string_view)>* consume)
        : out_(out), consume_(consume), used_(out.size()) {}

    void value(const Value& v) {
        switch (v.type()) {
            case Value::Type::Bool:
                v.boolean() ? literal("true") : literal("false");
                break;
            case Value::Type::Integer: {
                char* p = room(24);
                used_ = static_cast<std::size_t>(std::to_chars(p, p + 24, v.integer()).ptr - out_.data());
                break;
            }
            case Value::Type::Real:
                number(v.real(), true);
                break;
            case Value::Type::Date:
                ch('@');
                number(v.date().seconds, false);
                break;
            case Value::Type::Uid: {
                literal("<uid ");
                char* p = room(24);
                used_ = static_cast<std::size_t>(std::to_chars(p, p + 24, v.uidValue()).ptr - out_.data());
                ch('>');
                break;
            }
            case Value::Type::String:
                quoted(v.string());
                break;
            case Value::Type::Data: {
                const Data& d = v.data();
                char* p = room(2 * d.size() + 2);
                *p++ = '<';
                for (std::uint8_t b : d) {
                    *p++ = kHex[b >> 4];
                    *p++ = kHex[b & 0xF];
                }
                *p++ = '>';
                used_ = static_cast<std::size_t>(p - out_.data());
                break;
            }
            case Value::Type::Array:
                ch('(');
                for (std::size_t i = 0; i < v.array().size(); ++i) {
                    if (i) ch(',');
                    value(v.array()[i]);
                    spill();
                }
                ch(')');
                break;
            case Value::Type::Dictionary:
                dictionary(v, {});
                break;
        }
    }

    void dictionary(const Value& v, std::initializer_list<std::string_view> skip) {
        ch('{');
        for (const auto& e : v.dictionary()) {
            if (skip.size() && std::find(skip.begin(), skip.end(), e.key.view()) != skip.end()) continue;
            quoted(e.key.view());
            ch('=');
            value(e.value);
            ch(';');
            spill();
        }
        ch('}');
    }

    // A top-level dictionary whose entries under skip are flagged while they are handed over, so that
    // the consumer can pass them on or not.
    void routedDictionary(const Value& v, std::initializer_list<std::string_view> skip, bool& skipping) {
        ch('{');
        for (const auto& e : v.dictionary()) {
            bool skipped = std::find(skip.begin(), skip.end(), e.key.view()) != skip.end();
            if (skipped != skipping) {
                flush();
                skipping = skipped;
            }
            quoted(e.key.view());
            ch('=');
            value(e.value);
            ch(';');
            spill();
        }
        if (skipping) {
            flush();
            skipping = false;
        }
        ch('}');
    }

    // Settles the output: with a consumer, hands over the rest; otherwise trims the buffer.
    void finish() {
        out_.resize(used_);
        if (consume_ && !out_.empty()) (*consume_)(out_);
    }

private:
    char* room(std::size_t bytes) {
        if (used_ + bytes > out_.size()) out_.resize(std::max(2 * out_.size(), used_ + bytes + 256));
        return out_.data() + used_;
    }
    void ch(char c) { *room(1) = c, ++used_; }
    void literal(std::string_view text) {
        if (text.empty()) return;  // an empty view may hold no pointer
        std::memcpy(room(text.size()), text.data(), text.size());
        used_ += text.size();
    }

    void number(double d, bool markWhole) {
        char* p = room(40);
        char* end;
        // Whole numbers of moderate size (most readings and dates) take the integer path: the same
        // text as the shortest form, at a fraction of the cost.
        if (d >= -9007199254740992.0 && d <= 9007199254740992.0 && d == std::trunc(d) &&
            !(d == 0 && std::signbit(d))) {
            end = std::to_chars(p, p + 24, static_cast<long long>(d)).ptr;
            if (markWhole) *end++ = '.', *end++ = '0';
        } else if (char* fast = fewDecimals(d, p)) {
            end = fast;
        } else {
            auto [e, ec] = std::to_chars(p, p + 32, d);
            end = ec == std::errc() ? e : p;
            if (markWhole && std::isfinite(d) &&
                std::string_view(p, end - p).find_first_of(".e") == std::string_view::npos)
                *end++ = '.', *end++ = '0';
        }
        used_ = static_cast<std::size_t>(end - out_.data());
    }

    // A number with a few decimals (most readings, rates and factors) written as the shortest form
    // writes it, at a fraction of the cost: the fewest decimals whose digits, over that power of ten,
    // give exactly d. From 0.001 up the plain notation is never longer than the exponent notation,
    // so the shortest form writes it plainly. Null when d is not such a number, or is out of range.
    static char* fewDecimals(double d, char* p) {
        static constexpr double kPowers[7] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
        const double a = std::fabs(d);
        if (!(a >= 0.001 && a < 1e9)) return nullptr;
        for (int k = 1; k <= 6; ++k) {
            const double m = std::nearbyint(a * kPowers[k]);
            if (m / kPowers[k] != a) continue;
            // Below 10^15 the digits are exact, and no other number of k decimals lies as near to d.
            const auto digits = static_cast<std::uint64_t>(m);
            if (digits % 10 == 0) return nullptr;  // fewer decimals should have matched: not trusted
            char text[24];
            const int n = static_cast<int>(std::to_chars(text, text + sizeof text, digits).ptr - text);
            const int whole = n - k;  // digits before the point; none or fewer than none below 1
            if (std::signbit(d)) *p++ = '-';
            if (whole > 0) {
                std::memcpy(p, text, static_cast<std::size_t>(whole));
                p += whole;
                *p++ = '.';
                std::memcpy(p, text + whole, static_cast<std::size_t>(k));
                return p + k;
            }
            *p++ = '0';
            *p++ = '.';
            std::memset(p, '0', static_cast<std::size_t>(-whole));
            p += -whole;
            std::memcpy(p, text, static_cast<std::size_t>(n));
            return p + n;
        }
        return nullptr;
    }

    void quoted(std::string_view s) {
        char* p = room(6 * s.size() + 2);  // the worst case: every byte escaped as \u00XX
        *p++ = '"';
        for (char c : s) {
            auto u = static_cast<unsigned char>(c);
            if (u >= 0x20 && c != '"' && c != '\\') {
                *p++ = c;
                continue;
            }
            *p++ = '\\';
            switch (c) {
                case '"':
                    *p++ = '"';
                    break;
                case '\\':
                    *p++ = '\\';
                    break;
                case '\n':
                    *p++ = 'n';
                    break;
                case '\r':
                    *p++ = 'r';
                    break;
                case '\t':
                    *p++ = 't';
                    break;
                default:
                    *p++ = 'u', *p++ = '0', *p++ = '0';
                    *p++ = kHex[u >> 4];
                    *p++ = kHex[u & 0xF];
            }
        }
        *p++ = '"';
        used_ = static_cast<std::size_t>(p - out_.data());
    }

    void flush() {
        if (consume_ && used_ > 0) {
            (*consume_)(std::string_view(out_.data(), used_));
            used_ = 0;
        }
    }

    void spill() {
        if (consume_ && used_ >= kChunk) {
            (*consume_)(std::string_view(out_.data(), used_));
            used_ = 0;
        }
    }

    std::string& out_;
    const std::function<void(std::string_view)>* consume_;
    std::size_t used_;
};

}  // namespace

std::string description(const Value& value) {
    std::string out;
    appendDescription(out, value);
    return out;
}

void appendDescription(std::string& out, const Value& value, std::initializer_list<std::string_view> skip) {
    Describer d(out, nullptr);
    if (value.isDictionary()) {
        d.dictionary(value, skip);
    } else {
        d.value(value);
    }
    d.finish();
}

void streamDescription(const Value& value, std::initializer_list<std::string_view> skip,
                       const std::function<void(std::string_view)>& consume) {
    std::string buffer;
    buffer.resize(kChunk + 4096);
    buffer.clear();
    Describer d(buffer, &consume);
    if (value.isDictionary()) {
        d.dictionary(value, skip);
    } else {
        d.value(value);
    }
    d.finish();
}

void streamDescription(const Value& dictionary, std::initializer_list<std::string_view> skip,
                       const std::function<void(std::string_view)>& all,
                       const std::function<void(std::string_view)>& filtered) {
    bool skipping = false;
    const std::function<void(std::string_view)> route = [&](std::string_view piece) {
        all(piece);
        if (!skipping) filtered(piece);
    };
    std::string buffer;
    buffer.resize(kChunk + 4096);
    buffer.clear();
    Describer d(buffer, &route);
    if (dictionary.isDictionary()) {
        d.routedDictionary(dictionary, skip, skipping);
    } else {
        d.value(dictionary);
    }
    d.finish();
}

std::string shortestDouble(double d, bool markWhole) {
    std::string out;
    Describer describer(out, nullptr);
    describer.value(markWhole ? Value(d) : Value(Date{d}));
    describer.finish();
    return markWhole ? out : out.substr(1);  // a date's text is the number after '@'
}

}  // namespace numbrel
