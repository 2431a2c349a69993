#include "main/meters_view_controller.h"

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

std::vector<Section> MetersViewController::sections() const {
    Section s;
    const Array* meters = metersOf(app_.settings());
    for (int i = 0; i < count(); ++i) {
        Row r{std::string(stringOf((*meters)[static_cast<std::size_t>(i)], "name")), "",
              Accessory::Disclosure};
        if (!editing_ && i == static_cast<int>(integerOf(app_.settings(), "meter")))
            r.accessory = Accessory::Check;
        s.rows.push_back(r);
    }
    if (editing_) s.rows.push_back(Row{tr("Select to add new meter"), ""});
    s.footer = editing_ ? tr("Delete, re-order or add new meters")
                        : tr("Jump to the selected meter, or tap the BLUE BUTTONS for settings and RATES");
    return {s};
}

void MetersViewController::selectRow(int /*section*/, int row) {
    if (row < 0) return;
    if (editing_) {
        if (row == count()) {
            if (addHook_) addHook_();
        } else if (row < count() && tariffHook_) {
            tariffHook_(row);
        }
        return;
    }
    if (row >= count()) return;
    app_.settings().set("meter", row);
    navigator_.pop();
}

void MetersViewController::deleteRow(int row) {
    if (row < 0 || row >= count()) return;
    const Value& m = (*metersOf(app_.settings()))[static_cast<std::size_t>(row)];
    const Array* readings = readingsOf(m);
    if (readings && !readings->empty()) {
        deleteRow_ = row;
        navigator_.present(Alert{kDeleteTag,
                                 tr("Warning!"),
                                 tr("Deleting this meter will also delete all of its readings"),
                                 {tr("Cancel"), tr("OK")}});
        return;
    }
    metersOf(app_.settings())->erase(metersOf(app_.settings())->begin() + row);
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

bool MetersViewController::moveRow(int from, int to) {
    int n = count();
    if (from < 0 || from >= n || to < 0 || to >= n) return false;  // never onto or below the add row
    Array& meters = *metersOf(app_.settings());
    Value moved = std::move(meters[static_cast<std::size_t>(from)]);
    meters.erase(meters.begin() + from);
    meters.insert(meters.begin() + to, std::move(moved));
    app_.settings().set("meter", 0);
    app_.reshape();
    return true;
}

ValueEdit MetersViewController::newMeterEdit() {
    return app_.guarded(newMeterEditor([this](const std::string& name) { addMeter(name); }));
}

void MetersViewController::addMeter(const std::string& name) {
    if (name.empty()) return;
    metersOf(app_.settings())->push_back(newMeter(name, app_.environment()));
    app_.reshape();
}

}  // namespace numbrel
