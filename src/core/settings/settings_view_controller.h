// The settings screen: the e-mail address, the graph and entry switches, Dropbox, the cloud folder
// and automatic backups, the torch, reminders and themes, the transfer pages' password, then help, the
// tour and the support links. Every switch writes its key at once; the password goes to numbrel.conf,
// never into the document (backups carry the document, and the transfer pages serve the backups).
#pragma once

#include <string>
#include <vector>

#include "exchange/dropbox.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class SettingsViewController : public Screen {
public:
    // tablet: the window is a tablet's (landscape is always on there).
    SettingsViewController(NumbrelAppDelegate& app, Navigator& navigator, bool tablet = false);
    std::string title() const override;
    std::vector<Section> sections() const override;
    void flipSwitch(int tag, bool on) override;
    void answerAlert(int tag, int button) override;

    enum Action { kEmail = 1, kReminders, kThemes, kGuide, kTour, kLink, kWifiPassword };
    enum Link { kWeb, kContact, kSocial, kReview };
    static constexpr int kDropboxTag = 20, kCloudTag = 21, kAutoBackupTag = 22, kTorchTag = 23;
    static constexpr int kUnlinkTag = 120, kKeepLinkTag = 121;
    static constexpr int kKeptBackups = 3;

protected:
    void select(const Row& row) override;
    std::optional<ValueEdit> edit(const Row& row) override;

private:
    bool dropboxLinked() const;
    // Opens the page where the user allows access, and the editor for the code it shows.
    void startLink(bool root);
    void linked(DropboxSession& box, const std::optional<DropboxFailure>& failed);
    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    bool tablet_;
};

// Opens an outside link in the browser when the internet can be reached; otherwise says it cannot.
void openLink(Navigator& navigator, const std::string& url);

}  // namespace numbrel
