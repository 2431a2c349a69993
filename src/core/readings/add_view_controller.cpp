#include "readings/add_view_controller.h"

#include <unicode/dcfmtsym.h>

#include <algorithm>
#include <cmath>

#include "costs/formatter.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

enum Action { kNone, kDate, kReading };

constexpr int kBillTag = 2;
constexpr int kNewMeterTag = 3;
constexpr int kRegisterTag = 1;

std::int64_t power10(int n) {
    std::int64_t v = 1;
    for (int i = 0; i < n; ++i)
        v *= 10;
    return v;
}

}  // namespace

AddViewController::AddViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex,
                                     int readingIndex)
    : app_(app), navigator_(navigator), meter_(meterIndex), readingIndex_(readingIndex) {
    load();
}

Value& AddViewController::meter() const {
    return app_.meter(meter_);
}

void AddViewController::load() {
    const Value& m = meter();
    // The dial: at most 8 digits and 4 decimals, as the format editor offers.
    digits_ = static_cast<int>(std::clamp<std::int64_t>(integerOf(m, "digits", 5), 1, 8));
    precision_ = static_cast<int>(std::clamp<std::int64_t>(integerOf(m, "precision", 1), 0, 4));
    divideBy_ = power10(precision_);
    maxReading_ = power10(digits_ + precision_ - 1);
    const Array* readings = arrayOf(m, "readings");
    const bool editing = readingIndex_ >= 0 && readings && readingIndex_ < static_cast<int>(readings->size());
    if (!editing) readingIndex_ = -1;
    values_ = {0, 0, 0};
    const Value* source =
        readings && !readings->empty() ? &(*readings)[editing ? readingIndex_ : 0] : nullptr;
    if (source) {
        const Value* values = source->find("reading");
        for (int r = 0; r < 3; ++r) {
            const Value* v = values ? values->at(static_cast<std::size_t>(r)) : nullptr;
            double scaled = (v ? v->toReal() : 0.0) * static_cast<double>(divideBy_);
            values_[static_cast<std::size_t>(r)] = std::isfinite(scaled) && std::abs(scaled) < 9e15
                                                       ? static_cast<std::int64_t>(std::floor(scaled + 0.5))
                                                       : 0;
        }
    }
    const Value* when = editing ? source->find("date") : nullptr;
    date_ = when && when->isDate() ? when->date() : app_.environment().now();
    bill_ = editing && boolOf(*source, "ticked");
    isNew_ = editing && boolOf(*source, "new");
    selected_ = 0;
    cursor_ = 0;
    dateMode_ = DateMode::Hidden;
}

std::string AddViewController::title() const {
    return std::string(stringOf(meter(), "name"));
}

std::string AddViewController::readingText() const {
    double v =
        static_cast<double>(values_[static_cast<std::size_t>(selected_)]) / static_cast<double>(divideBy_);
    return app_.formatter().formatReading(v, meter());
}

std::vector<std::string> AddViewController::registerChoices() const {
    std::int64_t enabled = integerOf(meter(), "enabled", 1);
    std::int64_t economy7 = integerOf(meter(), "economy7");
    if (enabled == 2 && economy7 == 2) return {tr("Day"), tr("Night")};
    if (enabled == 2 && economy7 == 1) return {tr("Night"), tr("Day")};
    if (enabled == 2) return {"R1", "R2"};
    if (enabled >= 3) return {"R1", "R2", "R3"};
    return {};
}

std::vector<Section> AddViewController::sections() const {
    Section s;
    Row date{tr("Date"), app_.formatter().formatDate(date_, Formatter::DateStyle::Medium, true),
             Accessory::None};
    date.action = kDate;
    Row reading{tr("Reading"), readingText(), Accessory::None};
    reading.action = kReading;
    std::vector<std::string> choices = registerChoices();
    if (!choices.empty()) {
        reading.accessory = Accessory::Segments;
        reading.segments = choices;
        reading.selectedSegment = selected_;
        reading.tag = kRegisterTag;
    }
    Row bill{tr("Bill"), "", Accessory::Switch, kBillTag, bill_};
    bill.selectable = false;
    Row changed{tr("New Meter"), "", Accessory::Switch, kNewMeterTag, isNew_};
    changed.selectable = false;
    s.rows = {date, reading, bill, changed};
    return {s};
}

std::vector<AddViewController::Component> AddViewController::components() const {
    std::vector<Component> out;
    std::int64_t v = std::abs(values_[static_cast<std::size_t>(selected_)]);
    // Digits from the right, least significant first; the last wheel gets the last digit.
    std::vector<int> digits(static_cast<std::size_t>(digits_ + precision_));
    for (std::size_t i = digits.size(); i-- > 0;) {
        digits[i] = static_cast<int>(v % 10);
        v /= 10;
    }
    for (int i = 0; i < digits_; ++i)
        out.push_back({false, 500, digits[static_cast<std::size_t>(i)] + 250, false, i == cursor_});
    if (precision_ >= 1) {
        out.push_back({true, 1, 0, false});
        for (int i = 0; i < precision_; ++i)
            out.push_back({false, 500, digits[static_cast<std::size_t>(digits_ + i)] + 250, true,
                           digits_ + i == cursor_});
    }
    return out;
}

void AddViewController::wheelChanged(int component, int row) {
    std::vector<Component> wheels = components();
    if (component < 0 || component >= static_cast<int>(wheels.size())) return;
    wheels[static_cast<std::size_t>(component)].selected = row;
    // The value is rebuilt from every wheel, left to right.
    std::int64_t v = 0;
    for (const Component& c : wheels)
        if (!c.separator) v = v * 10 + ((c.selected % 10) + 10) % 10;
    values_[static_cast<std::size_t>(selected_)] = v;
}

std::string AddViewController::decimalSeparator() const {
    UErrorCode status = U_ZERO_ERROR;
    icu::DecimalFormatSymbols symbols(app_.environment().locale(), status);
    std::string out;
    symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol).toUTF8String(out);
    return U_SUCCESS(status) ? out : ".";
}

bool AddViewController::keyboard() const {
    return boolOf(app_.settings(), "keyboard") && !forceScrollWheels_;
}

void AddViewController::typeDigit(int digit) {
    if (digit < 0 || digit > 9) return;
    std::int64_t& v = values_[static_cast<std::size_t>(selected_)];
    if (v < maxReading_) v = v * 10 + digit;  // a dial has no more digits than this
}

void AddViewController::deleteDigit() {
    values_[static_cast<std::size_t>(selected_)] /= 10;
}

void AddViewController::typeKey(int digit) {
    if (digit < 0 || digit > 9) return;
    if (keyboard()) {
        typeDigit(digit);
        return;
    }
    const int places = digits_ + precision_;
    if (cursor_ >= places) return;  // every wheel is set
    std::int64_t& v = values_[static_cast<std::size_t>(selected_)];
    std::int64_t weight = power10(places - 1 - cursor_);
    std::int64_t magnitude = std::abs(v);
    magnitude += (digit - magnitude / weight % 10) * weight;
    v = v < 0 ? -magnitude : magnitude;
    ++cursor_;
}

void AddViewController::backspaceKey() {
    if (keyboard()) {
        deleteDigit();
        return;
    }
    if (cursor_ == 0) return;
    --cursor_;
    std::int64_t& v = values_[static_cast<std::size_t>(selected_)];
    std::int64_t weight = power10(digits_ + precision_ - 1 - cursor_);
    std::int64_t magnitude = std::abs(v);
    magnitude -= magnitude / weight % 10 * weight;
    v = v < 0 ? -magnitude : magnitude;
}

void AddViewController::selectWheel(int component) {
    // The separator is a component of its own between the whole digits and the decimals.
    if (component < 0 || component == digits_ || component > digits_ + precision_) return;
    cursor_ = component < digits_ ? component : component - 1;
}

void AddViewController::clear() {
    values_[static_cast<std::size_t>(selected_)] = 0;
}

void AddViewController::select(const Row& row) {
    if (row.action == kDate) {
        if (dateMode_ == DateMode::Hidden) {
            dateMode_ = DateMode::DateAndTime;
        } else if (dateMode_ == DateMode::DateAndTime) {
            dateMode_ = DateMode::DateOnly;
            showTip_ = false;  // the user found the quicker way
        } else {
            dateMode_ = DateMode::DateAndTime;
        }
    } else if (row.action == kReading) {
        dateMode_ = DateMode::Hidden;
    }
}

void AddViewController::flipSwitch(int tag, bool on) {
    if (tag == kBillTag) bill_ = on;
    if (tag == kNewMeterTag) isNew_ = on;
}

void AddViewController::chooseSegment(int tag, int index) {
    if (tag != kRegisterTag) return;
    int count = static_cast<int>(registerChoices().size());
    if (index >= 0 && index < count) {
        selected_ = index;
        cursor_ = 0;
    }
}

void AddViewController::dateAction(Date date) {
    date_ = date;
    if (readingIndex_ < 0 && showTip_ &&
        std::abs(date.seconds - app_.environment().now().seconds) / 86400.0 > 100) {
        showTip_ = false;
        navigator_.present(
            Alert{0,
                  tr("Date Tip"),
                  tr("Instead of scrolling, you can select the date row a second time to set the date, "
                     "month and year"),
                  {tr("OK")}});
    }
}

void AddViewController::saveAction() {
    Value& m = meter();
    Array* readings = arrayOf(m, "readings");
    if (!readings) readings = &m.set("readings", Value::emptyArray()).array();

    Array values;
    for (std::int64_t v : values_)
        values.emplace_back(static_cast<double>(v) / static_cast<double>(divideBy_));
    Value record = readingIndex_ >= 0 ? std::move((*readings)[static_cast<std::size_t>(readingIndex_)])
                                      : Value::emptyDictionary();
    if (readingIndex_ >= 0) readings->erase(readings->begin() + readingIndex_);
    record.set("date", date_);
    record.set("reading", Value(std::move(values)));
    if (bill_) {
        record.set("ticked", true);
    } else {
        record.erase("ticked");
    }
    if (isNew_) {
        record.set("new", true);
    } else {
        record.erase("new");
    }
    // Newest first: before the first reading that is older; after readings of the same instant.
    auto position = std::find_if(readings->begin(), readings->end(), [&](const Value& r) {
        const Value* d = r.find("date");
        return d && d->isDate() && d->date() < date_;
    });
    readings->insert(position, std::move(record));

    const Array* meters = metersOf(app_.settings());
    if (readingIndex_ < 0 && meters && meters->size() >= 2 && boolOf(app_.settings(), "next")) {
        navigator_.present(Alert{kSavedTag, tr("Reading Saved"), "", {tr("Done"), tr("Next Meter")}});
    } else {
        cancelAction();
    }
}

void AddViewController::cancelAction() {
    navigator_.dismiss();
}

void AddViewController::answerAlert(int tag, int button) {
    if (tag != kSavedTag) return;
    if (button != 1) {
        cancelAction();
        return;
    }
    const Array* meters = metersOf(app_.settings());
    meter_ = (meter_ + 1) % static_cast<int>(meters->size());  // wraps from the last to the first
    app_.settings().set("meter", meter_);                      // the main screen follows
    readingIndex_ = -1;
    Date chosen = date_;  // the next meter is read at about the same time
    load();
    date_ = chosen;
}

}  // namespace numbrel
