// Reading entry as QML draws it: its rows (date, reading, switches) as a table, the reading as wheels
// (a small model of one row per wheel) or a keypad, and the date picker.
#pragma once

#include <QAbstractListModel>
#include <QDateTime>

#include "readings/add_view_controller.h"
#include "table_model.h"

namespace numbrel::app {

// The reading's wheels: one row per digit wheel or separator. A change of value updates the rows in
// place, so a wheel being turned is never made again under the pointer.
class WheelModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by reading entry")
public:
    enum Role { SeparatorRole = Qt::UserRole + 1, RowsRole, SelectedRole, DecimalRole, CursorRole };
    explicit WheelModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}
    void set(std::vector<AddViewController::Component> components);
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<AddViewController::Component> components_;
};

class EntryModel : public TableModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation stack")
    Q_PROPERTY(QObject* wheels READ wheels CONSTANT)
    Q_PROPERTY(bool keyboard READ keyboard NOTIFY changed)
    Q_PROPERTY(int dateMode READ dateMode NOTIFY changed)
    Q_PROPERTY(QDateTime date READ date NOTIFY changed)
    Q_PROPERTY(QString decimalSeparator READ decimalSeparator NOTIFY changed)
    Q_PROPERTY(QString reading READ reading NOTIFY changed)

public:
    EntryModel(NavigationStack& stack, ScreenStack::Id id, AddViewController& entry,
               QObject* parent = nullptr);
    QString kind() const override { return "entry"; }

    QObject* wheels() { return &wheels_; }
    bool keyboard() const { return keyboard_; }
    int dateMode() const { return dateMode_; }
    QDateTime date() const { return date_; }
    QString decimalSeparator() const { return separator_; }
    QString reading() const;  // the Reading row's text

    Q_INVOKABLE void wheelChanged(int component, int row);
    Q_INVOKABLE void typeDigit(int digit);  // the keypad
    Q_INVOKABLE void deleteDigit();
    Q_INVOKABLE void typeKey(int digit);  // the keyboard
    Q_INVOKABLE void backspaceKey();
    Q_INVOKABLE void selectWheel(int component);
    Q_INVOKABLE void setDate(const QDateTime& date);
    Q_INVOKABLE void save();

    void refresh() override;

private:
    void entryAct(const std::function<void(AddViewController&)>& action);
    AddViewController& entry_;  // valid while the screen is (gone_ says when it is not)
    WheelModel wheels_;
    bool keyboard_ = false;
    int dateMode_ = 0;
    QDateTime date_;
    QString separator_ = ".";
};

}  // namespace numbrel::app
