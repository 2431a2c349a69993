#include "ui/screen.h"

namespace numbrel {

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

}  // namespace numbrel
