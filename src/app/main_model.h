// The main screen as QML draws it: one row per meter page (its short table, how many graphs it shows),
// the bar and toolbar, and the graphs of the pages near the one shown, computed when their inputs
// change (the document, the period, the range, the window) and handed to the painter finished.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QVariantList>
#include <map>
#include <memory>

#include "main/root_view_controller.h"
#include "navigation_stack.h"

namespace numbrel::app {

class TableModel;

// The graphs of one page: each graph's series and average line, and the left edge of the plots,
// shared so that graphs above each other line up.
struct PageGraphs {
    struct Graph {
        RootViewController::GraphSpec shows;
        GraphSeries series;
        double average = 0;
    };
    std::vector<Graph> graphs;
    double plotLeft = 0;
};
// Room left of a graph's value-axis labels.
inline constexpr double kGraphMargin = 6;

class MainModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation stack")
    Q_PROPERTY(QString kind READ kind CONSTANT)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(int pageCount READ pageCount NOTIFY changed)
    Q_PROPERTY(int meterIndex READ meterIndex NOTIFY changed)
    Q_PROPERTY(QVariantList toolbar READ toolbar NOTIFY changed)
    Q_PROPERTY(bool showPageControl READ showPageControl NOTIFY changed)
    Q_PROPERTY(bool black READ black NOTIFY changed)

public:
    enum Role { PageRole = Qt::UserRole + 1, TableRole, GraphCountRole };

    MainModel(NavigationStack& stack, ScreenStack::Id id, RootViewController& root,
              QObject* parent = nullptr);
    ~MainModel() override;

    QString kind() const { return "main"; }
    QString title() const;
    int pageCount() const { return pages_; }
    int meterIndex() const { return root_.meterIndex(); }
    QVariantList toolbar() const;
    bool showPageControl() const { return root_.showPageControl(); }
    bool black() const;
    RootViewController& root() { return root_; }
    NumbrelAppDelegate& app() { return stack_.app(); }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // A page's table (the rows above its graphs); made when first asked for.
    Q_INVOKABLE QObject* table(int page) const;
    // A page's graphs as they were when something last changed (null: the page holds none).
    std::shared_ptr<const PageGraphs> graphs(int page) const;

    Q_INVOKABLE void setWindowSize(double width, double height);
    Q_INVOKABLE void pageAction(int page);
    Q_INVOKABLE void segmentAction(int tag, int index);
    Q_INVOKABLE void graphAction();
    Q_INVOKABLE void metersAction();
    Q_INVOKABLE void addAction();
    Q_INVOKABLE void settingsAction();
    Q_INVOKABLE void actionAction();  // the price comparison
    Q_INVOKABLE void appear();

    // Reads the document again (when the main screen is on top; otherwise once it is again).
    void refresh();

signals:
    void changed();
    void graphsChanged();

private:
    void act(const std::function<void()>& action);
    std::shared_ptr<const PageGraphs> build(int page) const;
    std::vector<Section> tableSections(int page) const;
    int graphCount(int page) const;

    NavigationStack& stack_;
    const ScreenStack::Id id_;
    RootViewController& root_;
    int pages_ = 0;
    bool stale_ = false;
    mutable std::map<int, TableModel*> tables_;
    mutable std::map<int, std::shared_ptr<const PageGraphs>> graphs_;  // this revision's, by page
};

}  // namespace numbrel::app
