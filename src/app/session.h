// The app's life on the desktop: the document saved within a second of any change (debounced, through
// the store's atomic save), the save sequence when the window goes away or the app is told to quit,
// the foreground step when it comes back, and a failed save said to the user.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QTimer>

#include "singleton.h"

namespace numbrel {
class NumbrelAppDelegate;
}

namespace numbrel::app {

class NavigationStack;

class Session : public QObject, public Singleton<Session> {
    Q_OBJECT
    QML_NAMED_ELEMENT(Session)
    QML_SINGLETON

public:
    Session(NumbrelAppDelegate& app, NavigationStack& stack, QObject* parent = nullptr);

    Q_INVOKABLE void enterBackground();
    Q_INVOKABLE void enterForeground();
    // The alerts the store left at start (a store that could not be read, a newer version).
    Q_INVOKABLE void showStartupAlerts();

signals:
    void saveFailed(QString message);

private:
    NumbrelAppDelegate& app_;
    NavigationStack& stack_;
    QTimer saveTimer_;
};

}  // namespace numbrel::app
