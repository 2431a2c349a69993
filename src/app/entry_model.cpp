#include "entry_model.h"

#include "plist/date_text.h"

namespace numbrel::app {

namespace {

Date fromQt(const QDateTime& d) {
    return Date{static_cast<double>(d.toMSecsSinceEpoch()) / 1000.0 - kUnixToReferenceSeconds};
}
QDateTime toQt(Date d) {
    return QDateTime::fromMSecsSinceEpoch(
        static_cast<qint64>((d.seconds + kUnixToReferenceSeconds) * 1000.0));
}

}  // namespace

void WheelModel::set(std::vector<AddViewController::Component> components) {
    auto same = [](const AddViewController::Component& a, const AddViewController::Component& b) {
        return a.separator == b.separator && a.rows == b.rows;
    };
    bool sameShape = components.size() == components_.size() &&
                     std::equal(components.begin(), components.end(), components_.begin(), same);
    if (!sameShape) {
        beginResetModel();
        components_ = std::move(components);
        endResetModel();
        return;
    }
    for (std::size_t i = 0; i < components.size(); ++i) {
        const auto &was = components_[i], &now = components[i];
        if (was.selected == now.selected && was.decimal == now.decimal && was.cursor == now.cursor) continue;
        components_[i] = now;
        emit dataChanged(index(static_cast<int>(i)), index(static_cast<int>(i)));
    }
}

int WheelModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(components_.size());
}

QVariant WheelModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const auto& c = components_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case SeparatorRole:
            return c.separator;
        case RowsRole:
            return c.rows;
        case SelectedRole:
            return c.selected;
        case DecimalRole:
            return c.decimal;
        case CursorRole:
            return c.cursor;
        default:
            return {};
    }
}

QHash<int, QByteArray> WheelModel::roleNames() const {
    return {{SeparatorRole, "separator"},
            {RowsRole, "rows"},
            {SelectedRole, "selected"},
            {DecimalRole, "decimal"},
            {CursorRole, "cursor"}};
}

EntryModel::EntryModel(NavigationStack& stack, ScreenStack::Id id, AddViewController& entry, QObject* parent)
    : TableModel(stack, id, parent), entry_(entry), wheels_(this) {
    refresh();
}

void EntryModel::refresh() {
    TableModel::refresh();
    if (gone_ || !stack_.alive(id_)) return;
    wheels_.set(entry_.components());
    keyboard_ = entry_.keyboard();
    dateMode_ = static_cast<int>(entry_.dateMode());
    date_ = toQt(entry_.date());
    separator_ = QString::fromStdString(entry_.decimalSeparator());
    emit changed();
}

QString EntryModel::reading() const {
    int row = find("Reading");
    return row < 0 ? QString() : data(index(row), DetailRole).toString();
}

void EntryModel::entryAct(const std::function<void(AddViewController&)>& action) {
    act([&](Screen&) { action(entry_); });
}

void EntryModel::wheelChanged(int component, int row) {
    entryAct([&](AddViewController& e) { e.wheelChanged(component, row); });
}
void EntryModel::typeDigit(int digit) {
    entryAct([&](AddViewController& e) { e.typeDigit(digit); });
}
void EntryModel::deleteDigit() {
    entryAct([](AddViewController& e) { e.deleteDigit(); });
}
void EntryModel::typeKey(int digit) {
    entryAct([&](AddViewController& e) { e.typeKey(digit); });
}
void EntryModel::backspaceKey() {
    entryAct([](AddViewController& e) { e.backspaceKey(); });
}
void EntryModel::selectWheel(int component) {
    entryAct([&](AddViewController& e) { e.selectWheel(component); });
}
void EntryModel::setDate(const QDateTime& date) {
    entryAct([&](AddViewController& e) { e.dateAction(fromQt(date)); });
}
void EntryModel::save() {
    entryAct([](AddViewController& e) { e.saveAction(); });
}

}  // namespace numbrel::app
