#include "table_model.h"

#include "exchange/backup_view_controller.h"
#include "value_editor.h"

namespace numbrel::app {

namespace {

QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

}  // namespace

TableModel::TableModel(NavigationStack& stack, ScreenStack::Id id, QObject* parent)
    : TableModel(stack, id, nullptr, nullptr, parent) {}

TableModel::TableModel(NavigationStack& stack, ScreenStack::Id id, Source source, Select select,
                       QObject* parent)
    : QAbstractListModel(parent),
      stack_(stack),
      id_(id),
      source_(std::move(source)),
      select_(std::move(select)) {
    // A screen's rows follow the document; rows from elsewhere are refreshed by their owner.
    if (!source_) connect(&stack_, &NavigationStack::changed, this, &TableModel::refresh);
    refresh();
}

bool TableModel::takesFiles() const {
    return dynamic_cast<BackupViewController*>(stack_.screen(id_)) != nullptr;
}

std::vector<TableModel::Item> TableModel::build(const std::vector<Section>& sections) const {
    std::vector<Item> out;
    for (std::size_t s = 0; s < sections.size(); ++s) {
        const Section& section = sections[s];
        const int n = static_cast<int>(section.rows.size());
        if (n == 0) {
            if (section.header.empty() && section.footer.empty()) continue;
            out.push_back(
                {static_cast<int>(s), -1, Row{}, qs(section.header), qs(section.footer), true, true, 0});
            continue;
        }
        for (int r = 0; r < n; ++r)
            out.push_back({static_cast<int>(s), r, section.rows[static_cast<std::size_t>(r)],
                           r == 0 ? qs(section.header) : QString(),
                           r == n - 1 ? qs(section.footer) : QString(), r == 0, r == n - 1, n});
    }
    return out;
}

void TableModel::refresh() {
    if (gone_) return;
    Screen* screen = stack_.screen(id_);
    if (!screen && !source_) return;
    std::vector<Item> items = build(source_ ? source_() : screen->sections());
    if (screen) {
        title_ = qs(screen->title());
        titleSegments_.clear();
        for (const std::string& segment : screen->titleSegments())
            titleSegments_.append(qs(segment));
        titleSegment_ = screen->titleSegment();
        canDelete_ = screen->canDelete();
        canEdit_ = screen->canEdit();
        editing_ = screen->isEditing();
        backLabel_ = qs(screen->backLabel());
        hasDone_ = screen->hasDone();
    }
    bool sameShape = items.size() == items_.size();
    for (std::size_t i = 0; sameShape && i < items.size(); ++i)
        sameShape = items[i].section == items_[i].section && items[i].row == items_[i].row;
    if (sameShape) {
        items_ = std::move(items);
        if (!items_.empty()) emit dataChanged(index(0), index(static_cast<int>(items_.size()) - 1));
    } else {
        beginResetModel();
        items_ = std::move(items);
        endResetModel();
    }
    emit changed();
}

void TableModel::screenGone() {
    gone_ = true;
}

int TableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items_.size());
}

const TableModel::Item* TableModel::itemAt(int item) const {
    return item >= 0 && item < static_cast<int>(items_.size()) ? &items_[static_cast<std::size_t>(item)]
                                                               : nullptr;
}

QVariant TableModel::data(const QModelIndex& index, int role) const {
    const Item* item = index.isValid() ? itemAt(index.row()) : nullptr;
    if (!item) return {};
    const Row& r = item->content;
    switch (role) {
        case RowRole: {
            TableRow row{qs(r.label),
                         qs(r.detail),
                         accessoryName(r.accessory),
                         r.tag,
                         r.on,
                         r.enabled,
                         r.color ? QColor::fromRgbF(r.color->r, r.color->g, r.color->b) : QColor(),
                         r.deletable};
            return QVariant::fromValue(row);
        }
        case Qt::DisplayRole:
        case LabelRole:
            return qs(r.label);
        case DetailRole:
            return qs(r.detail);
        case AccessoryRole:
            return accessoryName(r.accessory);
        case TagRole:
            return r.tag;
        case OnRole:
            return r.on;
        case SegmentsRole: {
            QStringList segments;
            for (const auto& s : r.segments)
                segments << qs(s);
            return segments;
        }
        case SelectedSegmentRole:
            return r.selectedSegment;
        case EnabledRole:
            return r.enabled;
        case SelectableRole:
            return item->row >= 0 && r.selectable && r.enabled;
        case ColourRole:
            return r.color ? QColor::fromRgbF(r.color->r, r.color->g, r.color->b) : QColor();
        case DeletableRole:
            return r.deletable;
        case SwipeDeletesRole:
            return r.swipeDeletes;
        case MovableRole:
            return r.movable;
        case CheckedRole:
            return r.checked || r.accessory == Accessory::Check;
        case SectionRole:
            return item->section;
        case HeaderRole:
            return item->header;
        case FooterRole:
            return item->footer;
        case FirstRole:
            return item->first;
        case LastRole:
            return item->last;
        case PlaceholderRole:
            return item->row < 0;
        case CanMoveUpRole:
            return r.movable && item->row > 0;
        case AddsRole:
            return r.adds;
        case CanMoveDownRole: {
            // Not below the last movable row of the section (an add row stays last).
            const Item* below = itemAt(index.row() + 1);
            return r.movable && below && below->section == item->section && below->content.movable;
        }
        default:
            return {};
    }
}

QHash<int, QByteArray> TableModel::roleNames() const {
    return {{RowRole, "row"},
            {LabelRole, "label"},
            {DetailRole, "detail"},
            {AccessoryRole, "accessory"},
            {TagRole, "tag"},
            {OnRole, "on"},
            {SegmentsRole, "segments"},
            {SelectedSegmentRole, "selectedSegment"},
            {EnabledRole, "rowEnabled"},
            {SelectableRole, "selectable"},
            {ColourRole, "colour"},
            {DeletableRole, "deletable"},
            {SwipeDeletesRole, "swipeDeletes"},
            {MovableRole, "movable"},
            {CheckedRole, "checked"},
            {SectionRole, "section"},
            {HeaderRole, "header"},
            {FooterRole, "footer"},
            {FirstRole, "first"},
            {LastRole, "last"},
            {PlaceholderRole, "placeholder"},
            {CanMoveUpRole, "canMoveUp"},
            {CanMoveDownRole, "canMoveDown"},
            {AddsRole, "adds"}};
}

void TableModel::act(const std::function<void(Screen&)>& action) {
    if (!gone_) stack_.act(id_, action);
}

void TableModel::select(int item) {
    const Item* it = itemAt(item);
    if (!it || it->row < 0) return;
    const int section = it->section, row = it->row;
    if (select_) {
        select_(section, row);
        return;
    }
    // A row that edits a value opens the editor; the others act at once.
    act([&](Screen& s) {
        if (std::optional<ValueEdit> edit = s.editFor(section, row))
            stack_.editor().open(id_, std::move(*edit));
        else
            s.selectRow(section, row);
    });
}

void TableModel::remove(int item) {
    if (const Item* it = itemAt(item); it && it->row >= 0)
        act([s = it->section, r = it->row](Screen& screen) { screen.commitDelete(s, r); });
}

void TableModel::info(int item) {
    if (const Item* it = itemAt(item); it && it->row >= 0)
        act([s = it->section, r = it->row](Screen& screen) { screen.showInfo(s, r); });
}

void TableModel::move(int item, int by) {
    if (const Item* it = itemAt(item); it && it->row >= 0)
        act([s = it->section, r = it->row, by](Screen& screen) { screen.moveRow(s, r, r + by); });
}

void TableModel::flip(int tag, bool on) {
    act([&](Screen& s) { s.flipSwitch(tag, on); });
}

void TableModel::chooseSegment(int tag, int index) {
    act([&](Screen& s) { s.chooseSegment(tag, index); });
}

void TableModel::deleteAction() {
    act([](Screen& s) { s.deleteAction(); });
}

void TableModel::setEditing(bool on) {
    act([on](Screen& s) { s.setEditing(on); });
}

void TableModel::addFiles(const QList<QUrl>& urls) {
    act([&](Screen& s) {
        auto* backups = dynamic_cast<BackupViewController*>(&s);
        if (!backups) return;
        for (const QUrl& url : urls)
            backups->addFile((url.isLocalFile() ? url.toLocalFile() : url.toString()).toStdString());
    });
}

int TableModel::find(const QString& label) const {
    for (std::size_t i = 0; i < items_.size(); ++i)
        if (items_[i].row >= 0 && qs(items_[i].content.label) == label) return static_cast<int>(i);
    return -1;
}

int TableModel::firstOf(int section) const {
    for (std::size_t i = 0; i < items_.size(); ++i)
        if (items_[i].section == section && items_[i].row >= 0) return static_cast<int>(i);
    return -1;
}

}  // namespace numbrel::app
