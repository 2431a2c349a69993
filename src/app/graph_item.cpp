#include "graph_item.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include "font_measurer.h"
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
    connect(this, &QQuickItem::widthChanged, this, [this] { update(); });
    connect(this, &QQuickItem::heightChanged, this, [this] { update(); });
}

void GraphItem::setServices(Services* s) {
    if (services_ == s) return;
    if (services_) disconnect(services_, nullptr, this, nullptr);
    services_ = s;
    if (services_) connect(services_, &Services::changed, this, &GraphItem::refresh);
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
    update();
}

void GraphItem::refresh() {
    graphs_ = services_ && page_ >= 0 ? services_->pageGraphs(page_) : nullptr;
    emit inputsChanged();
    update();
}

GraphLayout GraphItem::layout() const {
    if (!services_ || !graphs_ || graph_ < 0 || graph_ >= static_cast<int>(graphs_->graphs.size())) return {};
    const NumbrelAppDelegate& app = services_->delegate();
    const Array* meters = metersOf(app.settings());
    if (!meters || page_ >= static_cast<int>(meters->size())) return {};
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
    return layoutGraph(g.series, (*meters)[static_cast<std::size_t>(page_)], request, app.formatter(),
                       app.environment(), measurer);
}

QString GraphItem::title() const {
    return QString::fromStdString(layout().title);
}

void GraphItem::paint(QPainter* painter) {
    if (width() < 50 || height() < 50) return;
    paintDisplayList(*painter, layout().list);
}

}  // namespace numbrel::app
