// A meter's graph on the main screen: the core's series and layout, painted with QPainter. A double
// tap flips usage and cost; a press held for half a second shows the values under the finger.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QQuickPaintedItem>
#include <optional>

#include "app_services.h"
#include "main/graph_layout.h"

namespace numbrel::app {

class GraphItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(numbrel::app::Services* services READ services WRITE setServices NOTIFY inputsChanged)
    Q_PROPERTY(int page READ page WRITE setPage NOTIFY inputsChanged)
    Q_PROPERTY(int graph READ graph WRITE setGraph NOTIFY inputsChanged)   // which graph of the page
    Q_PROPERTY(double holdX READ holdX WRITE setHoldX NOTIFY holdChanged)  // < 0: not holding

public:
    explicit GraphItem(QQuickItem* parent = nullptr);

    Services* services() const { return services_; }
    void setServices(Services* s);
    int page() const { return page_; }
    void setPage(int p);
    int graph() const { return graph_; }
    void setGraph(int g);
    double holdX() const { return holdX_; }
    void setHoldX(double x);

    void paint(QPainter* painter) override;

signals:
    void inputsChanged();
    void holdChanged();

private:
    void invalidate();
    Services* services_ = nullptr;
    int page_ = 0;
    int graph_ = 0;
    double holdX_ = -1;
    // The series is kept between paints and rebuilt when the document or the inputs change.
    std::optional<GraphSeries> series_;
    RootViewController::GraphSpec spec_;
    int builtRevision_ = -1;
};

// Paints a display list with QPainter.
void paintDisplayList(QPainter& painter, const DisplayList& list);

}  // namespace numbrel::app
