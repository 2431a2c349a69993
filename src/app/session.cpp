#include "session.h"

#include "navigation_stack.h"
#include "store/app_delegate.h"

namespace numbrel::app {

Session::Session(NumbrelAppDelegate& app, NavigationStack& stack, QObject* parent)
    : QObject(parent), Singleton(this), app_(app), stack_(stack) {
    saveTimer_.setSingleShot(true);
    saveTimer_.setInterval(500);
    connect(&saveTimer_, &QTimer::timeout, this, [this] {
        if (auto error = app_.saveSettings()) emit saveFailed(QString::fromStdString(*error));
    });
    // Whatever the user did may have changed the document; an unchanged one is not written again.
    connect(&stack_, &NavigationStack::changed, &saveTimer_, qOverload<>(&QTimer::start));
}

void Session::enterBackground() {
    saveTimer_.stop();
    if (auto error = app_.applicationDidEnterBackground()) emit saveFailed(QString::fromStdString(*error));
}

void Session::enterForeground() {
    app_.applicationWillEnterForeground();
    emit stack_.changed();
}

void Session::showStartupAlerts() {
    for (const Alert& a : app_.takeAlerts())
        stack_.present(a);
}

}  // namespace numbrel::app
