// NumbrelAppDelegate owns the settings document from start-up to the end: it loads, validates and
// saves it, keeps the change fingerprint, and offers the document to every screen. Steps that other
// parts of the system perform (cloud session, main screen) are hooks set by the front end; reminders go
// to the notifier it is given.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "costs/engine.h"
#include "costs/formatter.h"
#include "plist/value.h"
#include "settings/notifier.h"
#include "store/calendar.h"
#include "store/configuration.h"
#include "store/environment.h"
#include "store/preferences_store.h"
#include "ui/alert.h"
#include "ui/screen.h"

namespace numbrel {

class CloudSync;
class DropboxSession;
class PriceService;

class NumbrelAppDelegate {
public:
    // Steps of start-up and saving that belong to other parts of the system. Unset hooks do nothing.
    struct Hooks {
        std::function<void()> openCloudSession;  // with the keys chosen by "root"
        std::function<void()> buildMainScreen;
        std::function<void(bool black)> applyBarStyle;
        std::function<void()> cloudBackup;                         // the automatic backup on leaving
        std::function<void(const std::string&)> postNotification;  // "ReloadSettings"
        std::function<bool()> hasDocumentCloud;                    // the platform offers a document cloud
        std::function<void(bool on)> cloudSwitched;                // "icloud" turned on or off
        std::function<void()> cloudEnable;                         // on becoming active with "icloud" on
        std::function<void()> cloudDisable;                        // on leaving
    };

    NumbrelAppDelegate(Environment env, PreferencesStore& store);
    ~NumbrelAppDelegate();

    void setHooks(Hooks hooks) { hooks_ = std::move(hooks); }
    // Where reminders go (none: nowhere). Planned on leaving, cancelled at start and on return.
    void setNotifier(Notifier* notifier) { notifier_ = notifier; }
    Notifier* notifier() const { return notifier_; }
    // What the last plan or cancel of reminders said went wrong ("" when nothing did).
    const std::string& reminderProblem() const { return reminderProblem_; }
    // The platform's own settings (numbrel.conf).
    const Configuration& configuration() const { return configuration_; }
    Configuration& configuration() { return configuration_; }
    void setConfiguration(Configuration configuration) { configuration_ = std::move(configuration); }

    // Start-up: load the store, add the default meters when there are none, validate, register the
    // document as the store's defaults. Alerts to show come back from takeAlerts(); a store that
    // could not be read is reported through storeProblem().
    void applicationDidFinishLaunching();

    // The document; screens read and edit it in place.
    Value& settings() { return *settings_; }
    const Value& settings() const { return *settings_; }
    // The meter at a valid index of the document's "meters" list.
    Value& meter(int index);

    // Gives the navigation bar the style the document asks for ("black").
    void applyBarStyle() const;

    // Replaces the document (restore, import, cloud restore) and validates it. fingerprint, when
    // known, is the document's change fingerprint as it comes: kept when validation repairs nothing.
    void setSettings(Value document, std::string fingerprint = {});

    // The save sequence of leaving the application. Returns an error message when the store could
    // not be written (the previous file is then unchanged).
    std::optional<std::string> applicationDidEnterBackground();
    void applicationWillEnterForeground();

    // Writes the persisted keys and flushes the store: the one save step the CLI and the app's
    // prompt save after a new reading use.
    std::optional<std::string> saveSettings();

    // Writes the whole document as a backup file into a folder and returns its name, or an error
    // message. "filename" is set in the document and kept; "hash" exists only in the file.
    struct Backup {
        std::string name;
        std::optional<std::string> error;
    };
    Backup localBackup(const std::string& directory);
    // The same as a job: the document is copied now; archived and written as work (anywhere); the
    // name kept and the fingerprint taken when done. done hears the outcome on this side.
    Job backupJob(const std::string& directory, std::function<void(const Backup&)> done);
    // Replaces the document with one made from a copy of it by a job (readings imported): nothing is
    // validated or fingerprinted again, as a restore would be.
    void adoptDocument(Value document);

    // The document's shape: it changes whenever values that an open editor points into may move or
    // go (the document replaced, meters added, deleted or moved, readings imported).
    std::uint64_t shape() const { return shape_; }
    void reshape() { ++shape_; }
    // An editor that refuses to write once the shape has changed since it was opened.
    ValueEdit guarded(ValueEdit edit);

    // The change fingerprint: MD5 of the description without view state and preferences.
    std::string MD5StringOfSettings() const;
    const std::string& md5() const { return md5_; }
    void setMd5(std::string md5) { md5_ = std::move(md5); }

    // Whether the platform offers a document cloud (a synced folder).
    bool hasDocumentCloud() const { return hooks_.hasDocumentCloud && hooks_.hasDocumentCloud(); }
    // The settings switch: sync starts (the folder asked for when none is chosen yet) or stops.
    void cloudSwitched(bool on) {
        if (hooks_.cloudSwitched) hooks_.cloudSwitched(on);
    }
    // The document cloud's sync, while there is one (it tells the delegate itself); null otherwise.
    CloudSync* cloudSync() const { return cloudSync_; }
    void setCloudSync(CloudSync* sync) { cloudSync_ = sync; }
    // The Dropbox client, where the front end has one (it outlives every job); null otherwise.
    DropboxSession* dropbox() const { return dropbox_; }
    void setDropbox(DropboxSession* session) { dropbox_ = session; }
    // The price comparison service, where the front end can reach one (it outlives every job).
    PriceService* priceService() const { return priceService_; }
    void setPriceService(PriceService* service) { priceService_ = service; }
    // The camera light: there is none on a desktop.
    bool hasTorch() const { return false; }
    void torchOn() {}
    void torchOff() {}

    std::vector<Alert> takeAlerts();
    const PreferencesStore::LoadReport& storeReport() const { return loadReport_; }

    // The usage and cost engine over the current document (valid until the document is replaced).
    Engine engine() const { return Engine(*settings_, calendar_); }
    // Formatting of readings, usage and costs in the device locale.
    const Formatter& formatter() const { return formatter_; }

    const Environment& environment() const { return env_; }
    const Calendar& calendar() const { return calendar_; }
    PreferencesStore& store() { return store_; }

private:
    void validate(bool replaced, std::string fingerprint = {});
    void planReminders();
    void cancelReminders();

    Environment env_;
    Calendar calendar_;
    Formatter formatter_;
    PreferencesStore& store_;
    Hooks hooks_;
    CloudSync* cloudSync_ = nullptr;
    DropboxSession* dropbox_ = nullptr;
    PriceService* priceService_ = nullptr;
    Notifier* notifier_ = nullptr;
    std::string reminderProblem_;
    Configuration configuration_;
    std::shared_ptr<Value> settings_;
    std::string md5_;
    std::uint64_t shape_ = 0;
    std::vector<Alert> alerts_;
    PreferencesStore::LoadReport loadReport_;
};

// Writes a backup of a document (its "filename" already set to name) into a folder: the archive with
// the hash in its slot, written atomically. Touches nothing but its arguments and the folder, so a job
// may run it anywhere. Answers the document's change fingerprint, or an error.
struct BackupWritten {
    std::optional<std::string> error;
    std::string fingerprint;
};
BackupWritten writeBackup(const Value& document, const std::string& directory, const std::string& name);

// The 14 keys of view state and preferences that the change fingerprint leaves out.
std::string MD5StringOfSettings(const Value& document);

// A document's backup hash (over its whole description; a backup stores it plus one) and its
// change fingerprint, from one pass over the description.
struct DocumentDigests {
    std::uint32_t hash = 0;
    std::string fingerprint;
};
DocumentDigests documentDigests(const Value& document);

}  // namespace numbrel
