// A meter's graph on the main screen: the page's series laid out by the core when something changes
// (the graphs, the size, the held point) and painted with QPainter; painting only draws the finished
// list.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QQuickPaintedItem>
#include <optional>

#include "main/graph_layout.h"
#include "main_model.h"

namespace numbrel::app {

class GraphItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(numbrel::app::MainModel* model READ model WRITE setModel NOTIFY inputsChanged)
    Q_PROPERTY(int page READ page WRITE setPage NOTIFY inputsChanged)
    Q_PROPERTY(int graph READ graph WRITE setGraph NOTIFY inputsChanged)   // which graph of the page
    Q_PROPERTY(double holdX READ holdX WRITE setHoldX NOTIFY holdChanged)  // < 0: not holding
    // Where the plot starts, right of the value-axis labels.
    Q_PROPERTY(double plotLeft READ plotLeft NOTIFY inputsChanged)

public:
    explicit GraphItem(QQuickItem* parent = nullptr);

    MainModel* model() const { return model_; }
    void setModel(MainModel* m);
    int page() const { return page_; }
    void setPage(int p);
    int graph() const { return graph_; }
    void setGraph(int g);
    double holdX() const { return holdX_; }
    double plotLeft() const { return graphs_ ? graphs_->plotLeft : 0; }
    void setHoldX(double x);

    void paint(QPainter* painter) override;

    // The title shown above the plot: the graph's, or the held point's values.
    Q_INVOKABLE QString title() const { return title_; }

signals:
    void inputsChanged();
    void holdChanged();

private:
    // Takes the page's graphs again (the document, the window or the inputs changed) and redraws.
    void refresh();
    // Lays the graph out again for the size and the held point.
    void relayout();
    MainModel* model_ = nullptr;
    int page_ = 0;
    int graph_ = 0;
    double holdX_ = -1;
    // The page's graphs as they were when something last changed; painting only draws them.
    std::shared_ptr<const PageGraphs> graphs_;
    DisplayList list_;
    QString title_;
};

// Paints a display list with QPainter.
void paintDisplayList(QPainter& painter, const DisplayList& list);

}  // namespace numbrel::app
