#include "main_model.h"

#include "font_measurer.h"
#include "main/graph_layout.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "table_model.h"

namespace numbrel::app {

namespace {

bool isGraphSection(const Section& s) {
    return !s.rows.empty() && s.rows.front().action == RootViewController::kGraphRow;
}

}  // namespace

MainModel::MainModel(NavigationStack& stack, ScreenStack::Id id, RootViewController& root, QObject* parent)
    : QAbstractListModel(parent), stack_(stack), id_(id), root_(root) {
    pages_ = root_.numberOfPages();
    connect(&stack_, &NavigationStack::changed, this, &MainModel::refresh);
    // Back on top: what changed meanwhile is read now.
    connect(&stack_, &NavigationStack::screensChanged, this, [this] {
        if (stale_ && stack_.depth() == 1) refresh();
    });
}

MainModel::~MainModel() = default;

QString MainModel::title() const {
    return QString::fromStdString(root_.title());
}

bool MainModel::black() const {
    return boolOf(stack_.app().settings(), "black");
}

QVariantList MainModel::toolbar() const {
    QVariantList out;
    for (const auto& c : root_.toolbar()) {
        QStringList items;
        for (const auto& i : c.items)
            items << QString::fromStdString(i);
        out << QVariantMap{{"tag", c.tag}, {"items", items}, {"selected", c.selected}};
    }
    return out;
}

int MainModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : pages_;
}

QVariant MainModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= pages_) return {};
    switch (role) {
        case PageRole:
            return index.row();
        case TableRole:
            return QVariant::fromValue(table(index.row()));
        case GraphCountRole:
            return graphCount(index.row());
        default:
            return {};
    }
}

QHash<int, QByteArray> MainModel::roleNames() const {
    return {{PageRole, "page"}, {TableRole, "table"}, {GraphCountRole, "graphCount"}};
}

std::vector<Section> MainModel::tableSections(int page) const {
    // The Current row shows what the page's graphs found: they are built first.
    if (root_.holdsGraphs(page)) graphs(page);
    // The graph sections are drawn by the graphs: left empty, so that the other sections keep the
    // page's own numbering.
    std::vector<Section> all = root_.sections(page);
    for (Section& s : all)
        if (isGraphSection(s)) s = Section{};
    return all;
}

int MainModel::graphCount(int page) const {
    std::shared_ptr<const PageGraphs> built = graphs(page);
    return built ? static_cast<int>(built->graphs.size()) : 0;
}

QObject* MainModel::table(int page) const {
    if (page < 0 || page >= pages_) return nullptr;
    TableModel*& t = tables_[page];
    if (!t) {
        auto* self = const_cast<MainModel*>(this);
        t = new TableModel(
            stack_, id_, [self, page] { return self->tableSections(page); },
            [self, page](int section, int row) {
                self->act([&] { self->root_.selectPageRow(page, section, row); });
            },
            self);
    }
    return t;
}

std::shared_ptr<const PageGraphs> MainModel::graphs(int page) const {
    if (!root_.holdsGraphs(page)) return nullptr;
    auto& built = graphs_[page];
    if (!built) built = build(page);
    return built;
}

std::shared_ptr<const PageGraphs> MainModel::build(int page) const {
    NumbrelAppDelegate& app = stack_.app();
    auto out = std::make_shared<PageGraphs>();
    Engine engine = app.engine();
    const bool annual = boolOf(app.settings(), "average");
    const Array* meters = metersOf(app.settings());
    FontMeasurer measurer;
    // graphs() may pull the range back and store it: that happens here, when the inputs change.
    for (const RootViewController::GraphSpec& shows : root_.graphs(page)) {
        PageGraphs::Graph g{
            shows, buildSeries(app.settings(), engine, app.formatter(), app.calendar(), shows.request)};
        g.average = seriesAverage(g.series, engine, shows.request, annual);
        // The page's Current row shows what the graph that matches the main screen's kind shows.
        if (shows.cost == root_.graphShowsCost(page))
            root_.averageAction(page, g.series.current, g.average, shows.cost);
        LayoutRequest request;
        request.leftMargin = kGraphMargin;
        if (meters && page < static_cast<int>(meters->size()))
            out->plotLeft =
                std::max(out->plotLeft, plotLeft(g.series, (*meters)[static_cast<std::size_t>(page)], request,
                                                 app.formatter(), app.environment(), measurer));
        out->graphs.push_back(std::move(g));
    }
    return out;
}

void MainModel::refresh() {
    if (stack_.depth() > 1) {
        stale_ = true;
        return;
    }
    stale_ = false;
    graphs_.clear();
    const int pages = root_.numberOfPages();
    if (pages != pages_) {
        beginResetModel();
        pages_ = pages;
        endResetModel();
    } else if (pages_ > 0) {
        emit dataChanged(index(0), index(pages_ - 1), {GraphCountRole});
    }
    for (auto& [page, table] : tables_)
        if (page < pages_ && root_.holdsGraphs(page)) table->refresh();
    emit graphsChanged();
    emit changed();
}

void MainModel::act(const std::function<void()>& action) {
    stack_.act(id_, [&](Screen&) { action(); });
}

void MainModel::setWindowSize(double width, double height) {
    const bool landscape = root_.landscape(), tablet = root_.tablet();
    root_.setWindowSize(width, height);
    if (landscape != root_.landscape() || tablet != root_.tablet()) refresh();
}

void MainModel::pageAction(int page) {
    if (page != root_.meterIndex()) act([&] { root_.pageAction(page); });
}

void MainModel::segmentAction(int tag, int index) {
    act([&] { root_.segmentAction(tag, index); });
}

void MainModel::graphAction() {
    act([&] { root_.graphAction(); });
}

void MainModel::metersAction() {
    act([&] { root_.metersAction(); });
}

void MainModel::addAction() {
    act([&] { root_.addAction(); });
}

void MainModel::settingsAction() {
    act([&] { root_.settingsAction(); });
}

void MainModel::actionAction() {
    act([&] { root_.actionAction(); });
}

void MainModel::appear() {
    act([&] { root_.appearAction(); });
}

}  // namespace numbrel::app
