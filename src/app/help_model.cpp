#include "help_model.h"

#include <QFile>
#include <QQuickTextDocument>
#include <QTextBlock>
#include <QTextDocument>

#include "settings/help_browser.h"

namespace numbrel::app {

namespace {

constexpr qint64 kLargestPage = 4 << 20;

// A page address as a file QFile opens: a resource or a local file.
QString fileOf(const QUrl& url) {
    if (url.scheme() == "qrc") return ":" + url.path();
    return url.isLocalFile() ? url.toLocalFile() : QString();
}

}  // namespace

HelpModel::HelpModel(NavigationStack& stack, ScreenStack::Id id, HelpBrowser& help, QObject* parent)
    : QObject(parent),
      stack_(stack),
      id_(id),
      help_(help),
      title_(QString::fromStdString(help.title())),
      start_(QString::fromStdString(help.page())) {
    load(start_);
}

void HelpModel::load(const QUrl& url) {
    QFile file(fileOf(url));
    QString text;
    if (file.size() <= kLargestPage && file.open(QIODevice::ReadOnly))
        text = QString::fromUtf8(file.readAll());
    if (text.isEmpty())
        text = "<p>" + tr("The user guide could not be found at %1.").arg(url.toString().toHtmlEscaped()) +
               "</p>";
    shown_ = url;
    text_ = text;
    emit textChanged();
}

void HelpModel::top() {
    if (shown_ != start_.adjusted(QUrl::RemoveFragment)) load(start_);
}

bool HelpModel::followLink(const QString& link) {
    if (gone_ || !stack_.alive(id_)) return false;
    bool inside = false;
    stack_.act(id_, [&](Screen&) { inside = help_.linkAction(link.toStdString()); });
    if (!inside) return false;
    const QUrl target = shown_.resolved(QUrl(link));
    if (target.adjusted(QUrl::RemoveFragment) != shown_.adjusted(QUrl::RemoveFragment)) load(target);
    return true;
}

int HelpModel::anchorPosition(QQuickTextDocument* document, const QString& name) const {
    if (!document || name.isEmpty()) return -1;
    const QTextDocument* doc = document->textDocument();
    for (QTextBlock block = doc->begin(); block.isValid(); block = block.next())
        for (auto it = block.begin(); !it.atEnd(); ++it)
            if (it.fragment().charFormat().anchorNames().contains(name)) return it.fragment().position();
    return -1;
}

}  // namespace numbrel::app
