#include "exchange/cloud_sync.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <filesystem>

#include "exchange/backup_view_controller.h"
#include "plist/keyed_archive.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "support/fake_dropbox_session.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

namespace fs = std::filesystem;

// One device: its own store, Documents folder and clock, and the cloud folder that every device of
// the test shares.
struct Device {
    Device(const std::string& root, const std::string& cloud, Date& now)
        : store(root + "/p.plist"),
          app(Environment("en_GB", "Europe/London", [&now] { return now; }), store),
          documents(root + "/Documents"),
          folder(cloud),
          sync(app, nav, folder, documents) {
        fs::create_directories(documents);
        app.applicationDidFinishLaunching();
        app.settings().set("icloud", true);
        NumbrelAppDelegate::Hooks hooks;
        hooks.hasDocumentCloud = [] { return true; };
        hooks.cloudBackup = [this] { sync.iCloudBackup(); };
        app.setHooks(hooks);
    }
    std::string filename() const { return std::string(stringOf(app.settings(), "filename")); }
    std::string meterName() const { return std::string(stringOf((*metersOf(app.settings()))[0], "name")); }
    void rename(const std::string& name) { (*metersOf(app.settings()))[0].set("name", name); }
    std::vector<std::string> offers() const {
        std::vector<std::string> out;
        for (const Alert& a : nav.alerts)
            if (a.title == "iCloud Sync") out.push_back(a.message);
        return out;
    }
    // The folder changed twice a moment apart, as a watcher reports a file that has settled.
    void settle() {
        folder.changed();
        folder.changed();
    }

    PreferencesStore store;
    NumbrelAppDelegate app;
    std::string documents;
    test::FakeNavigator nav;
    ScannedCloudFolder folder;
    CloudSync sync;
};

class CloudSyncTest : public ::testing::Test {
protected:
    CloudSyncTest() : cloud(dir.file("Sync")), docs(cloud + "/Documents") { fs::create_directories(cloud); }
    std::unique_ptr<Device> device(const std::string& name) {
        return std::make_unique<Device>(dir.file(name), cloud, now);
    }
    std::vector<std::string> cloudNames() const {
        std::vector<std::string> names;
        for (const CloudEntry& e : scanCloudDirectory(docs))
            names.push_back(e.name);
        return listBackups(names, {});
    }
    void later(double seconds = 3600) { now = Date{now.seconds + seconds}; }

    // The backups screen of a device, held by its stack as the app holds it.
    static ScreenStack::Id openBackups(Device& d) {
        return d.nav.open(std::make_unique<BackupViewController>(d.app, d.nav, d.documents));
    }
    static BackupViewController& backups(Device& d, ScreenStack::Id id) {
        return *dynamic_cast<BackupViewController*>(d.nav.screen(id));
    }
    // The file rows as shown, "(grey)" after a name that is only in the cloud.
    static std::vector<std::string> rows(Device& d, ScreenStack::Id id) {
        std::vector<std::string> out;
        const std::vector<Section> sections = backups(d, id).sections();
        for (const Row& r : sections[2].rows)
            out.push_back(r.color ? r.label + " (grey)" : r.label);
        return out;
    }
    static int rowOf(Device& d, ScreenStack::Id id, const std::string& file) {
        const auto& names = backups(d, id).backups();
        auto at = std::find(names.begin(), names.end(), file);
        EXPECT_NE(at, names.end()) << file;
        return static_cast<int>(at - names.begin());
    }
    // The file menu of a listed file: its entries, and one of them chosen.
    static std::vector<std::string> menu(Device& d, ScreenStack::Id id, const std::string& file) {
        const int row = rowOf(d, id, file);
        d.nav.act(id, [&](Screen& s) { s.selectRow(2, row); });
        EXPECT_EQ(d.nav.alerts.back().title, file);
        return d.nav.alerts.back().buttons;
    }
    static void choose(Device& d, ScreenStack::Id id, const std::string& file, const std::string& entry) {
        const std::vector<std::string> entries = menu(d, id, file);
        auto at = std::find(entries.begin(), entries.end(), entry);
        ASSERT_NE(at, entries.end()) << entry;
        d.nav.answer(d.nav.lastTicket, static_cast<int>(at - entries.begin()));
    }
    static void swipeDelete(Device& d, ScreenStack::Id id, const std::string& file) {
        const int row = rowOf(d, id, file);
        d.nav.act(id, [&](Screen& s) { s.commitDelete(2, row); });
    }

    test::TempDir dir;
    std::string cloud, docs;
    Date now = test::at("2026-11-23T09:00:00Z");
};

TEST_F(CloudSyncTest, TwoDevicesShareOneFolder) {
    auto a = device("a"), b = device("b");
    a->sync.iCloudEnable();
    ASSERT_EQ(a->sync.directory(), docs);  // "Documents" made in the chosen folder
    b->sync.iCloudEnable();

    // A backs up; B, a fresh device, adopts the newest name and restores nothing.
    a->sync.iCloudBackup();
    EXPECT_EQ(cloudNames(), std::vector<std::string>{"nb20261123@090000.bak"});
    b->folder.changed();
    EXPECT_EQ(b->sync.report().adopted, "nb20261123@090000.bak");
    EXPECT_EQ(b->filename(), "nb20261123@090000.bak");
    EXPECT_TRUE(b->offers().empty());

    // A changes something and backs up again: B is offered the newer file once it has settled.
    later();
    a->rename("House");
    a->sync.iCloudBackup();
    b->folder.changed();
    EXPECT_EQ(b->sync.report().waiting, "nb20261123@100000.bak");  // first seen: not yet trusted
    EXPECT_TRUE(b->offers().empty());
    b->folder.changed();
    EXPECT_EQ(b->sync.report().downloaded, "nb20261123@100000.bak");
    ASSERT_EQ(b->offers(),
              std::vector<std::string>{"Restore the latest backup file? (nb20261123@100000.bak)"});
    EXPECT_TRUE(b->folder.paused());  // while the question is open
    EXPECT_EQ(b->filename(), "nb20261123@100000.bak");
    EXPECT_NE(b->meterName(), "House");
    b->nav.answer(b->nav.lastTicket, 1);  // OK
    EXPECT_EQ(b->meterName(), "House");
    EXPECT_EQ(b->nav.alerts.back().title, "Backup Restored");
    EXPECT_FALSE(b->folder.paused());
    EXPECT_TRUE(fs::exists(b->documents + "/nb20261123@100000.bak"));

    // Neither device is offered that file again, A not even once.
    a->settle();
    b->settle();
    EXPECT_TRUE(a->offers().empty());
    EXPECT_EQ(b->offers().size(), 1u);

    // Cancel drops the offered document: nothing changes, and the file is not offered again.
    later();
    b->rename("Flat");
    b->sync.iCloudBackup();
    a->settle();
    ASSERT_EQ(a->offers().size(), 1u);
    a->nav.answer(a->nav.lastTicket, 0);
    EXPECT_EQ(a->meterName(), "House");
    a->settle();
    EXPECT_EQ(a->offers().size(), 1u);
}

TEST_F(CloudSyncTest, LeavingTwiceWithoutEditsMakesOneBackup) {
    auto a = device("a");
    a->app.settings().set("autobackup", true);
    a->sync.iCloudEnable();
    a->app.applicationWillEnterForeground();
    a->rename("House");
    ASSERT_FALSE(a->app.applicationDidEnterBackground());
    EXPECT_EQ(cloudNames().size(), 1u);
    later();
    a->app.applicationWillEnterForeground();
    ASSERT_FALSE(a->app.applicationDidEnterBackground());
    EXPECT_EQ(cloudNames().size(), 1u);
    later();
    a->app.applicationWillEnterForeground();
    a->rename("Flat");
    ASSERT_FALSE(a->app.applicationDidEnterBackground());
    EXPECT_EQ(cloudNames().size(), 2u);
}

TEST_F(CloudSyncTest, AutomaticBackupsKeepTheThreeNewest) {
    auto a = device("a");
    a->sync.iCloudEnable();
    for (int i = 0; i < 4; ++i, later())
        a->sync.iCloudBackup();
    test::writeFile(a->documents + "/readings.csv", "Date,Reading\n");
    test::writeFile(a->documents + "/nb20200101@000000.bak", "an old local backup");
    EXPECT_EQ(cloudNames().size(), 4u);

    // Without automatic backups nothing goes.
    a->settle();
    EXPECT_EQ(cloudNames().size(), 4u);

    a->app.settings().set("autobackup", true);
    a->settle();
    const std::vector<std::string> kept{"nb20261123@120000.bak", "nb20261123@110000.bak",
                                        "nb20261123@100000.bak"};
    EXPECT_EQ(cloudNames(), kept);
    std::vector<std::string> local = filesIn(a->documents);
    std::sort(local.begin(), local.end());
    EXPECT_EQ(local, (std::vector<std::string>{"nb20261123@100000.bak", "nb20261123@110000.bak",
                                               "nb20261123@120000.bak", "readings.csv"}));
}

TEST_F(CloudSyncTest, AFileStillArrivingIsNeverRestoredHalfWritten) {
    auto a = device("a"), b = device("b");
    a->sync.iCloudEnable();
    a->sync.iCloudBackup();
    b->sync.iCloudEnable();  // adopts it
    later();
    a->rename("House");
    std::string madeIn = dir.file("made");
    fs::create_directories(madeIn);
    NumbrelAppDelegate::Backup made = a->app.localBackup(madeIn);
    const std::string bytes = test::readFile(madeIn + "/" + made.name);

    // The sync client writes the file in pieces under its final name.
    const std::string target = docs + "/" + made.name;
    for (std::size_t cut : {bytes.size() / 3, bytes.size() / 2, bytes.size() - 1}) {
        test::writeFile(target, bytes.substr(0, cut));
        b->settle();  // the same size twice: read, and found not to be whole
        EXPECT_EQ(b->sync.report().waiting, made.name);
        EXPECT_TRUE(b->offers().empty());
        EXPECT_FALSE(fs::exists(b->documents + "/" + made.name));
        EXPECT_EQ(b->filename(), "nb20261123@090000.bak");
    }
    EXPECT_EQ(filesIn(b->documents).size(), 0u);  // no temporary left behind
    test::writeFile(target, bytes);
    b->settle();
    EXPECT_EQ(b->offers().size(), 1u);
}

TEST_F(CloudSyncTest, TemporaryNamesConflictCopiesAndBadBackupsAreNotOffered) {
    auto a = device("a"), b = device("b");
    a->sync.iCloudEnable();
    a->sync.iCloudBackup();
    b->sync.iCloudEnable();
    const std::string good = test::readFile(docs + "/nb20261123@090000.bak");
    test::writeFile(docs + "/.syncthing.nb20261124@090000.bak.tmp", good);
    test::writeFile(docs + "/nb20261124@090001.sync-conflict-20261124-090001-ABCDEFG.bak", good);
    test::writeFile(docs + "/nb20261124@090002 (conflicted copy 2026-11-24).bak", good);
    b->settle();
    EXPECT_TRUE(b->offers().empty());
    // The conflict copies are listed for the user to restore by hand; the temporary is not.
    EXPECT_EQ(b->sync.iCloudFiles(true),
              (std::vector<std::string>{"nb20261124@090002 (conflicted copy 2026-11-24).bak",
                                        "nb20261124@090001.sync-conflict-20261124-090001-ABCDEFG.bak",
                                        "nb20261123@090000.bak"}));

    // A backup from a newer version, and one whose hash does not match, pass without a word, and
    // are not looked at again.
    Value newer = a->app.settings();
    newer.set("version", integerOf(newer, "version") + 1);
    newer.set("hash", static_cast<std::int64_t>(documentDigests(newer).hash) + 1);
    test::writeFile(docs + "/nb20261125@090000.bak", writeKeyedArchive(newer));
    b->settle();
    EXPECT_TRUE(b->offers().empty());
    EXPECT_EQ(b->filename(), "nb20261125@090000.bak");
    Value tampered = a->app.settings();
    tampered.set("hash", static_cast<std::int64_t>(documentDigests(tampered).hash));
    test::writeFile(docs + "/nb20261126@090000.bak", writeKeyedArchive(tampered));
    b->settle();
    EXPECT_TRUE(b->offers().empty());
    EXPECT_EQ(b->filename(), "nb20261126@090000.bak");
    b->settle();
    EXPECT_TRUE(b->nav.alerts.empty());
}

TEST_F(CloudSyncTest, NoFolderWarnsAndCloudCopiesNeverLeaveHalfFiles) {
    Device lost(dir.file("x"), dir.file("gone"), now);
    lost.sync.iCloudEnable();
    ASSERT_EQ(lost.nav.alerts.size(), 1u);
    EXPECT_EQ(lost.nav.alerts[0].title, "Warning!");
    EXPECT_EQ(lost.nav.alerts[0].message.rfind("No iCloud access.", 0), 0u);
    EXPECT_FALSE(lost.sync.enabled());
    fs::create_directories(dir.file("gone"));
    lost.sync.iCloudEnable();
    EXPECT_TRUE(lost.sync.enabled());
    // The folder goes (a share unmounted): the next enabling, on returning to the app, says so.
    lost.sync.iCloudDisable();
    fs::remove_all(dir.file("gone"));
    lost.sync.iCloudEnable();
    EXPECT_FALSE(lost.sync.enabled());
    EXPECT_EQ(lost.nav.alerts.size(), 2u);
    EXPECT_EQ(lost.sync.directory(), std::nullopt);

    auto a = device("a");
    a->sync.iCloudEnable();
    std::optional<std::string> answer = "unset";
    a->sync.copyFromCloud("nb20990101@000000.bak", [&](std::optional<std::string> e) { answer = e; });
    EXPECT_EQ(answer, CloudSync::notYetAvailable());
    a->sync.iCloudBackup();
    fs::remove(a->documents + "/nb20261123@090000.bak");
    a->sync.copyFromCloud("nb20261123@090000.bak", [&](std::optional<std::string> e) { answer = e; });
    EXPECT_EQ(answer, std::nullopt);
    EXPECT_TRUE(fs::exists(a->documents + "/nb20261123@090000.bak"));
    a->sync.deleteFromCloud("nb20261123@090000.bak", [&](std::optional<std::string> e) { answer = e; });
    EXPECT_EQ(answer, std::nullopt);
    EXPECT_TRUE(cloudNames().empty());

    // A copy that fails (the target is a folder) leaves the folder as it was.
    fs::create_directories(docs + "/nb20261123@090000.bak");
    a->sync.copyToCloud("nb20261123@090000.bak", [&](std::optional<std::string> e) { answer = e; });
    EXPECT_TRUE(answer.has_value());
    EXPECT_EQ(scanCloudDirectory(docs).size(), 0u);
    EXPECT_EQ(fs::directory_iterator(docs)->path().filename(), "nb20261123@090000.bak");
    EXPECT_EQ(std::distance(fs::directory_iterator(docs), fs::directory_iterator()), 1);
}

TEST_F(CloudSyncTest, TheBackupsScreenListsTheCloudBesideTheDevice) {
    auto a = device("a"), b = device("b");
    a->sync.iCloudEnable();
    a->sync.iCloudBackup();
    const std::string first = a->meterName();
    later();
    a->rename("House");
    a->sync.iCloudBackup();
    b->sync.iCloudEnable();  // adopts the newer name
    b->rename("Flat");
    test::writeFile(b->documents + "/readings.csv", "Date,Reading\n");
    b->nav.mailer = true;

    const ScreenStack::Id id = openBackups(*b);
    EXPECT_EQ(backups(*b, id).title(), "iCloud");
    EXPECT_EQ(backups(*b, id).selectedSegmentIndex(), 0);
    EXPECT_EQ(rows(*b, id), (std::vector<std::string>{"readings.csv", "nb20261123@100000.bak (grey)",
                                                      "nb20261123@090000.bak (grey)"}));
    // A file only in the cloud can be fetched, not copied or mailed from here.
    EXPECT_EQ(menu(*b, id, "nb20261123@090000.bak"), (std::vector<std::string>{"Restore Backup", "Cancel"}));
    EXPECT_EQ(menu(*b, id, "readings.csv"),
              (std::vector<std::string>{"Copy to iCloud", "Export by Email", "Import CSV File", "Cancel"}));
    choose(*b, id, "readings.csv", "Copy to iCloud");
    EXPECT_EQ(test::readFile(docs + "/readings.csv"), "Date,Reading\n");
    EXPECT_EQ(backups(*b, id).title(), "iCloud");
    EXPECT_EQ(rows(*b, id).front(), "readings.csv");
    EXPECT_EQ(menu(*b, id, "readings.csv").front(), "Export by Email");

    // What the sync client brings is listed as the folder's query reports it.
    later();
    a->sync.iCloudBackup();
    b->folder.changed();
    EXPECT_EQ(rows(*b, id)[1], "nb20261123@110000.bak (grey)");

    // Restoring a file that is only in the cloud copies it down first.
    choose(*b, id, "nb20261123@090000.bak", "Restore Backup");
    EXPECT_TRUE(fs::exists(b->documents + "/nb20261123@090000.bak"));
    EXPECT_EQ(b->nav.alerts.back().title, "Backup Restored");
    EXPECT_EQ(b->meterName(), first);
    EXPECT_FALSE(b->nav.alive(id));

    // With sync off the screen is the device's alone.
    b->app.settings().set("icloud", false);
    const ScreenStack::Id local = openBackups(*b);
    EXPECT_EQ(backups(*b, local).title(), "Backups");
    EXPECT_EQ(backups(*b, local).selectedSegmentIndex(), -1);
    EXPECT_EQ(rows(*b, local), (std::vector<std::string>{"readings.csv", "nb20261123@090000.bak"}));
    EXPECT_EQ(menu(*b, local, "readings.csv").front(), "Export by Email");
}

TEST_F(CloudSyncTest, WithDropboxLinkedTooTheTitleBarChoosesTheStore) {
    auto a = device("a");
    a->sync.iCloudEnable();
    a->sync.iCloudBackup();
    test::FakeDropboxSession box;
    box.files = {{"/nb20200101@000000.bak", "x"}};
    a->app.setDropbox(&box);

    const ScreenStack::Id id = openBackups(*a);
    BackupViewController& screen = backups(*a, id);
    EXPECT_EQ(screen.titleSegments(), (std::vector<std::string>{"iCloud", "Dropbox"}));
    EXPECT_EQ(screen.titleSegment(), 0);
    EXPECT_EQ(rows(*a, id), (std::vector<std::string>{"nb20261123@090000.bak"}));
    EXPECT_TRUE(box.calls.empty());  // not read until chosen
    a->nav.act(id, [](Screen& s) { s.chooseSegment(Screen::kTitleSegmentsTag, 1); });
    EXPECT_EQ(screen.selectedSegmentIndex(), 1);
    EXPECT_EQ(screen.title(), "Dropbox");
    EXPECT_EQ(rows(*a, id),
              (std::vector<std::string>{"nb20261123@090000.bak", "nb20200101@000000.bak (grey)"}));
    EXPECT_EQ(menu(*a, id, "nb20261123@090000.bak").front(), "Copy to Dropbox");
    // The cloud's folder changing meanwhile does not take the choice away.
    a->folder.changed();
    EXPECT_EQ(screen.selectedSegmentIndex(), 1);
    a->nav.act(id, [](Screen& s) { s.chooseSegment(Screen::kTitleSegmentsTag, 0); });
    EXPECT_EQ(screen.title(), "iCloud");
    EXPECT_EQ(rows(*a, id), (std::vector<std::string>{"nb20261123@090000.bak"}));
    // Offline, Dropbox is not offered at all.
    a->nav.network.online = false;
    a->nav.act(id, [](Screen& s) { dynamic_cast<BackupViewController&>(s).refresh(); });
    EXPECT_TRUE(screen.titleSegments().empty());
    EXPECT_EQ(screen.selectedSegmentIndex(), 0);
}

TEST_F(CloudSyncTest, TheBackupsScreenFetchesAndDeletesInTheCloud) {
    auto a = device("a");
    a->sync.iCloudEnable();
    a->sync.iCloudBackup();
    later();
    a->sync.iCloudBackup();
    test::writeFile(a->documents + "/notes.txt", "x");
    test::writeFile(docs + "/nb20261122@090000.bak", "on its way");
    a->folder.changed();
    const ScreenStack::Id id = openBackups(*a);
    ASSERT_EQ(rows(*a, id),
              (std::vector<std::string>{"notes.txt", "nb20261123@100000.bak", "nb20261123@090000.bak",
                                        "nb20261122@090000.bak (grey)"}));

    // The sync client has not brought it (or took it away again) by the time it is fetched.
    fs::remove(docs + "/nb20261122@090000.bak");
    choose(*a, id, "nb20261122@090000.bak", "Restore Backup");
    EXPECT_EQ(a->nav.alerts.back().title, "Warning!");
    EXPECT_EQ(a->nav.alerts.back().message,
              "This file is not yet available. I'm sure it's on its way, so please try again.");
    EXPECT_EQ(a->nav.alerts.back().buttons, std::vector<std::string>{"OK"});
    EXPECT_EQ(backups(*a, id).title(), "iCloud");
    EXPECT_FALSE(fs::exists(a->documents + "/nb20261122@090000.bak"));
    a->folder.changed();  // the query reports it gone
    EXPECT_EQ(rows(*a, id).back(), "nb20261123@090000.bak");

    // Only on this device: gone at once.
    std::size_t asked = a->nav.alerts.size();
    swipeDelete(*a, id, "notes.txt");
    EXPECT_EQ(a->nav.alerts.size(), asked);
    EXPECT_FALSE(fs::exists(a->documents + "/notes.txt"));

    // On both: this device only, or everywhere.
    swipeDelete(*a, id, "nb20261123@100000.bak");
    EXPECT_EQ(a->nav.alerts.back().title, "Are you sure?");
    EXPECT_EQ(a->nav.alerts.back().message,
              "Delete the file from this device only, or PERMANENTLY delete it from iCloud and all devices");
    EXPECT_EQ(a->nav.alerts.back().buttons,
              (std::vector<std::string>{"Cancel", "Local Device Only", "All Devices"}));
    a->nav.answer(a->nav.lastTicket, 0);
    EXPECT_TRUE(fs::exists(a->documents + "/nb20261123@100000.bak"));
    swipeDelete(*a, id, "nb20261123@100000.bak");
    a->nav.answer(a->nav.lastTicket, 1);
    EXPECT_FALSE(fs::exists(a->documents + "/nb20261123@100000.bak"));
    EXPECT_TRUE(fs::exists(docs + "/nb20261123@100000.bak"));
    EXPECT_EQ(rows(*a, id).front(), "nb20261123@100000.bak (grey)");

    // Only in the cloud: a plain question.
    swipeDelete(*a, id, "nb20261123@100000.bak");
    EXPECT_EQ(a->nav.alerts.back().message, "This will PERMANENTLY delete the file from iCloud");
    EXPECT_EQ(a->nav.alerts.back().buttons, (std::vector<std::string>{"Cancel", "OK"}));
    a->nav.answer(a->nav.lastTicket, 1);
    EXPECT_FALSE(fs::exists(docs + "/nb20261123@100000.bak"));
    EXPECT_EQ(rows(*a, id), std::vector<std::string>{"nb20261123@090000.bak"});

    swipeDelete(*a, id, "nb20261123@090000.bak");
    a->nav.answer(a->nav.lastTicket, 2);
    EXPECT_TRUE(cloudNames().empty());
    EXPECT_TRUE(filesIn(a->documents).empty());
    EXPECT_TRUE(rows(*a, id).empty());
}

TEST_F(CloudSyncTest, BackupNowCopiesUpEvenWhenTheScreenHasGone) {
    auto a = device("a");
    a->sync.iCloudEnable();
    a->nav.holdAppJobs = true;
    const ScreenStack::Id id = openBackups(*a);
    a->nav.act(id, [](Screen& s) { s.selectRow(1, 0); });  // Backup Now
    EXPECT_EQ(backups(*a, id).title(), "Copying");
    EXPECT_TRUE(a->sync.busy());
    EXPECT_EQ(a->nav.finishAppJobs(), 2);  // the backup, then its copy
    EXPECT_FALSE(a->sync.busy());
    EXPECT_EQ(backups(*a, id).title(), "iCloud");
    EXPECT_EQ(cloudNames(), std::vector<std::string>{"nb20261123@090000.bak"});
    EXPECT_EQ(rows(*a, id), std::vector<std::string>{"nb20261123@090000.bak"});

    // Closed while the copy runs: the copy and the name kept still happen; the screen hears nothing.
    later();
    a->nav.act(id, [](Screen& s) { s.selectRow(1, 0); });
    a->nav.closeTop();
    EXPECT_FALSE(a->nav.alive(id));
    EXPECT_EQ(a->nav.finishAppJobs(), 2);
    EXPECT_FALSE(a->sync.busy());
    EXPECT_EQ(cloudNames().size(), 2u);
    EXPECT_EQ(a->filename(), "nb20261123@100000.bak");
}

}  // namespace
}  // namespace numbrel
