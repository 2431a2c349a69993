#include "main/meters_view_controller.h"

#include "costs/tariff_view_controller.h"
#include "readings/meter_editing.h"
#include "readings/property_editors.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "store/meter_record.h"
#include "ui/localize.h"

namespace numbrel {

MetersViewController::MetersViewController(NumbrelAppDelegate& app, Navigator& navigator)
    : app_(app), navigator_(navigator) {}

int MetersViewController::count() const {
    const Array* meters = metersOf(app_.settings());
    return meters ? static_cast<int>(meters->size()) : 0;
}

std::string MetersViewController::title() const {
    return tr("Meters");
}

namespace {

enum Action { kNone, kMeter, kAdd };

}  // namespace

std::vector<Section> MetersViewController::sections() const {
    Section s;
    const Array* meters = metersOf(app_.settings());
    const int current = static_cast<int>(integerOf(app_.settings(), "meter"));
    for (int i = 0; i < count(); ++i) {
        Row r{std::string(stringOf((*meters)[static_cast<std::size_t>(i)], "name")), "", Accessory::Info};
        r.checked = !editing_ && i == current;
        r.action = kMeter;
        r.index = i;
        r.deletable = editing_;
        r.movable = editing_;
        s.rows.push_back(r);
    }
    if (editing_) {
        Row add{tr("Select to add new meter"), ""};
        add.action = kAdd;
        add.adds = true;
        add.color = RowColor{0.0039, 0.4824, 1.0};
        s.rows.push_back(add);
    }
    s.footer = editing_ ? tr("Delete, re-order or add new meters")
                        : tr("Jump to the selected meter, or tap the BLUE BUTTONS for settings and RATES");
    return {s};
}

void MetersViewController::select(const Row& row) {
    if (row.action != kMeter || row.index >= count()) return;
    if (editing_) {
        openRates(row.index);
        return;
    }
    app_.settings().set("meter", row.index);
    navigator_.pop();
}

std::optional<ValueEdit> MetersViewController::edit(const Row& row) {
    if (row.action != kAdd) return std::nullopt;
    return app_.guarded(newMeterEditor([this](const std::string& name) { addMeter(name); }));
}

void MetersViewController::info(const Row& row) {
    if (row.action == kMeter && row.index < count()) openRates(row.index);
}

void MetersViewController::openRates(int meter) {
    navigator_.push(std::make_unique<TariffViewController>(app_, navigator_, meter));
}

void MetersViewController::remove(const Row& row) {
    if (row.action != kMeter || row.index >= count()) return;
    const Value& m = (*metersOf(app_.settings()))[static_cast<std::size_t>(row.index)];
    const Array* readings = readingsOf(m);
    if (readings && !readings->empty()) {
        deleteRow_ = row.index;
        navigator_.present(Alert{kDeleteTag,
                                 tr("Warning!"),
                                 tr("Deleting this meter will also delete all of its readings"),
                                 {tr("Cancel"), tr("OK")}});
        return;
    }
    metersOf(app_.settings())->erase(metersOf(app_.settings())->begin() + row.index);
    app_.settings().set("meter", 0);
    app_.reshape();
}

void MetersViewController::answerAlert(int tag, int button) {
    if (tag != kDeleteTag) return;
    if (button == 1 && deleteRow_ >= 0 && deleteRow_ < count()) {
        metersOf(app_.settings())->erase(metersOf(app_.settings())->begin() + deleteRow_);
        app_.settings().set("meter", 0);
        app_.reshape();
    } else {
        editing_ = false;  // "Cancel" ends editing without removing
    }
    deleteRow_ = -1;
}

bool MetersViewController::move(const Row& row, int to) {
    const int from = row.index, n = count();
    if (row.action != kMeter || from >= n || to < 0 || to >= n) return false;  // never onto the add row
    Array& meters = *metersOf(app_.settings());
    Value moved = std::move(meters[static_cast<std::size_t>(from)]);
    meters.erase(meters.begin() + from);
    meters.insert(meters.begin() + to, std::move(moved));
    app_.settings().set("meter", 0);
    app_.reshape();
    return true;
}

void MetersViewController::addMeter(const std::string& name) {
    if (name.empty()) return;
    metersOf(app_.settings())->push_back(newMeter(name, app_.environment()));
    app_.reshape();
}

}  // namespace numbrel
