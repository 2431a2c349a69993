#include "graph_item.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include "font_measurer.h"
#include "store/app_delegate.h"
#include "store/document.h"

namespace numbrel::app {

namespace {

QColor qcolor(const Color& c) {
    return QColor::fromRgbF(c.r, c.g, c.b, c.a);
}

}  // namespace

void paintDisplayList(QPainter& p, const DisplayList& list) {
    for (const DisplayItem& item : list.items) {
        if (auto* f = std::get_if<FillRect>(&item)) {
            p.fillRect(QRectF(f->rect.x, f->rect.y, f->rect.width, f->rect.height), qcolor(f->color));
        } else if (auto* g = std::get_if<Gradient>(&item)) {
            QLinearGradient gradient(0, g->rect.y, 0, g->rect.y + g->rect.height);
            gradient.setColorAt(0, qcolor(g->top));
            gradient.setColorAt(1, qcolor(g->bottom));
            p.fillRect(QRectF(g->rect.x, g->rect.y, g->rect.width, g->rect.height), gradient);
        } else if (auto* l = std::get_if<Line>(&item)) {
            QPen pen(qcolor(l->color), l->width);
            if (!l->dash.empty()) {
                QVector<qreal> dashes;
                for (double d : l->dash)
                    dashes << d / l->width;
                pen.setDashPattern(dashes);
            }
            pen.setCapStyle(Qt::FlatCap);
            p.setRenderHint(QPainter::Antialiasing, l->antialias);
            p.setPen(pen);
            // Unsmoothed lines sit on pixel centres, as the platform draws them.
            double shift = l->antialias ? 0.0 : 0.5;
            p.drawLine(QPointF(l->from.x + shift, l->from.y + shift),
                       QPointF(l->to.x + shift, l->to.y + shift));
        } else if (auto* pl = std::get_if<Polyline>(&item)) {
            if (pl->points.empty()) continue;
            QPen pen(qcolor(pl->color), pl->width);
            pen.setJoinStyle(pl->roundJoins ? Qt::RoundJoin : Qt::MiterJoin);
            pen.setCapStyle(Qt::RoundCap);
            p.setRenderHint(QPainter::Antialiasing, true);
            p.setPen(pen);
            QPainterPath path(QPointF(pl->points[0].x, pl->points[0].y));
            for (std::size_t i = 1; i < pl->points.size(); ++i)
                path.lineTo(pl->points[i].x, pl->points[i].y);
            p.drawPath(path);
        } else if (auto* c = std::get_if<ClipBegin>(&item)) {
            p.save();
            p.setClipRect(QRectF(c->rect.x, c->rect.y, c->rect.width, c->rect.height));
        } else if (std::holds_alternative<ClipEnd>(item)) {
            p.restore();
        } else if (auto* t = std::get_if<Text>(&item)) {
            p.setFont(graphFont(t->fontSize));
            p.setPen(qcolor(t->color));
            int align = Qt::AlignVCenter | (t->align == Align::Left     ? Qt::AlignLeft
                                            : t->align == Align::Center ? Qt::AlignHCenter
                                                                        : Qt::AlignRight);
            p.drawText(QRectF(t->box.x, t->box.y, t->box.width, t->box.height), align,
                       QString::fromStdString(t->text));
        }
    }
}

GraphItem::GraphItem(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &QQuickItem::widthChanged, this, &GraphItem::relayout);
    connect(this, &QQuickItem::heightChanged, this, &GraphItem::relayout);
}

void GraphItem::setModel(MainModel* m) {
    if (model_ == m) return;
    if (model_) disconnect(model_, nullptr, this, nullptr);
    model_ = m;
    if (model_) connect(model_, &MainModel::graphsChanged, this, &GraphItem::refresh);
    refresh();
}

void GraphItem::setPage(int p) {
    if (page_ == p) return;
    page_ = p;
    refresh();
}

void GraphItem::setGraph(int g) {
    if (graph_ == g) return;
    graph_ = g;
    refresh();
}

void GraphItem::setHoldX(double x) {
    if (holdX_ == x) return;
    holdX_ = x;
    emit holdChanged();
    relayout();
}

void GraphItem::refresh() {
    graphs_ = model_ && page_ >= 0 ? model_->graphs(page_) : nullptr;
    emit inputsChanged();
    relayout();
}

void GraphItem::relayout() {
    GraphLayout layout;
    const Array* meters = model_ ? metersOf(model_->app().settings()) : nullptr;
    if (graphs_ && meters && graph_ >= 0 && graph_ < static_cast<int>(graphs_->graphs.size()) &&
        page_ < static_cast<int>(meters->size()) && width() >= 50 && height() >= 50) {
        const NumbrelAppDelegate& app = model_->app();
        const PageGraphs::Graph& g = graphs_->graphs[static_cast<std::size_t>(graph_)];
        LayoutRequest request;
        request.width = width();
        request.height = height();
        if (holdX_ >= 0) request.holdX = holdX_;
        request.period = g.shows.request.period;
        request.cost = g.shows.cost;
        request.theme = static_cast<int>(integerOf(app.settings(), "theme", 4));
        request.average = g.average;
        request.leftMargin = kGraphMargin;
        request.plotLeft = graphs_->plotLeft;
        FontMeasurer measurer;
        layout = layoutGraph(g.series, (*meters)[static_cast<std::size_t>(page_)], request, app.formatter(),
                             app.environment(), measurer);
    }
    list_ = std::move(layout.list);
    title_ = QString::fromStdString(layout.title);
    update();
}

void GraphItem::paint(QPainter* painter) {
    paintDisplayList(*painter, list_);
}

}  // namespace numbrel::app
