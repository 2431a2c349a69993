#include "plist/xml_plist.h"

#include <charconv>
#include <cstdlib>
#include <string>

#include "plist/date_text.h"
#include "plist/utf.h"

namespace numbrel {

namespace {

class XmlReader {
public:
    explicit XmlReader(std::string_view text) : s_(text) {}

    PlistResult run() {
        PlistResult result;
        skipProlog();
        if (!openTag("plist")) return fail("not a property list");
        if (!readValue(0, result.value)) return fail(error_);
        skipSpace();
        if (!closeTag("plist")) return fail("unexpected text after the value");
        return result;
    }

private:
    static PlistResult fail(std::string message) {
        PlistResult r;
        r.error = std::move(message);
        return r;
    }
    bool error(const char* message) {
        if (error_.empty()) error_ = message;
        return false;
    }

    void skipSpace() {
        while (pos_ < s_.size() &&
               (s_[pos_] == ' ' || s_[pos_] == '\t' || s_[pos_] == '\n' || s_[pos_] == '\r'))
            ++pos_;
    }

    // Skips the XML declaration, DOCTYPE, comments and a byte-order mark.
    void skipProlog() {
        if (s_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
        for (;;) {
            skipSpace();
            if (s_.substr(pos_, 2) == "<?") {
                skipPast("?>");
            } else if (s_.substr(pos_, 4) == "<!--") {
                skipPast("-->");
            } else if (s_.substr(pos_, 2) == "<!") {
                skipPast(">");
            } else {
                return;
            }
        }
    }
    void skipPast(std::string_view end) {
        std::size_t p = s_.find(end, pos_);
        pos_ = p == std::string_view::npos ? s_.size() : p + end.size();
    }
    void skipComments() {
        for (;;) {
            skipSpace();
            if (s_.substr(pos_, 4) != "<!--") return;
            skipPast("-->");
        }
    }

    // Reads "<name ...>" or "<name .../>"; selfClosing tells which.
    bool readOpen(std::string& name, bool& selfClosing) {
        skipComments();
        if (pos_ >= s_.size() || s_[pos_] != '<' || s_.substr(pos_, 2) == "</") return false;
        std::size_t end = s_.find('>', pos_);
        if (end == std::string_view::npos) return false;
        std::string_view inside = s_.substr(pos_ + 1, end - pos_ - 1);
        selfClosing = !inside.empty() && inside.back() == '/';
        if (selfClosing) inside.remove_suffix(1);
        std::size_t nameEnd = inside.find_first_of(" \t\r\n");
        name = std::string(inside.substr(0, nameEnd));
        pos_ = end + 1;
        return true;
    }
    bool openTag(std::string_view want) {
        std::string name;
        bool selfClosing = false;
        return readOpen(name, selfClosing) && name == want && !selfClosing;
    }
    bool closeTag(std::string_view name) {
        skipComments();
        std::string tag = "</" + std::string(name);
        if (s_.substr(pos_, tag.size()) != tag) return false;
        pos_ += tag.size();
        skipSpace();
        if (pos_ >= s_.size() || s_[pos_] != '>') return false;
        ++pos_;
        return true;
    }

    // The character data up to the closing tag, with entities and CDATA decoded.
    bool readText(std::string_view name, std::string& out) {
        out.clear();
        for (;;) {
            if (pos_ >= s_.size()) return error("unterminated element");
            char c = s_[pos_];
            if (s_.substr(pos_, 9) == "<![CDATA[") {
                std::size_t end = s_.find("]]>", pos_ + 9);
                if (end == std::string_view::npos) return error("unterminated CDATA");
                out.append(s_.substr(pos_ + 9, end - pos_ - 9));
                pos_ = end + 3;
            } else if (c == '<') {
                return closeTag(name) || error("mismatched closing tag");
            } else if (c == '&') {
                std::size_t end = s_.find(';', pos_);
                if (end == std::string_view::npos || end - pos_ > 12) return error("bad entity");
                std::string_view ent = s_.substr(pos_ + 1, end - pos_ - 1);
                if (!appendEntity(ent, out)) return error("bad entity");
                pos_ = end + 1;
            } else {
                out += c;
                ++pos_;
            }
        }
    }

    static void appendUtf8(std::string& out, unsigned long c) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    static bool appendEntity(std::string_view ent, std::string& out) {
        if (ent == "lt") return out += '<', true;
        if (ent == "gt") return out += '>', true;
        if (ent == "amp") return out += '&', true;
        if (ent == "quot") return out += '"', true;
        if (ent == "apos") return out += '\'', true;
        if (ent.size() < 2 || ent[0] != '#') return false;
        unsigned long code = 0;
        bool hex = ent[1] == 'x' || ent[1] == 'X';
        std::string_view digits = ent.substr(hex ? 2 : 1);
        auto [p, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), code, hex ? 16 : 10);
        if (ec != std::errc() || p != digits.data() + digits.size() || code == 0 || code > 0x10FFFF ||
            (code >= 0xD800 && code <= 0xDFFF))
            return false;
        appendUtf8(out, code);
        return true;
    }

    static std::string_view trim(std::string_view t) {
        while (!t.empty() &&
               (t.front() == ' ' || t.front() == '\n' || t.front() == '\r' || t.front() == '\t'))
            t.remove_prefix(1);
        while (!t.empty() && (t.back() == ' ' || t.back() == '\n' || t.back() == '\r' || t.back() == '\t'))
            t.remove_suffix(1);
        return t;
    }

    static bool decodeBase64(std::string_view text, Data& out) {
        unsigned buffer = 0;
        int bits = 0;
        for (char c : text) {
            int v;
            if (c >= 'A' && c <= 'Z')
                v = c - 'A';
            else if (c >= 'a' && c <= 'z')
                v = c - 'a' + 26;
            else if (c >= '0' && c <= '9')
                v = c - '0' + 52;
            else if (c == '+')
                v = 62;
            else if (c == '/')
                v = 63;
            else if (c == '=' || c == ' ' || c == '\n' || c == '\r' || c == '\t')
                continue;
            else
                return false;
            buffer = (buffer << 6) | static_cast<unsigned>(v);
            bits += 6;
            if (bits >= 8) {
                bits -= 8;
                out.push_back(static_cast<std::uint8_t>((buffer >> bits) & 0xFF));
            }
        }
        return true;
    }

    bool readValue(int depth, Value& out) {
        if (depth > kMaxPlistDepth) return error("nesting too deep");
        std::string name;
        bool selfClosing = false;
        if (!readOpen(name, selfClosing)) return error("expected a value");
        if (name == "true" || name == "false") {
            if (!selfClosing && !closeTag(name)) return error("bad boolean");
            out = Value(name == "true");
            return true;
        }
        if (name == "dict")
            return selfClosing ? (out = Value::emptyDictionary(), true) : readDict(depth, out);
        if (name == "array") return selfClosing ? (out = Value::emptyArray(), true) : readArray(depth, out);
        std::string text;
        if (!selfClosing && !readText(name, text)) return false;
        if (name == "string") {
            out = Value(std::move(text));
        } else if (name == "integer") {
            std::string_view t = trim(text);
            long long i = 0;
            auto [p, ec] = std::from_chars(t.data(), t.data() + t.size(), i);
            if (ec != std::errc() || p != t.data() + t.size()) return error("bad integer");
            out = Value(i);
        } else if (name == "real") {
            std::string t(trim(text));
            char* end = nullptr;
            double d = std::strtod(t.c_str(), &end);
            if (t.empty() || end != t.c_str() + t.size()) return error("bad real");
            out = Value(d);
        } else if (name == "date") {
            std::optional<Date> d = parseIso8601(trim(text));
            if (!d) return error("bad date");
            out = Value(*d);
        } else if (name == "data") {
            Data bytes;
            if (!decodeBase64(text, bytes)) return error("bad data");
            out = Value(std::move(bytes));
        } else {
            return error("unknown element");
        }
        return true;
    }

    bool readArray(int depth, Value& out) {
        Array items;
        for (;;) {
            skipComments();
            if (s_.substr(pos_, 2) == "</") {
                if (!closeTag("array")) return error("mismatched closing tag");
                out = Value(std::move(items));
                return true;
            }
            items.emplace_back();
            if (!readValue(depth + 1, items.back())) return false;
        }
    }

    bool readDict(int depth, Value& out) {
        out = Value::emptyDictionary();
        for (;;) {
            skipComments();
            if (s_.substr(pos_, 2) == "</") return closeTag("dict") || error("mismatched closing tag");
            std::string name;
            bool selfClosing = false;
            if (!readOpen(name, selfClosing) || name != "key") return error("expected a key");
            std::string key;
            if (!selfClosing && !readText("key", key)) return false;
            Value v;
            if (!readValue(depth + 1, v)) return false;
            out.set(key, std::move(v));
        }
    }

    std::string_view s_;
    std::size_t pos_ = 0;
    std::string error_;
};

}  // namespace

PlistResult readXmlPlist(std::string_view text) {
    // Texts are kept as UTF-8: a file that is not would change on its way through the document.
    if (!validUtf8(text)) return PlistResult{Value(), "the XML text is not UTF-8"};
    return XmlReader(text).run();
}

}  // namespace numbrel
