// A meter's readings list as QML draws it: one row per reading, newest first, with the month it falls
// in for section headers; the period control, bills mode, the usage sheet, the export and deleting.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QStringList>

#include "navigation_stack.h"
#include "readings/readings_view_controller.h"
#include "screen_model.h"

namespace numbrel::app {

class ReadingsModel : public QAbstractListModel, public ScreenModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation stack")
    Q_PROPERTY(QString kind READ kind CONSTANT)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QStringList periods READ periods NOTIFY changed)
    Q_PROPERTY(int period READ period NOTIFY changed)
    Q_PROPERTY(bool bills READ bills NOTIFY changed)
    Q_PROPERTY(int count READ count NOTIFY changed)

public:
    enum Role {
        IndexRole = Qt::UserRole + 1,
        MonthRole,
        DateRole,
        RegistersRole,
        UsageRole,
        CostRole,
        BillRole,
        SeveralRole,  // the meter has several registers: the usage is their total
    };

    ReadingsModel(NavigationStack& stack, ScreenStack::Id id, ReadingsViewController& readings,
                  QObject* parent = nullptr);

    QString kind() const { return "readings"; }
    QString title() const { return title_; }
    QStringList periods() const { return periods_; }
    int period() const { return period_; }
    bool bills() const { return bills_; }
    int count() const { return static_cast<int>(rows_.size()); }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    Q_INVOKABLE void periodAction(int index);
    Q_INVOKABLE void usageAction();
    Q_INVOKABLE void doneAction();
    Q_INVOKABLE void exportAction();
    // By the reading's index in the meter's readings (the "index" role).
    Q_INVOKABLE void deleteReading(int reading);
    Q_INVOKABLE void editReading(int reading);

    void refresh();
    void screenGone() override { gone_ = true; }

signals:
    void changed();

private:
    struct Item {
        QString month;
        ReadingsViewController::ReadingRow row;
    };
    void readingsAct(const std::function<void(ReadingsViewController&)>& action);

    NavigationStack& stack_;
    const ScreenStack::Id id_;
    ReadingsViewController& readings_;  // valid while gone_ is false
    bool gone_ = false;
    std::vector<Item> rows_;
    QString title_;
    QStringList periods_;
    int period_ = 0;
    bool bills_ = false;
};

}  // namespace numbrel::app
