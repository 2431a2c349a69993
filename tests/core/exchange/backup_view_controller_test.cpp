#include "exchange/backup_view_controller.h"

#include <gtest/gtest.h>

#include <fstream>

#include "exchange/backup.h"
#include "plist/keyed_archive.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"

namespace numbrel {
namespace {

using test::at;

class BackupsScreen : public test::AppFixture {
protected:
    BackupsScreen() { std::filesystem::create_directories(docs_); }
    std::vector<std::string> fileRows(BackupViewController& screen) {
        std::vector<std::string> out;
        std::vector<Section> s = screen.sections();
        for (const Row& r : s[2].rows)
            out.push_back(r.label);
        return out;
    }
    // Opens the file menu of a listed file and chooses an entry by its text.
    void choose(BackupViewController& screen, const std::string& file, const std::string& entry) {
        const auto& names = screen.backups();
        auto at = std::find(names.begin(), names.end(), file);
        ASSERT_NE(at, names.end()) << file;
        screen.selectRow(2, static_cast<int>(at - names.begin()));
        ASSERT_FALSE(nav_.alerts.empty());
        const Alert menu = nav_.alerts.back();
        ASSERT_EQ(menu.tag, BackupViewController::kFileMenuTag);
        ASSERT_EQ(menu.title, file);
        auto button = std::find(menu.buttons.begin(), menu.buttons.end(), entry);
        ASSERT_NE(button, menu.buttons.end()) << entry;
        screen.answerAlert(menu.tag, static_cast<int>(button - menu.buttons.begin()));
    }
    void addReading(int m, const char* when, double value) {
        meter(m)
            .find("readings")
            ->array()
            .insert(meter(m).find("readings")->array().begin(),
                    Value::makeDictionary({{"date", at(when)}, {"reading", Value(Array{value, 0.0, 0.0})}}));
    }

    std::string docs_ = dir_.file("Documents");
    test::FakeNavigator nav_;
};

TEST_F(BackupsScreen, BackupNowThenRestoreIt) {
    BackupViewController screen(app_, nav_, docs_);
    EXPECT_EQ(screen.sections()[1].footer, "Import a backup file or Backup Now");
    addReading(0, "2026-11-01T08:00:00Z", 100);
    screen.selectRow(1, 0);  // "Backup Now"
    EXPECT_EQ(fileRows(screen), (std::vector<std::string>{"nb20261122@120000.bak"}));
    EXPECT_EQ(screen.sections()[2].footer, "Select a file or swipe to delete");
    Value backedUp = app_.settings();

    addReading(0, "2026-11-20T08:00:00Z", 150);  // made after the backup: lost by the restore
    int rebuilt = 0;
    screen.setChangedHook([&] { ++rebuilt; });
    choose(screen, "nb20261122@120000.bak", "Restore Backup");
    EXPECT_EQ(nav_.alerts.back().title, "Backup Restored");
    EXPECT_EQ(nav_.alerts.back().dismissAfterSeconds, 1.5);
    EXPECT_EQ(nav_.pops, 1);
    EXPECT_EQ(rebuilt, 1);
    EXPECT_EQ(app_.settings(), backedUp);
    EXPECT_EQ(arrayOf(meter(0), "readings")->size(), 1u);
}

TEST_F(BackupsScreen, OldBackupAsksAndCorruptRefuses) {
    Value other = app_.settings();
    meter(0).set("name", "Before");
    Value old = other;
    old.set("hash", static_cast<std::int64_t>(documentDigests(other).hash) + 7);  // hashed elsewhere
    test::writeFile(docs_ + "/nb20200101@000000.bak", writeKeyedArchive(old));
    test::writeFile(docs_ + "/nb20200102@000000.bak", "garbage");
    BackupViewController screen(app_, nav_, docs_);

    choose(screen, "nb20200102@000000.bak", "Restore Backup");
    EXPECT_EQ(nav_.alerts.back().title, "Backup Corrupt");
    EXPECT_EQ(nav_.alerts.back().buttons, (std::vector<std::string>{"Cancel"}));

    choose(screen, "nb20200101@000000.bak", "Restore Backup");
    ASSERT_EQ(nav_.alerts.back().title, "Old Backup?");
    screen.answerAlert(BackupViewController::kRestoreTag, 0);  // Cancel: nothing changes
    EXPECT_EQ(stringOf(meter(0), "name"), "Before");
    choose(screen, "nb20200101@000000.bak", "Restore Backup");
    screen.answerAlert(BackupViewController::kRestoreTag, 1);  // Install
    EXPECT_EQ(stringOf(meter(0), "name"), stringOf((*metersOf(other))[0], "name"));
    EXPECT_EQ(nav_.pops, 1);
    EXPECT_EQ(nav_.alerts.back().title, "Old Backup?");  // no further message
}

TEST_F(BackupsScreen, FileMenuByExtensionAndDeleting) {
    for (const char* name : {"readings.CSV", "notes.txt", "nb20261101@080000.bak"})
        test::writeFile(docs_ + "/" + name, "x");
    nav_.mailer = true;
    app_.settings().set("email", "me@example.org");
    BackupViewController screen(app_, nav_, docs_);
    EXPECT_EQ(fileRows(screen),
              (std::vector<std::string>{"readings.CSV", "notes.txt", "nb20261101@080000.bak"}));
    screen.selectRow(2, 1);
    EXPECT_EQ(nav_.alerts.back().buttons,
              (std::vector<std::string>{"Export by Email", "Import CSV File", "Restore Backup", "Cancel"}));
    EXPECT_TRUE(nav_.alerts.back().actionSheet);
    screen.selectRow(2, 0);
    EXPECT_EQ(nav_.alerts.back().buttons,
              (std::vector<std::string>{"Export by Email", "Import CSV File", "Cancel"}));
    choose(screen, "nb20261101@080000.bak", "Export by Email");
    ASSERT_EQ(nav_.mails.size(), 1u);
    EXPECT_EQ(nav_.mails[0].to, "me@example.org");
    EXPECT_EQ(nav_.mails[0].subject, "Numbrel Backup");
    EXPECT_EQ(nav_.mails[0].attachmentPath, docs_ + "/nb20261101@080000.bak");

    EXPECT_FALSE(screen.sections()[2].rows[1].deletable);  // the Delete buttons show while editing
    screen.setEditing(true);
    EXPECT_TRUE(screen.sections()[2].rows[1].deletable);
    screen.commitDelete(2, 1);
    EXPECT_EQ(fileRows(screen), (std::vector<std::string>{"readings.CSV", "nb20261101@080000.bak"}));
    EXPECT_FALSE(std::filesystem::exists(docs_ + "/notes.txt"));
}

TEST_F(BackupsScreen, ImportOnlyWhenConfirmed) {
    test::writeFile(docs_ + "/gas.csv",
                    "Meter,Date,R1,R2,R3\nGas,05/03/2024 08:15,100,0,0\nGas,06/03/2024 08:15,110,0,0\n");
    test::writeFile(docs_ + "/bad.csv", "Gas,05/03/2024 08:15,100,0,0\nWind,06/03/2024 08:15,110,0,0\n");
    BackupViewController screen(app_, nav_, docs_);
    choose(screen, "bad.csv", "Import CSV File");
    EXPECT_EQ(nav_.alerts.back().title, "CSV File Corrupt");
    EXPECT_EQ(nav_.alerts.back().message, "Row 2, meter not found");
    screen.answerAlert(BackupViewController::kImportTag, 0);
    EXPECT_TRUE(arrayOf(meter(1), "readings")->empty());

    choose(screen, "gas.csv", "Import CSV File");
    EXPECT_EQ(nav_.alerts.back().message, "2 readings");
    screen.answerAlert(BackupViewController::kImportTag, 0);  // Cancel
    EXPECT_TRUE(arrayOf(meter(1), "readings")->empty());
    choose(screen, "gas.csv", "Import CSV File");
    screen.answerAlert(BackupViewController::kImportTag, 1);  // Import
    EXPECT_EQ(nav_.alerts.back().title, "Readings Imported");
    EXPECT_EQ(arrayOf(meter(1), "readings")->size(), 2u);
    screen.answerAlert(BackupViewController::kImportTag, 1);  // a second answer imports nothing more
    EXPECT_EQ(arrayOf(meter(1), "readings")->size(), 2u);
}

TEST_F(BackupsScreen, FilesTooLargeSayWhy) {
    // Sparse files: as large as they say, without the disk space.
    auto sparse = [&](const std::string& name, std::uint64_t size) {
        test::writeFile(docs_ + "/" + name, "");
        std::filesystem::resize_file(docs_ + "/" + name, size);
    };
    sparse("huge.bak", kMaxBackupFileBytes + 1);
    sparse("huge.csv", kMaxCsvFileBytes + 1);
    const Value before = app_.settings();
    BackupViewController screen(app_, nav_, docs_);
    screen.restoreBackup(docs_ + "/huge.bak");
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_EQ(nav_.alerts.back().message, "This backup is larger than 1 GB and cannot be restored");
    screen.importCSV(docs_ + "/huge.csv");
    EXPECT_EQ(nav_.alerts.back().message, "This file is larger than 200 MB");
    EXPECT_FALSE(screen.awaitsImport());
    EXPECT_EQ(nav_.pops, 0);
    EXPECT_EQ(app_.settings(), before);
}

TEST_F(BackupsScreen, AnAddedFileReplacesOnlyWithAWholeCopy) {
    test::writeFile(docs_ + "/gas.csv", "the old file");
    test::TempDir elsewhere;
    BackupViewController screen(app_, nav_, docs_);
    screen.addFile(elsewhere.file("gas.csv"));  // not there: the copy fails
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_EQ(test::readFile(docs_ + "/gas.csv"), "the old file");
    test::writeFile(elsewhere.file("gas.csv"), "the new file");
    screen.addFile(elsewhere.file("gas.csv"));
    EXPECT_EQ(test::readFile(docs_ + "/gas.csv"), "the new file");
    screen.addFile(docs_ + "/gas.csv");  // a file of the folder itself stays as it is
    EXPECT_EQ(test::readFile(docs_ + "/gas.csv"), "the new file");
    EXPECT_EQ(fileRows(screen), (std::vector<std::string>{"gas.csv"}));  // no temporary file left
}

TEST_F(BackupsScreen, WifiServesWhileItsAlertIsOpen) {
    BackupViewController screen(app_, nav_, docs_);
    const std::vector<Section> sections = screen.sections();
    ASSERT_FALSE(sections[0].rows.empty());
    EXPECT_EQ(sections[0].rows[0].label, "Import / Export by WiFi");

    // Without a local network, or without an address on it, nothing starts.
    for (auto [network, address] : {std::pair{false, "192.168.1.20"}, std::pair{true, "(error)"}}) {
        nav_.network.localNetwork = network;
        nav_.network.address = address;
        screen.selectRow(0, 0);
        ASSERT_FALSE(nav_.alerts.empty());
        EXPECT_EQ(nav_.alerts.back().title, "Warning!");
        EXPECT_EQ(nav_.alerts.back().message, "No wireless connectivity");
        EXPECT_FALSE(screen.serving());
        screen.answerAlert(nav_.alerts.back().tag, 0);
    }

    nav_.network.localNetwork = true;
    nav_.network.address = "192.168.1.20";
    screen.selectRow(0, 0);
    ASSERT_TRUE(screen.serving());
    EXPECT_EQ(nav_.serving, docs_);
    const Alert shown = nav_.alerts.back();
    EXPECT_EQ(shown.tag, BackupViewController::kWifiTag);
    EXPECT_EQ(shown.title, "Import / Export by WiFi");
    EXPECT_EQ(shown.message,
              "Launch a browser from a computer on the same wireless network then navigate to the address\n\n"
              "http://192.168.1.20:8080\n\nKeep this alert box open until you have finished copying files, "
              "then select Stop below");
    EXPECT_EQ(shown.buttons, std::vector<std::string>{"Stop"});

    // A file arriving is listed while the alert is still open.
    { std::ofstream(docs_ + "/nb20261101@080000.bak") << "x"; }
    ASSERT_TRUE(nav_.uploaded);
    nav_.uploaded();
    EXPECT_EQ(fileRows(screen), std::vector<std::string>{"nb20261101@080000.bak"});

    screen.answerAlert(shown.tag, 0);  // "Stop"
    EXPECT_FALSE(screen.serving());
    EXPECT_TRUE(nav_.serving.empty());
}

TEST_F(BackupsScreen, AnyAlertOfTheScreenStopsTheServerAndAFailedStartIsTold) {
    {
        BackupViewController screen(app_, nav_, docs_);
        screen.selectRow(0, 0);
        ASSERT_TRUE(screen.serving());
        screen.answerAlert(BackupViewController::kWarningTag, 0);
        EXPECT_FALSE(screen.serving());

        screen.selectRow(0, 0);
        EXPECT_FALSE(nav_.serving.empty());
    }
    EXPECT_TRUE(nav_.serving.empty()) << "a screen that goes stops its server";

    nav_.serverProblem = "cannot listen on *:0: Address already in use";
    BackupViewController screen(app_, nav_, docs_);
    screen.selectRow(0, 0);
    EXPECT_FALSE(screen.serving());
    EXPECT_EQ(nav_.alerts.back().message,
              "The transfer pages could not be started: cannot listen on *:0: Address already in use");
}

}  // namespace
}  // namespace numbrel
