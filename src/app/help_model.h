// The user guide as QML shows it: the page's rich text, and what following a link does. Places in
// the guide ("#csv") are found in the shown document by their anchor names.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QUrl>

#include "navigation_stack.h"
#include "screen_model.h"

#include <QQuickTextDocument>

namespace numbrel {
class HelpBrowser;
}

namespace numbrel::app {

class HelpModel : public QObject, public ScreenModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation stack")
    Q_PROPERTY(QString kind READ kind CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString text READ text NOTIFY textChanged)

public:
    HelpModel(NavigationStack& stack, ScreenStack::Id id, HelpBrowser& help, QObject* parent = nullptr);

    QString kind() const { return "help"; }
    QString title() const { return title_; }
    QString text() const { return text_; }

    // "Top": the guide from its start.
    Q_INVOKABLE void top();
    // A link was followed: true when the page itself moves to a place in it (the page scrolls there).
    Q_INVOKABLE bool followLink(const QString& link);
    // Where an anchor ("csv") is in the shown document, or -1.
    Q_INVOKABLE int anchorPosition(QQuickTextDocument* document, const QString& name) const;

    void screenGone() override { gone_ = true; }

signals:
    void textChanged();

private:
    void load(const QUrl& url);

    NavigationStack& stack_;
    ScreenStack::Id id_;
    HelpBrowser& help_;
    QString title_, text_;
    QUrl start_, shown_;
    bool gone_ = false;
};

}  // namespace numbrel::app
