#include "plist/description.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace numbrel {

namespace {

constexpr std::size_t kChunk = 1 << 16;

void appendDouble(std::string& out, double d, bool markWhole) {
    char buf[32];
    // Whole numbers of moderate size (most readings and dates) take the integer path: same text as
    // the shortest form, at a fraction of the cost.
    if (d >= -9007199254740992.0 && d <= 9007199254740992.0 && d == std::trunc(d) &&
        !(d == 0 && std::signbit(d))) {
        auto [end, ec] = std::to_chars(buf, buf + sizeof buf, static_cast<long long>(d));
        out.append(buf, end);
        if (markWhole) out.append(".0");
        return;
    }
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, d);
    std::string_view text(buf, ec == std::errc() ? end - buf : 0);
    out.append(text);
    if (markWhole && std::isfinite(d) && text.find_first_of(".e") == std::string_view::npos) out.append(".0");
}

void appendQuoted(std::string& out, std::string_view s) {
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    std::size_t run = 0;  // start of the stretch that needs no escaping
    for (std::size_t i = 0; i < s.size(); ++i) {
        auto c = static_cast<unsigned char>(s[i]);
        if (c >= 0x20 && c != '"' && c != '\\') continue;
        out.append(s.substr(run, i - run));
        run = i + 1;
        switch (c) {
            case '"':
                out.append("\\\"");
                break;
            case '\\':
                out.append("\\\\");
                break;
            case '\n':
                out.append("\\n");
                break;
            case '\r':
                out.append("\\r");
                break;
            case '\t':
                out.append("\\t");
                break;
            default:
                out.append("\\u00");
                out += kHex[c >> 4];
                out += kHex[c & 0xF];
        }
    }
    out.append(s.substr(run));
    out += '"';
}

class Describer {
  public:
    Describer(std::string& out, const std::function<void(std::string_view)>* consume)
        : out_(out), consume_(consume) {}

    void value(const Value& v) {
        switch (v.type()) {
            case Value::Type::Bool:
                out_.append(v.boolean() ? "true" : "false");
                break;
            case Value::Type::Integer: {
                char buf[24];
                auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v.integer());
                out_.append(buf, end);
                break;
            }
            case Value::Type::Real:
                appendDouble(out_, v.real(), true);
                break;
            case Value::Type::Date:
                out_ += '@';
                appendDouble(out_, v.date().seconds, false);
                break;
            case Value::Type::Uid: {
                out_.append("<uid ");
                char buf[24];
                auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v.uidValue());
                out_.append(buf, end);
                out_ += '>';
                break;
            }
            case Value::Type::String:
                appendQuoted(out_, v.string());
                break;
            case Value::Type::Data: {
                static constexpr char kHex[] = "0123456789abcdef";
                out_ += '<';
                for (std::uint8_t b : v.data()) {
                    out_ += kHex[b >> 4];
                    out_ += kHex[b & 0xF];
                }
                out_ += '>';
                break;
            }
            case Value::Type::Array:
                out_ += '(';
                for (std::size_t i = 0; i < v.array().size(); ++i) {
                    if (i) out_ += ',';
                    value(v.array()[i]);
                    spill();
                }
                out_ += ')';
                break;
            case Value::Type::Dictionary:
                dictionary(v, {});
                break;
        }
    }

    void dictionary(const Value& v, std::initializer_list<std::string_view> skip) {
        out_ += '{';
        for (const auto& e : v.dictionary()) {
            if (skip.size() && std::find(skip.begin(), skip.end(), std::string_view(e.key)) != skip.end())
                continue;
            appendQuoted(out_, e.key);
            out_ += '=';
            value(e.value);
            out_ += ';';
            spill();
        }
        out_ += '}';
    }

    void finish() {
        if (consume_ && !out_.empty()) (*consume_)(out_);
    }

  private:
    void spill() {
        if (consume_ && out_.size() >= kChunk) {
            (*consume_)(out_);
            out_.clear();
        }
    }

    std::string& out_;
    const std::function<void(std::string_view)>* consume_;
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
}

void streamDescription(const Value& value, std::initializer_list<std::string_view> skip,
                       const std::function<void(std::string_view)>& consume) {
    std::string buffer;
    buffer.reserve(kChunk + 1024);
    Describer d(buffer, &consume);
    if (value.isDictionary()) {
        d.dictionary(value, skip);
    } else {
        d.value(value);
    }
    d.finish();
}

std::string shortestDouble(double d, bool markWhole) {
    std::string out;
    appendDouble(out, d, markWhole);
    return out;
}

}  // namespace numbrel
