#include "readings_model.h"

#include "main_model.h"

namespace numbrel::app {

ReadingsModel::ReadingsModel(NavigationStack& stack, ScreenStack::Id id, ReadingsViewController& readings,
                             QObject* parent)
    : QAbstractListModel(parent), stack_(stack), id_(id), readings_(readings) {
    connect(&stack_, &NavigationStack::changed, this, &ReadingsModel::refresh);
    refresh();
}

void ReadingsModel::refresh() {
    if (gone_ || !stack_.alive(id_)) return;
    std::vector<Item> rows;
    for (auto& section : readings_.readingSections())
        for (auto& row : section.rows)
            rows.push_back({QString::fromStdString(section.title), std::move(row)});
    const bool sameShape = rows.size() == rows_.size() &&
                           std::equal(rows.begin(), rows.end(), rows_.begin(), [](auto& a, auto& b) {
                               return a.row.index == b.row.index && a.month == b.month;
                           });
    if (sameShape) {
        rows_ = std::move(rows);
        if (!rows_.empty()) emit dataChanged(index(0), index(count() - 1));
    } else {
        beginResetModel();
        rows_ = std::move(rows);
        endResetModel();
    }
    title_ = QString::fromStdString(readings_.title());
    periods_.clear();
    const bool tablet = stack_.main() && stack_.main()->root().tablet();
    for (const auto& p : readings_.periodItems(tablet))
        periods_ << QString::fromStdString(p);
    period_ = readings_.periodIndex();
    bills_ = readings_.bills();
    emit changed();
}

int ReadingsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant ReadingsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= count()) return {};
    const Item& item = rows_[static_cast<std::size_t>(index.row())];
    const auto& r = item.row;
    auto list = [](const std::vector<std::string>& texts) {
        QStringList out;
        for (const auto& t : texts)
            out << QString::fromStdString(t);
        return out;
    };
    switch (role) {
        case IndexRole:
            return r.index;
        case MonthRole:
            return item.month;
        case DateRole:
            return QString::fromStdString(r.date);
        case RegistersRole: {
            // Each register with its own usage over the interval, when there are several.
            QStringList registers = list(r.registers), usage = list(r.registerUsage);
            for (int i = 0; i < registers.size() && i < usage.size(); ++i)
                registers[i] += " (" + usage[i] + ")";
            return registers.join("   ");
        }
        case UsageRole:
            return QString::fromStdString(r.usage);
        case CostRole:
            return QString::fromStdString(r.cost);
        case BillRole:
            return r.bill;
        case SeveralRole:
            return r.registers.size() > 1;
        default:
            return {};
    }
}

QHash<int, QByteArray> ReadingsModel::roleNames() const {
    return {{IndexRole, "reading"}, {MonthRole, "month"}, {DateRole, "date"}, {RegistersRole, "registers"},
            {UsageRole, "usage"},   {CostRole, "cost"},   {BillRole, "bill"}, {SeveralRole, "several"}};
}

void ReadingsModel::readingsAct(const std::function<void(ReadingsViewController&)>& action) {
    if (!gone_) stack_.act(id_, [&](Screen&) { action(readings_); });
}

void ReadingsModel::periodAction(int index) {
    readingsAct([&](ReadingsViewController& r) { r.periodAction(index); });
}
void ReadingsModel::usageAction() {
    readingsAct([](ReadingsViewController& r) { r.usageAction(); });
}
void ReadingsModel::doneAction() {
    readingsAct([](ReadingsViewController& r) { r.doneAction(); });
}
void ReadingsModel::exportAction() {
    readingsAct([](ReadingsViewController& r) { r.exportAction(); });
}
void ReadingsModel::deleteReading(int reading) {
    readingsAct([&](ReadingsViewController& r) { r.deleteReading(reading); });
}
void ReadingsModel::editReading(int reading) {
    readingsAct([&](ReadingsViewController& r) { r.editReading(reading); });
}

}  // namespace numbrel::app
