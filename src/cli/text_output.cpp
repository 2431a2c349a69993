#include "text_output.h"

#include <algorithm>

#include "ui/localize.h"

namespace numbrel::cli {

std::size_t displayWidth(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void TextTable::print(std::ostream& out, std::string_view indent) const {
    std::vector<std::size_t> widths;
    for (const auto& [row, heading] : rows_) {
        if (heading) continue;
        if (widths.size() < row.size()) widths.resize(row.size(), 0);
        for (std::size_t c = 0; c < row.size(); ++c)
            widths[c] = std::max(widths[c], displayWidth(row[c]));
    }
    for (const auto& [row, heading] : rows_) {
        if (heading) {
            out << row[0] << "\n";
            continue;
        }
        std::string line(indent);
        for (std::size_t c = 0; c < row.size(); ++c) {
            std::string pad(widths[c] - displayWidth(row[c]), ' ');
            bool right = c < right_.size() && right_[c];
            if (c > 0) line += "  ";
            line += right ? pad + row[c] : row[c] + pad;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << "\n";
    }
}

void printSections(std::ostream& out, const std::vector<Section>& sections) {
    for (const Section& section : sections) {
        if (section.rows.empty()) continue;
        if (!section.header.empty()) out << section.header << "\n";
        TextTable table;
        for (const Row& row : section.rows) {
            std::string detail =
                row.accessory == Accessory::Switch ? (row.on ? tr("On") : tr("Off")) : row.detail;
            if (row.label.empty()) {
                table.add({detail});
            } else {
                table.add({row.label, detail});
            }
        }
        table.print(out);
    }
}

}  // namespace numbrel::cli
