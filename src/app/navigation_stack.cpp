#include "navigation_stack.h"

#include <QDir>

#include "desktop.h"
#include "entry_model.h"
#include "help_model.h"
#include "job_runner.h"
#include "main/root_view_controller.h"
#include "main_model.h"
#include "pages_server.h"
#include "reachability.h"
#include "readings/add_view_controller.h"
#include "readings/readings_view_controller.h"
#include "readings_model.h"
#include "settings/help_browser.h"
#include "store/app_delegate.h"
#include "table_model.h"
#include "ui/localize.h"
#include "value_editor.h"

namespace numbrel::app {

QVariantMap toVariant(const Alert& a) {
    QStringList buttons;
    for (const auto& b : a.buttons)
        buttons << QString::fromStdString(b);
    return {{"title", QString::fromStdString(a.title)},
            {"message", QString::fromStdString(a.message)},
            {"buttons", buttons},
            {"actionSheet", a.actionSheet},
            {"dismissAfter", a.dismissAfterSeconds},
            {"cancelButton", cancelButton(a)},
            {"defaultButton", defaultButton(a)}};
}

NavigationStack::NavigationStack(NumbrelAppDelegate& app, JobRunner& jobs, ValueEditor& editor,
                                 std::string documentsDir, QObject* parent)
    : QObject(parent),
      Singleton(this),
      app_(app),
      jobs_(jobs),
      editor_(editor),
      documentsDir_(std::move(documentsDir)) {
    open(std::make_unique<RootViewController>(app_, *this, documentsDir_));
}

NavigationStack::~NavigationStack() {
    // No job result comes back to screens that are going.
    jobs_.stop();
}

QObject* NavigationStack::mainModel() const {
    return main_;
}

QObject* NavigationStack::modelOf(Id id) const {
    auto it = models_.find(id);
    return it == models_.end() ? nullptr : it->second.data();
}

QObject* NavigationStack::topModel() const {
    std::vector<Id> all = ids();
    return all.empty() ? nullptr : modelOf(all.back());
}

void NavigationStack::pushed(Id id, Screen& screen) {
    QObject* model = nullptr;
    if (auto* root = dynamic_cast<RootViewController*>(&screen)) {
        main_ = new MainModel(*this, id, *root, this);
        model = main_;
    } else if (auto* entry = dynamic_cast<AddViewController*>(&screen)) {
        model = new EntryModel(*this, id, *entry, this);
    } else if (auto* readings = dynamic_cast<ReadingsViewController*>(&screen)) {
        model = new ReadingsModel(*this, id, *readings, this);
    } else if (auto* help = dynamic_cast<HelpBrowser*>(&screen)) {
        model = new HelpModel(*this, id, *help, this);
    } else {
        model = new TableModel(*this, id, this);
    }
    models_[id] = model;
    if (model != main_) emit screenPushed(model);
    emit screensChanged();
}

void NavigationStack::popped(std::size_t depth) {
    // The screens are going: their models keep what they showed last, for the page on its way out,
    // and go once that page has (release).
    std::vector<Id> left = ids();
    for (auto it = models_.begin(); it != models_.end();) {
        if (std::find(left.begin(), left.end(), it->first) != left.end()) {
            ++it;
            continue;
        }
        if (QObject* model = it->second.data()) {
            if (auto* screenModel = dynamic_cast<ScreenModel*>(model)) screenModel->screenGone();
            retired_.push_back(model);
        }
        it = models_.erase(it);
    }
    emit screensPopped(static_cast<int>(depth));
    emit screensChanged();
}

void NavigationStack::alert(std::uint64_t ticket, const Alert& a) {
    QVariantMap shown = toVariant(a);
    shown["ticket"] = QVariant::fromValue<qulonglong>(ticket);
    emit alertRequested(shown);
}

void NavigationStack::openUrl(const std::string& url) {
    desktopOpenUrl(url);
}

std::unique_ptr<TransferServer> NavigationStack::makeTransferServer() {
    // A file's arrival reaches the screen that started the server on the GUI thread, if it still exists.
    const Id owner = acting();
    auto post = [this, owner](std::function<void()> uploaded) {
        QMetaObject::invokeMethod(
            this, [this, owner, uploaded] { guarded(owner, uploaded)(); }, Qt::QueuedConnection);
    };
    return std::make_unique<net::PagesServer>(net::transferOptions(app_.configuration()), post);
}

bool NavigationStack::canSendMail() const {
    return desktopCanSendMail();
}

void NavigationStack::composeMail(const Mail& mail) {
    if (!desktopComposeMail(mail))
        present(Alert{0,
                      numbrel::tr("Warning!"),
                      numbrel::tr("The mail client could not be started"),
                      {numbrel::tr("OK")}});
}

void NavigationStack::editValue(ValueEdit edit) {
    editor_.open(acting(), std::move(edit));
}

void NavigationStack::run(Job job) {
    // The result is for the screen that asked, and only while it exists.
    const Id owner = acting();
    jobs_.start(std::move(job), [this, owner](std::function<void()> apply) {
        if (apply) guarded(owner, std::move(apply))();
    });
}

void NavigationStack::runForApp(Job job) {
    jobs_.start(std::move(job), [](std::function<void()> apply) {
        if (apply) apply();
    });
}

void NavigationStack::chooseFiles(const FileChoice& choice,
                                  std::function<void(const std::vector<std::string>&)> chosen) {
    const int request = nextChoice_++;
    const Id owner = acting();
    choices_[request] = [this, owner, tellCancel = choice.tellCancel,
                         chosen = std::move(chosen)](const std::vector<std::string>& paths) {
        if (!paths.empty() || tellCancel) guarded(owner, [&] { chosen(paths); })();
    };
    const int mode = choice.folder ? 2 : choice.save ? 1 : 0;
    // A folder is looked for from the home folder, where sync clients keep theirs.
    emit filesRequested(request, mode, QString::fromStdString(choice.name),
                        choice.folder ? QUrl::fromLocalFile(QDir::homePath()) : userDocuments());
}

void NavigationStack::filesChosen(int request, const QList<QUrl>& urls) {
    auto it = choices_.find(request);
    if (it == choices_.end()) return;
    auto chosen = std::move(it->second);
    choices_.erase(it);
    std::vector<std::string> paths;
    for (const QUrl& url : urls)
        paths.push_back((url.isLocalFile() ? url.toLocalFile() : url.toString()).toStdString());
    chosen(paths);
}

void NavigationStack::release(QObject* model) {
    auto it = std::find(retired_.begin(), retired_.end(), model);
    if (it == retired_.end()) return;
    retired_.erase(it);
    if (model) model->deleteLater();
}

std::string NavigationStack::temporaryFolder() const {
    if (!temporary_) temporary_ = std::make_unique<QTemporaryDir>();
    return temporary_->isValid() ? temporary_->path().toStdString() : Navigator::temporaryFolder();
}

}  // namespace numbrel::app
