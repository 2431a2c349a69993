// Plain text for people: columns aligned by their display width, and a screen's sections written as
// the screen shows them.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "ui/screen.h"

namespace numbrel::cli {

// The number of characters a terminal gives a UTF-8 text (one per code point).
std::size_t displayWidth(std::string_view text);

// Rows of cells printed in columns as wide as their widest cell; a column is aligned to the right when
// its flag says so. Trailing blanks are never written.
class TextTable {
public:
    explicit TextTable(std::vector<bool> rightAligned = {}) : right_(std::move(rightAligned)) {}
    void add(std::vector<std::string> cells) { rows_.push_back({std::move(cells), false}); }
    // A line of its own between rows (a section's title), written without the indent.
    void addHeading(std::string text) { rows_.push_back({{std::move(text)}, true}); }
    bool empty() const { return rows_.empty(); }
    void print(std::ostream& out, std::string_view indent = "  ") const;

private:
    std::vector<bool> right_;
    struct Line {
        std::vector<std::string> cells;
        bool heading = false;
    };
    std::vector<Line> rows_;
};

// Each section's header (when it has one) and its rows: label and detail in two columns, a switch as
// "On" or "Off". Footers are left out: they are tips, not data.
void printSections(std::ostream& out, const std::vector<Section>& sections);

}  // namespace numbrel::cli
