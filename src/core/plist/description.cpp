#include "plist/description.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace numbrel {

namespace {

void appendDouble(std::string& out, double d, bool markWhole) {
    char buf[32];
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, d);
    std::string_view text(buf, ec == std::errc() ? end - buf : 0);
    out.append(text);
    if (markWhole && std::isfinite(d) && text.find_first_of(".e") == std::string_view::npos) out.append(".0");
}

void appendQuoted(std::string& out, std::string_view s) {
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    for (char c : s) {
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
                if (static_cast<unsigned char>(c) < 0x20) {
                    out.append("\\u00");
                    out += kHex[(c >> 4) & 0xF];
                    out += kHex[c & 0xF];
                } else {
                    out += c;
                }
        }
    }
    out += '"';
}

void append(std::string& out, const Value& v) {
    switch (v.type()) {
        case Value::Type::Bool:
            out.append(v.boolean() ? "true" : "false");
            break;
        case Value::Type::Integer: {
            char buf[24];
            auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v.integer());
            out.append(buf, end);
            break;
        }
        case Value::Type::Real:
            appendDouble(out, v.real(), true);
            break;
        case Value::Type::Date:
            out += '@';
            appendDouble(out, v.date().seconds, false);
            break;
        case Value::Type::Uid: {
            out.append("<uid ");
            char buf[24];
            auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v.uidValue());
            out.append(buf, end);
            out += '>';
            break;
        }
        case Value::Type::String:
            appendQuoted(out, v.string());
            break;
        case Value::Type::Data: {
            static constexpr char kHex[] = "0123456789abcdef";
            out += '<';
            for (std::uint8_t b : v.data()) {
                out += kHex[b >> 4];
                out += kHex[b & 0xF];
            }
            out += '>';
            break;
        }
        case Value::Type::Array:
            out += '(';
            for (std::size_t i = 0; i < v.array().size(); ++i) {
                if (i) out += ',';
                append(out, v.array()[i]);
            }
            out += ')';
            break;
        case Value::Type::Dictionary:
            out += '{';
            for (const auto& e : v.dictionary()) {
                appendQuoted(out, e.key);
                out += '=';
                append(out, e.value);
                out += ';';
            }
            out += '}';
            break;
    }
}

}  // namespace

std::string description(const Value& value) {
    std::string out;
    appendDescription(out, value);
    return out;
}

void appendDescription(std::string& out, const Value& value, std::initializer_list<std::string_view> skip) {
    if (skip.size() == 0 || !value.isDictionary()) {
        append(out, value);
        return;
    }
    out += '{';
    for (const auto& e : value.dictionary()) {
        if (std::find(skip.begin(), skip.end(), std::string_view(e.key)) != skip.end()) continue;
        appendQuoted(out, e.key);
        out += '=';
        append(out, e.value);
        out += ';';
    }
    out += '}';
}

std::string shortestDouble(double d, bool markWhole) {
    std::string out;
    appendDouble(out, d, markWhole);
    return out;
}

}  // namespace numbrel
