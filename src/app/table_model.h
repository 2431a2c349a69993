// A table screen as QML draws it: one list of rows, each knowing its section's header and footer, and
// the user's actions on them handed to the screen through the navigation stack.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QColor>
#include <QStringList>
#include <QUrl>
#include <functional>

#include "navigation_stack.h"
#include "screen_model.h"
#include "ui/screen.h"

namespace numbrel::app {

// One row as QML sees it (the "row" role); its fields are also roles of their own.
struct TableRow {
    Q_GADGET
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(QString detail MEMBER detail)
    Q_PROPERTY(QString accessory MEMBER accessory)
    Q_PROPERTY(int tag MEMBER tag)
    Q_PROPERTY(bool on MEMBER on)
    Q_PROPERTY(bool enabled MEMBER enabled)
    Q_PROPERTY(QColor colour MEMBER colour)
    Q_PROPERTY(bool deletable MEMBER deletable)

public:
    QString label, detail;
    QString accessory;  // "", "disclosure", "check", "switch", "segments", "info"
    int tag = 0;
    bool on = false;
    bool enabled = true;
    QColor colour;  // invalid: the default
    bool deletable = false;
    friend bool operator==(const TableRow&, const TableRow&) = default;
};

class TableModel : public QAbstractListModel, public ScreenModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation stack")
    Q_PROPERTY(QString kind READ kind CONSTANT)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QStringList titleSegments READ titleSegments NOTIFY changed)
    Q_PROPERTY(int titleSegment READ titleSegment NOTIFY changed)
    Q_PROPERTY(bool canDelete READ canDelete NOTIFY changed)
    Q_PROPERTY(bool canEdit READ canEdit NOTIFY changed)
    Q_PROPERTY(bool editing READ editing NOTIFY changed)
    Q_PROPERTY(bool takesFiles READ takesFiles CONSTANT)
    Q_PROPERTY(QString backLabel READ backLabel NOTIFY changed)
    Q_PROPERTY(bool hasDone READ hasDone NOTIFY changed)
    Q_PROPERTY(int count READ count NOTIFY changed)

public:
    enum Role {
        RowRole = Qt::UserRole + 1,
        LabelRole,
        DetailRole,
        AccessoryRole,
        TagRole,
        OnRole,
        SegmentsRole,
        SelectedSegmentRole,
        EnabledRole,
        SelectableRole,
        ColourRole,
        DeletableRole,
        SwipeDeletesRole,
        MovableRole,
        CheckedRole,
        SectionRole,
        HeaderRole,  // on a section's first row
        FooterRole,  // on a section's last row
        FirstRole,
        LastRole,
        PlaceholderRole,  // a section without rows, for its header and footer
        CanMoveUpRole,
        CanMoveDownRole,
        AddsRole,
    };

    // The rows of a screen of the stack.
    TableModel(NavigationStack& stack, ScreenStack::Id id, QObject* parent = nullptr);
    // Rows from elsewhere (a page of the main screen), selected through select.
    using Source = std::function<std::vector<Section>()>;
    using Select = std::function<void(int section, int row)>;
    TableModel(NavigationStack& stack, ScreenStack::Id id, Source source, Select select,
               QObject* parent = nullptr);

    virtual QString kind() const { return "table"; }
    QString title() const { return title_; }
    QStringList titleSegments() const { return titleSegments_; }
    int titleSegment() const { return titleSegment_; }
    bool canDelete() const { return canDelete_; }
    bool canEdit() const { return canEdit_; }
    bool editing() const { return editing_; }
    bool takesFiles() const;
    QString backLabel() const { return backLabel_; }
    bool hasDone() const { return hasDone_; }
    int count() const { return static_cast<int>(items_.size()); }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The user's actions, by the position of a row in this list.
    Q_INVOKABLE void select(int item);
    Q_INVOKABLE void remove(int item);
    Q_INVOKABLE void info(int item);
    Q_INVOKABLE void move(int item, int by);
    Q_INVOKABLE void flip(int tag, bool on);
    Q_INVOKABLE void chooseSegment(int tag, int index);
    Q_INVOKABLE void deleteAction();
    Q_INVOKABLE void setEditing(bool on);
    Q_INVOKABLE void addFiles(const QList<QUrl>& urls);
    // The first row with a label (-1: none).
    Q_INVOKABLE int find(const QString& label) const;
    // The first row of a section (-1: none).
    Q_INVOKABLE int firstOf(int section) const;

    // Reads the screen again; rows that stay where they were are updated in place.
    virtual void refresh();
    // The screen was closed: the model keeps its rows for the page on its way out and acts no more.
    void screenGone() override;

signals:
    void changed();

protected:
    // Runs an action of the screen, if it is still there.
    void act(const std::function<void(Screen&)>& action);
    NavigationStack& stack_;
    const ScreenStack::Id id_;
    bool gone_ = false;

private:
    struct Item {
        int section = 0;
        int row = -1;  // -1: a placeholder for a section without rows
        Row content;
        QString header, footer;
        bool first = false, last = false;
        int rowsInSection = 0;
    };
    std::vector<Item> build(const std::vector<Section>& sections) const;
    const Item* itemAt(int item) const;

    Source source_;
    Select select_;
    std::vector<Item> items_;
    QString title_;
    QStringList titleSegments_;
    int titleSegment_ = -1;
    bool canDelete_ = false, canEdit_ = false, editing_ = false, hasDone_ = false;
    QString backLabel_;
};

}  // namespace numbrel::app
