#include "ui/screen.h"

#include "ui/localize.h"

#include <filesystem>

namespace numbrel {

Row choice(std::string label, bool checked, int action, int index, bool enabled) {
    Row r{std::move(label), "", checked ? Accessory::Check : Accessory::None};
    r.enabled = enabled;
    r.selectable = enabled;
    r.action = action;
    r.index = index;
    return r;
}

const char* accessoryName(Accessory accessory) {
    switch (accessory) {
        case Accessory::Disclosure:
            return "disclosure";
        case Accessory::Check:
            return "check";
        case Accessory::Switch:
            return "switch";
        case Accessory::Segments:
            return "segments";
        case Accessory::Info:
            return "info";
        case Accessory::None:
            break;
    }
    return "";
}

namespace {

// The row at a position of the screen as it is now, if there is one.
std::optional<Row> rowAt(const Screen& screen, int section, int row) {
    std::vector<Section> all = screen.sections();
    if (section < 0 || section >= static_cast<int>(all.size())) return std::nullopt;
    std::vector<Row>& rows = all[static_cast<std::size_t>(section)].rows;
    if (row < 0 || row >= static_cast<int>(rows.size())) return std::nullopt;
    return std::move(rows[static_cast<std::size_t>(row)]);
}

}  // namespace

const Reachability& Navigator::reachability() const {
    static const AssumedReachability assumed;
    return assumed;
}

std::string Navigator::temporaryFolder() const {
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::temp_directory_path(ec) / "numbrel";
    std::filesystem::create_directories(dir, ec);
    return dir.string();
}

void Screen::selectRow(int section, int row) {
    if (std::optional<Row> r = rowAt(*this, section, row)) select(*r);
}

std::optional<ValueEdit> Screen::editFor(int section, int row) {
    if (std::optional<Row> r = rowAt(*this, section, row)) return edit(*r);
    return std::nullopt;
}

void Screen::commitDelete(int section, int row) {
    if (std::optional<Row> r = rowAt(*this, section, row)) remove(*r);
}

void Screen::showInfo(int section, int row) {
    if (std::optional<Row> r = rowAt(*this, section, row)) info(*r);
}

bool Screen::moveRow(int section, int from, int to) {
    std::optional<Row> r = rowAt(*this, section, from);
    return r && r->movable && rowAt(*this, section, to) && move(*r, to);
}

const Row* findRow(const std::vector<Section>& sections, const std::string& label) {
    for (const Section& s : sections)
        for (const Row& r : s.rows)
            if (r.label == label) return &r;
    return nullptr;
}

std::string detailOf(const std::vector<Section>& sections, const std::string& label) {
    const Row* row = findRow(sections, label);
    return row ? row->detail : std::string();
}

std::string Screen::backLabel() const {
    return tr("Back");
}

}  // namespace numbrel
