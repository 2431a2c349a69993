// The one navigation state of the app: the core's screen stack, with a model for QML beside every
// screen. QML's StackView follows it (screenPushed, screensPopped); alerts, file choices and jobs go
// out from here and their answers come back to the screen that asked, or nowhere when it is gone.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QTemporaryDir>
#include <QUrl>
#include <QVariantMap>
#include <functional>
#include <map>
#include <memory>

#include "network_reachability.h"
#include "singleton.h"
#include "ui/screen_stack.h"

namespace numbrel {
class NumbrelAppDelegate;
}

namespace numbrel::app {

class JobRunner;
class ValueEditor;
class MainModel;

class NavigationStack : public QObject, public ScreenStack, public Singleton<NavigationStack> {
    Q_OBJECT
    QML_NAMED_ELEMENT(Navigation)
    QML_SINGLETON
    Q_PROPERTY(int depth READ screenCount NOTIFY screensChanged)
    Q_PROPERTY(QObject* main READ mainModel CONSTANT)
    Q_PROPERTY(QObject* top READ topModel NOTIFY screensChanged)

public:
    NavigationStack(NumbrelAppDelegate& app, JobRunner& jobs, ValueEditor& editor, std::string documentsDir,
                    QObject* parent = nullptr);
    ~NavigationStack() override;

    NumbrelAppDelegate& app() { return app_; }
    ValueEditor& editor() { return editor_; }
    const std::string& documentsDir() const { return documentsDir_; }
    int screenCount() const { return static_cast<int>(depth()); }
    MainModel* main() const { return main_; }
    QObject* mainModel() const;
    QObject* topModel() const;
    // The model QML shows for a screen (null when it is gone).
    QObject* modelOf(Id id) const;

    // The back button and Escape: the screen on top is left.
    Q_INVOKABLE void back() {
        if (depth() > 1) closeTop();
    }
    Q_INVOKABLE void answer(qulonglong ticket, int button) { ScreenStack::answer(ticket, button); }
    // The answer of a file dialog that filesRequested opened; cancelled: no paths.
    Q_INVOKABLE void filesChosen(int request, const QList<QUrl>& urls);
    // A page is going: the model of its screen, when that screen has closed, goes after it.
    Q_INVOKABLE void release(QObject* model);

    // Navigator
    void openUrl(const std::string& url) override;
    const Reachability& reachability() const override { return *reachability_; }
    // Another answer to what can be reached (tests); the network's own by default.
    void setReachability(const Reachability& reachability) { reachability_ = &reachability; }
    std::unique_ptr<TransferServer> makeTransferServer() override;
    bool canSendMail() const override;
    void composeMail(const Mail& mail) override;
    void editValue(ValueEdit edit) override;
    void run(Job job) override;
    void runForApp(Job job) override;
    bool canChooseFiles() const override { return true; }
    void chooseFiles(const FileChoice& choice,
                     std::function<void(const std::vector<std::string>&)> chosen) override;
    std::string temporaryFolder() const override;

signals:
    void screenPushed(QObject* model);
    void screensPopped(int depth);
    void screensChanged();
    // An alert or action sheet to show; answered with answer(alert.ticket, button).
    void alertRequested(QVariantMap alert);
    // A file dialog to open.
    // mode: 0 files to open, 1 a file to save (name suggested), 2 a folder.
    void filesRequested(int request, int mode, QString name, QUrl folder);
    // Something the user did has returned: the screens read the document again, and it is saved.
    void changed();

protected:
    void pushed(Id id, Screen& screen) override;
    void popped(std::size_t depth) override;
    void alert(std::uint64_t ticket, const Alert& alert) override;
    void acted() override { emit changed(); }

private:
    NumbrelAppDelegate& app_;
    JobRunner& jobs_;
    ValueEditor& editor_;
    std::string documentsDir_;
    MainModel* main_ = nullptr;
    std::map<Id, QPointer<QObject>> models_;
    std::vector<QPointer<QObject>> retired_;  // closed screens' models, kept for their pages' way out
    std::map<int, std::function<void(const std::vector<std::string>&)>> choices_;
    int nextChoice_ = 1;
    mutable std::unique_ptr<QTemporaryDir> temporary_;  // mail attachments, removed when the app ends
    NetworkReachability network_;
    const Reachability* reachability_ = &network_;
};

QVariantMap toVariant(const Alert& alert);

}  // namespace numbrel::app
