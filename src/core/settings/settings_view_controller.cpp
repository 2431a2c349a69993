#include "settings/settings_view_controller.h"

#include "exchange/dropbox.h"
#include "main/selection_view_controller.h"
#include "settings/help_browser.h"
#include "settings/reminders_view_controller.h"
#include "store/app_delegate.h"
#include "ui/localize.h"

#ifndef NUMBREL_VERSION
#define NUMBREL_VERSION "0"
#endif

namespace numbrel {

namespace {

struct Toggle {
    const char* label;
    const char* key;
};
// Section 1: tags 10 to 16 in this order.
const Toggle kToggles[] = {{N_("Annual average"), "average"},
                           {N_("Extrapolate"), "extrapolate"},
                           {N_("Keyboard entry"), "keyboard"},
                           {N_("Landscape"), "landscape"},
                           {N_("Minimum zero"), "zero"},
                           {N_("Next meter"), "next"},
                           {N_("Tips"), "tips"}};

constexpr RowColor kGrey{0.5, 0.5, 0.5};
constexpr RowColor kLightGrey{0.75, 0.75, 0.75};

Row toggle(std::string label, int tag, bool on, bool enabled = true) {
    Row row{std::move(label)};
    row.accessory = Accessory::Switch;
    row.tag = tag;
    row.on = on;
    row.enabled = enabled;
    row.selectable = false;
    return row;
}

Row link(std::string label, int action, int index = 0, std::string detail = {}) {
    Row row{std::move(label), std::move(detail)};
    row.accessory = Accessory::Disclosure;
    row.action = action;
    row.index = index;
    return row;
}

constexpr const char* kWifiPasswordKey = "wifi.password";
constexpr const char* kTokensKey = "dropbox.tokens";  // "file", or "no" once the user said no

const char* const kThemeNames[] = {N_("Black"), N_("Red"), N_("Green"), N_("Blue"),
                                   N_("Red, Green and Blue")};

}  // namespace

void openLink(Navigator& navigator, const std::string& url) {
    if (!navigator.reachability().internetReachable()) {
        navigator.present(noInternetAlert());
        return;
    }
    navigator.openUrl(url);
}

SettingsViewController::SettingsViewController(NumbrelAppDelegate& app, Navigator& navigator, bool tablet)
    : app_(app), navigator_(navigator), tablet_(tablet) {}

std::string SettingsViewController::title() const {
    return tr("Settings");
}

std::vector<Section> SettingsViewController::sections() const {
    const Value& s = app_.settings();
    const bool tips = boolOf(s, "tips", true);
    std::vector<Section> all(6);

    all[0].rows.push_back(link(tr("Email"), kEmail, 0, std::string(stringOf(s, "email"))));
    if (tips) all[0].footer = tr("For exporting backups and readings");

    for (int i = 0; i < 7; ++i) {
        const Toggle& t = kToggles[i];
        const bool landscape = i == 3;
        all[1].rows.push_back(
            toggle(tr(t.label), 10 + i, (landscape && tablet_) || boolOf(s, t.key), !(landscape && tablet_)));
    }
    if (tips)
        all[1].footer = tablet_ ? tr("Landscape mode is always supported on the iPad")
                                : tr("To switch between usage and costs, simply double tap on the graphs");

    const bool linked = dropboxLinked();
    std::string dropbox = !linked                  ? tr("Dropbox")
                          : app_.dropbox()->root() ? tr("Dropbox (Root)")
                                                   : tr("Dropbox (Apps)");
    all[2].rows.push_back(toggle(dropbox, kDropboxTag, linked));
    const bool cloud = app_.hasDocumentCloud();
    const bool icloud = boolOf(s, "icloud");
    Row cloudRow = toggle(tr("iCloud"), kCloudTag, cloud && icloud, cloud);
    if (!cloud) cloudRow.color = kGrey;
    all[2].rows.push_back(cloudRow);
    const bool autoEnabled = cloud && icloud;
    Row autoRow =
        toggle(tr("Auto backups"), kAutoBackupTag, autoEnabled && boolOf(s, "autobackup"), autoEnabled);
    if (!icloud) autoRow.color = kGrey;
    all[2].rows.push_back(autoRow);
    Row torch = toggle(tr("Torch"), kTorchTag, boolOf(s, "torch"));
    if (!app_.hasTorch()) torch.color = kLightGrey;
    all[2].rows.push_back(torch);
    all[2].rows.push_back(
        link(tr("Reminders"), kReminders, 0, tr(std::string(stringOf(s, "reminders", "Off")).c_str())));
    const std::int64_t theme = std::clamp<std::int64_t>(integerOf(s, "theme", 4), 0, 4);
    all[2].rows.push_back(link(tr("Themes"), kThemes, 0, tr(kThemeNames[theme])));
    all[2].rows.push_back(link(tr("WiFi password"), kWifiPassword, 0,
                               app_.configuration().value(kWifiPasswordKey).empty() ? tr("Off") : tr("On")));
    if (tips && !app_.hasTorch()) all[2].footer = tr("Torch not supported on this device");

    all[3].header = fill(tr("Help and Support (v%@)"), {NUMBREL_VERSION});
    all[3].rows.push_back(link(tr("User guide"), kGuide));
    all[3].rows.push_back(link(tr("Tour"), kTour));

    all[4].rows.push_back(link(tr("Web"), kLink, kWeb));
    all[4].rows.push_back(link(tr("Email"), kLink, kContact));
    all[4].rows.push_back(link(tr("Twitter"), kLink, kSocial));
    all[5].rows.push_back(link(tr("Review on iTunes"), kLink, kReview));
    return all;
}

void SettingsViewController::flipSwitch(int tag, bool on) {
    Value& s = app_.settings();
    if (tag >= 10 && tag <= 16) {
        if (tag == 13 && tablet_) return;  // always on on a tablet
        s.set(kToggles[tag - 10].key, on);
        return;
    }
    switch (tag) {
        case kDropboxTag:
            if (on && !dropboxLinked())
                navigator_.present(Alert{kDropboxTag,
                                         tr("Dropbox"),
                                         tr("Link to the root Dropbox folder, or restrict access to the Apps "
                                            "folder? Note that if you change, your files are NOT copied "
                                            "automatically!"),
                                         {tr("Cancel"), tr("~Dropbox/"), tr("~Dropbox/Apps/")}});
            else if (!on && dropboxLinked())
                navigator_.present(
                    Alert{kUnlinkTag, tr("Dropbox"), tr("Unlink account?"), {tr("Cancel"), tr("OK")}});
            break;
        case kCloudTag:
            if (app_.hasDocumentCloud()) {
                s.set("icloud", on);
                app_.cloudSwitched(on);
            }
            break;
        case kAutoBackupTag:
            if (!on) {
                s.set("autobackup", false);
            } else if (app_.hasDocumentCloud() && boolOf(s, "icloud")) {
                navigator_.present(
                    Alert{kAutoBackupTag,
                          tr("Auto Backups"),
                          fill(tr("Automatically backs up changes to iCloud on closing. Also "
                                  "periodically REMOVES ALL OLDER BACKUPS (keeping the %d most "
                                  "recent)"),
                               {std::to_string(kKeptBackups)}),
                          {tr("Cancel"), tr("OK")}});
            }
            break;
        case kTorchTag:
            s.set("torch", on);
            break;
        default:
            break;
    }
}

bool SettingsViewController::dropboxLinked() const {
    return app_.dropbox() && app_.dropbox()->linked();
}

void SettingsViewController::startLink(bool root) {
    DropboxSession* box = app_.dropbox();
    if (!box) {
        navigator_.present(
            Alert{0, tr("Warning!"), tr("Dropbox is not available in this copy of Numbrel"), {tr("OK")}});
        return;
    }
    if (!navigator_.reachability().internetReachable()) {
        navigator_.present(noInternetAlert());
        return;
    }
    app_.settings().set("root", root);
    // The user allows access in the browser; the page shows a code, pasted here.
    navigator_.openUrl(box->startLink(root));
    ValueEdit e;
    e.title = tr("Dropbox");
    e.prompt =
        tr("Allow Numbrel access on the Dropbox page that opened in your browser, then paste the code "
           "it shows here");
    e.kind = EditKind::Text;
    e.required = true;
    e.apply = [this, box](const std::string& code, const std::string&) {
        Job job;
        job.title = tr("Linking…");
        job.work = [this, box, code](const Progress&) -> std::function<void()> {
            auto failed = std::make_shared<std::optional<DropboxFailure>>(box->finishLink(code));
            return [this, box, failed] { linked(*box, *failed); };
        };
        navigator_.run(std::move(job));
        return true;
    };
    navigator_.editValue(std::move(e));
}

void SettingsViewController::linked(DropboxSession& box, const std::optional<DropboxFailure>& failed) {
    if (failed) {
        navigator_.present(Alert{0,
                                 tr("Warning!"),
                                 fill(tr("The Dropbox account could not be linked: %@"), {failed->reason}),
                                 {tr("OK")}});
        return;
    }
    // Without a keyring the link lasts for this run, unless the user lets it be kept in a file
    // (asked once; the answer is kept in numbrel.conf).
    if (box.keptForThisRunOnly() && app_.configuration().value(kTokensKey).empty())
        navigator_.present(Alert{kKeepLinkTag,
                                 tr("Dropbox"),
                                 tr("There is no keyring to keep the link to Dropbox in. Keep it in a file "
                                    "only you can read? Otherwise it lasts until Numbrel closes."),
                                 {tr("No"), tr("Keep in File")}});
}

void SettingsViewController::answerAlert(int tag, int button) {
    if (tag == kDropboxTag && button > 0) startLink(button == 1);
    if (tag == kUnlinkTag && button == 1)
        if (DropboxSession* box = app_.dropbox()) {
            // Revoking asks the server: a job. The switch shows off at once.
            Job job;
            job.title = tr("Unlinking…");
            job.work = [box](const Progress&) -> std::function<void()> {
                box->unlink();
                return [] {};
            };
            navigator_.run(std::move(job));
        }
    if (tag == kKeepLinkTag && button >= 0) {
        std::optional<std::string> failed;
        if (button == 1)
            if (DropboxSession* box = app_.dropbox()) failed = box->keepInFile();
        if (!failed) failed = app_.configuration().store(kTokensKey, button == 1 ? "file" : "no");
        if (failed)
            navigator_.present(
                Alert{0, tr("Warning!"), fill(tr("The link could not be kept: %@"), {*failed}), {tr("OK")}});
    }
    if (tag == kAutoBackupTag && button == 1) app_.settings().set("autobackup", true);
}

void SettingsViewController::select(const Row& row) {
    switch (row.action) {
        case kReminders: {
            std::string note;
            if (Notifier* n = app_.notifier()) note = n->note();
            if (!app_.reminderProblem().empty())
                note += (note.empty() ? "" : "\n") +
                        fill(tr("Reminders could not be planned: %@"), {app_.reminderProblem()});
            navigator_.push(std::make_unique<RemindersViewController>(app_, note));
            break;
        }
        case kThemes:
            navigator_.push(std::make_unique<ThemeViewController>(app_));
            break;
        case kGuide:
            navigator_.push(
                std::make_unique<HelpBrowser>(navigator_, app_.configuration().value("help.page"), false));
            break;
        case kTour:
            app_.settings().set("tour", true);
            navigator_.pop();
            break;
        case kLink: {
            static const char* const kNames[] = {"links.support", "links.contact", "links.social",
                                                 "links.review"};
            openLink(navigator_, app_.configuration().value(kNames[row.index]));
            break;
        }
        default:
            break;
    }
}

std::optional<ValueEdit> SettingsViewController::edit(const Row& row) {
    if (row.action == kWifiPassword) {
        ValueEdit e;
        e.title = tr("WiFi password");
        e.prompt = tr("Browsers ask for it before showing the transfer pages. Leave it empty for none.");
        e.value = app_.configuration().value(kWifiPasswordKey);
        e.kind = EditKind::Password;
        e.apply = [this](const std::string& text, const std::string&) {
            // Spaces around a password would not survive the file, and are hard to type in a browser.
            const std::size_t begin = text.find_first_not_of(' ');
            const std::string password =
                begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
            if (std::optional<std::string> failed = app_.configuration().store(kWifiPasswordKey, password)) {
                navigator_.present(Alert{0,
                                         tr("Warning!"),
                                         fill(tr("The password could not be saved: %@"), {*failed}),
                                         {tr("OK")}});
                return false;
            }
            return true;
        };
        return e;
    }
    if (row.action != kEmail) return std::nullopt;
    ValueEdit e;
    e.title = tr("Email");
    e.prompt = tr("Enter your email address");
    e.value = std::string(stringOf(app_.settings(), "email"));
    e.kind = EditKind::Text;
    e.apply = [this](const std::string& text, const std::string&) {
        app_.settings().set("email", text);
        return true;
    };
    return app_.guarded(std::move(e));
}

}  // namespace numbrel
