// The signals a desktop session ends a program with (SIGTERM at logout, SIGINT from a terminal,
// SIGHUP when the terminal goes) quit the app through its own event loop, so that the save sequence
// runs before it ends.
#pragma once

#include <QObject>

class QSocketNotifier;

namespace numbrel::app {

class QuitOnSignals : public QObject {
    Q_OBJECT
public:
    explicit QuitOnSignals(QObject* parent = nullptr);
    ~QuitOnSignals() override;

signals:
    // A signal arrived: the app is about to quit.
    void received(int signal);

private:
    QSocketNotifier* notifier_ = nullptr;
};

}  // namespace numbrel::app
