#include "ui/markup.h"

#include <array>
#include <utility>

#include "store/text_compare.h"

namespace numbrel {

std::string escapeMarkup(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string textOfMarkup(std::string_view html) {
    static constexpr std::array<std::pair<std::string_view, char>, 5> kEntities{
        {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&#39;", '\''}}};
    std::string out;
    out.reserve(html.size());
    std::size_t i = 0;
    while (i < html.size()) {
        const char c = html[i];
        if (c == '<') {
            const std::size_t end = html.find('>', i);
            if (end == std::string_view::npos) break;  // a tag cut short ends the text
            std::string tag = asciiLower(html.substr(i + 1, end - i - 1));
            tag = tag.substr(0, tag.find_first_of(" \t/"));
            if (tag == "p") out += "\n\n";
            if (tag == "br") out += '\n';
            i = end + 1;
            continue;
        }
        if (c == '&') {
            bool known = false;
            for (const auto& [entity, character] : kEntities)
                if (html.substr(i, entity.size()) == entity) {
                    out += character;
                    i += entity.size();
                    known = true;
                    break;
                }
            if (known) continue;
        }
        out += c;
        ++i;
    }
    return out;
}

}  // namespace numbrel
