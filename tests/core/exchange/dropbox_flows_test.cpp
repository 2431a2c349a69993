// The backups screen with a linked Dropbox account: where its files live, what is listed, and every
// copy, fetch and delete with the failure each one can meet.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "exchange/backup_view_controller.h"
#include "support/app_fixture.h"
#include "support/fake_dropbox_session.h"
#include "support/fake_navigator.h"

namespace numbrel {
namespace {

class DropboxBackups : public test::AppFixture {
protected:
    DropboxBackups() {
        std::filesystem::create_directories(docs_);
        app_.setDropbox(&box_);
    }
    // The screen as the app shows it: held by the stack, and told when it has come on top.
    BackupViewController& open() {
        id_ = nav_.open(std::make_unique<BackupViewController>(app_, nav_, docs_));
        return *dynamic_cast<BackupViewController*>(nav_.screen(id_));
    }
    BackupViewController& screen() { return *dynamic_cast<BackupViewController*>(nav_.screen(id_)); }
    // The file rows, "(grey)" after a name that is only in Dropbox.
    std::vector<std::string> rows() {
        std::vector<std::string> out;
        const std::vector<Section> sections = screen().sections();
        for (const Row& r : sections[2].rows)
            out.push_back(r.color ? r.label + " (grey)" : r.label);
        return out;
    }
    int rowOf(const std::string& file) {
        const auto& names = screen().backups();
        auto at = std::find(names.begin(), names.end(), file);
        EXPECT_NE(at, names.end()) << file;
        return static_cast<int>(at - names.begin());
    }
    std::vector<std::string> menu(const std::string& file) {
        const int row = rowOf(file);
        nav_.act(id_, [&](Screen& s) { s.selectRow(2, row); });
        EXPECT_EQ(nav_.alerts.back().title, file);
        return nav_.alerts.back().buttons;
    }
    void choose(const std::string& file, const std::string& entry) {
        const std::vector<std::string> entries = menu(file);
        auto at = std::find(entries.begin(), entries.end(), entry);
        ASSERT_NE(at, entries.end()) << entry;
        nav_.answer(nav_.lastTicket, static_cast<int>(at - entries.begin()));
    }
    void act(const std::function<void(Screen&)>& action) { nav_.act(id_, action); }
    std::string lastMessage() const { return nav_.alerts.empty() ? "" : nav_.alerts.back().message; }
    // A real backup of the document as it is now, as bytes.
    std::string backupBytes() {
        const std::string elsewhere = dir_.file("elsewhere");
        std::filesystem::create_directories(elsewhere);
        NumbrelAppDelegate::Backup b = app_.localBackup(elsewhere);
        EXPECT_FALSE(b.error);
        return test::readFile(elsewhere + "/" + b.name);
    }

    std::string docs_ = dir_.file("Documents");
    test::FakeDropboxSession box_;
    test::FakeNavigator nav_;
    ScreenStack::Id id_ = 0;
};

TEST_F(DropboxBackups, ARootWithoutTheFolderListsAndUploadsAtTheRoot) {
    box_.files = {{"/nb20261101@080000.bak", "x"},
                  {"/Readings.CSV", "x"},
                  {"/n.bak", "x"},         // too short
                  {"/ab123456.bak", "x"},  // not the app's
                  {"/notes.txt", "x"},
                  {"/Other/nb20261102@080000.bak", "x"}};
    box_.folders = {"/Other", "/numbrel"};  // only "/Numbrel" exactly is the app's folder
    test::writeFile(docs_ + "/local.csv", "date,reading\n");
    open();
    EXPECT_EQ(screen().selectedSegmentIndex(), 1);
    EXPECT_EQ(screen().title(), "Dropbox");
    EXPECT_TRUE(screen().titleSegments().empty());  // no document cloud here
    EXPECT_EQ(screen().restPrefix(), "/");
    EXPECT_EQ(rows(),
              (std::vector<std::string>{"Readings.CSV (grey)", "nb20261101@080000.bak (grey)", "local.csv"}));
    EXPECT_FALSE(screen().busy());

    // Backup Now: made here, the root looked at again (the folder may have come), then uploaded there.
    box_.calls.clear();
    act([](Screen& s) { s.selectRow(1, 0); });
    ASSERT_EQ(box_.calls.size(), 2u);
    EXPECT_EQ(box_.calls[0], "list ");
    EXPECT_EQ(box_.calls[1], "upload /nb20261122@120000.bak");
    EXPECT_TRUE(box_.files.count("/nb20261122@120000.bak"));
    EXPECT_EQ(box_.files["/nb20261122@120000.bak"], test::readFile(docs_ + "/nb20261122@120000.bak"));
    const std::vector<std::string> now = rows();
    EXPECT_NE(std::find(now.begin(), now.end(), "nb20261122@120000.bak"), now.end());
    EXPECT_EQ(screen().title(), "Dropbox");

    // A file only here can be copied up; a .txt file offers both restore and import.
    test::writeFile(docs_ + "/notes.txt", "x");
    act([](Screen& s) { dynamic_cast<BackupViewController&>(s).refresh(); });
    EXPECT_EQ(menu("notes.txt"),
              (std::vector<std::string>{"Copy to Dropbox", "Import CSV File", "Restore Backup", "Cancel"}));
    nav_.answer(nav_.lastTicket, 0);
    EXPECT_EQ(box_.calls.back(), "upload /notes.txt");
    EXPECT_EQ(menu("notes.txt"), (std::vector<std::string>{"Import CSV File", "Restore Backup", "Cancel"}));
}

TEST_F(DropboxBackups, TheNumbrelFolderIsUsedWhenTheAccountHasIt) {
    box_.folders = {"/Numbrel"};
    box_.files = {{"/nb20250101@000000.bak", "top"}, {"/Numbrel/nb20261101@080000.bak", "inside"}};
    open();
    EXPECT_EQ(screen().restPrefix(), "/Numbrel/");
    EXPECT_EQ(box_.calls, (std::vector<std::string>{"list ", "list /Numbrel"}));
    EXPECT_EQ(rows(), (std::vector<std::string>{"nb20261101@080000.bak (grey)"}));
    // Once the folder is known, Backup Now uploads at once.
    box_.calls.clear();
    act([](Screen& s) { s.selectRow(1, 0); });
    EXPECT_EQ(box_.calls, (std::vector<std::string>{"upload /Numbrel/nb20261122@120000.bak"}));
}

TEST_F(DropboxBackups, AFileOnlyInDropboxIsFetchedThenRestored) {
    meter(0).set("name", "From Dropbox");
    box_.files = {{"/nb20261101@080000.bak", backupBytes()}};
    meter(0).set("name", "Changed since");
    open();
    // Not here: no copy up, no mail; only what can be done once it is fetched.
    EXPECT_EQ(menu("nb20261101@080000.bak"), (std::vector<std::string>{"Restore Backup", "Cancel"}));
    nav_.answer(nav_.lastTicket, 0);
    EXPECT_EQ(box_.calls.back(), "download /nb20261101@080000.bak");
    EXPECT_TRUE(std::filesystem::exists(docs_ + "/nb20261101@080000.bak"));
    EXPECT_EQ(nav_.alerts.back().title, "Backup Restored");
    EXPECT_EQ(stringOf(meter(0), "name"), "From Dropbox");
}

TEST_F(DropboxBackups, DeletesAskWhereAndDeleteWhereTold) {
    box_.files = {
        {"/nb20261101@080000.bak", "a"}, {"/nb20261102@080000.bak", "b"}, {"/nb20261103@080000.bak", "c"}};
    for (const char* name : {"nb20261101@080000.bak", "nb20261102@080000.bak"})
        test::writeFile(docs_ + "/" + name, "a");
    open();
    // On both, "Local Device Only": Dropbox keeps its copy.
    act([&](Screen& s) { s.commitDelete(2, rowOf("nb20261101@080000.bak")); });
    EXPECT_EQ(nav_.alerts.back().message,
              "Delete the file from this device only, or PERMANENTLY delete it from Dropbox and all devices");
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_FALSE(std::filesystem::exists(docs_ + "/nb20261101@080000.bak"));
    EXPECT_TRUE(box_.files.count("/nb20261101@080000.bak"));
    // "All Devices": gone from both.
    act([&](Screen& s) { s.commitDelete(2, rowOf("nb20261102@080000.bak")); });
    nav_.answer(nav_.lastTicket, 2);
    EXPECT_FALSE(std::filesystem::exists(docs_ + "/nb20261102@080000.bak"));
    EXPECT_FALSE(box_.files.count("/nb20261102@080000.bak"));
    // Only in Dropbox: one question, then gone from there.
    act([&](Screen& s) { s.commitDelete(2, rowOf("nb20261103@080000.bak")); });
    EXPECT_EQ(nav_.alerts.back().message, "This will PERMANENTLY delete the file from Dropbox");
    EXPECT_EQ(nav_.alerts.back().buttons, (std::vector<std::string>{"Cancel", "OK"}));
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_EQ(box_.calls.back(), "delete /nb20261103@080000.bak");
    EXPECT_EQ(rows(), (std::vector<std::string>{"nb20261101@080000.bak (grey)"}));
}

TEST_F(DropboxBackups, EveryFailureIsToldAndTheListStaysAsItWas) {
    box_.files = {{"/nb20261101@080000.bak", "a"}, {"/nb20261102@080000.bak", "b"}};
    test::writeFile(docs_ + "/nb20261103@080000.bak", "c");
    box_.failNext = DropboxFailure{"HTTP 500"};
    open();
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_EQ(lastMessage(), "Access to Dropbox failed");
    EXPECT_FALSE(screen().busy());
    EXPECT_EQ(rows(), (std::vector<std::string>{"nb20261103@080000.bak"}));
    act([](Screen& s) { dynamic_cast<BackupViewController&>(s).refresh(); });
    const std::vector<std::string> listed = rows();
    ASSERT_EQ(listed.size(), 3u);

    box_.failNext = DropboxFailure{"too_many_write_operations"};
    choose("nb20261103@080000.bak", "Copy to Dropbox");
    EXPECT_EQ(lastMessage(), "Copy to Dropbox failed");
    box_.failNext = DropboxFailure{"path/not_found"};
    choose("nb20261101@080000.bak", "Restore Backup");
    EXPECT_EQ(lastMessage(), "Copy from Dropbox failed");
    EXPECT_FALSE(std::filesystem::exists(docs_ + "/nb20261101@080000.bak"));
    box_.failNext = DropboxFailure{"path_lookup/not_found"};
    act([&](Screen& s) { s.commitDelete(2, rowOf("nb20261102@080000.bak")); });
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_EQ(lastMessage(), "Delete from Dropbox failed");
    EXPECT_EQ(rows(), listed);
    EXPECT_FALSE(screen().busy());

    // Cancelled by the user: nothing to tell.
    const std::size_t told = nav_.alerts.size();
    box_.failNext = DropboxFailure{"cancelled", false, true};
    choose("nb20261103@080000.bak", "Copy to Dropbox");
    EXPECT_EQ(nav_.alerts.size(), told + 1);  // the menu alone
    EXPECT_FALSE(screen().busy());

    // The link has ended: the user is told, and the screen shows this device alone.
    box_.failNext = DropboxFailure{"the link to Dropbox has ended (invalid_access_token)", true};
    choose("nb20261103@080000.bak", "Copy to Dropbox");
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_NE(lastMessage().find("Copy to Dropbox failed"), std::string::npos);
    EXPECT_NE(lastMessage().find("has ended"), std::string::npos);
    EXPECT_EQ(screen().selectedSegmentIndex(), -1);
    EXPECT_EQ(screen().title(), "Backups");
    EXPECT_EQ(rows(), (std::vector<std::string>{"nb20261103@080000.bak"}));
}

TEST_F(DropboxBackups, WithoutTheInternetDropboxIsNotShownAndMailIsRefused) {
    nav_.network.online = false;
    nav_.mailer = true;
    box_.files = {{"/nb20261101@080000.bak", "a"}};
    test::writeFile(docs_ + "/nb20261103@080000.bak", "c");
    open();
    EXPECT_EQ(screen().selectedSegmentIndex(), -1);
    EXPECT_TRUE(box_.calls.empty());
    choose("nb20261103@080000.bak", "Export by Email");
    EXPECT_EQ(lastMessage(), "No Internet connectivity");
    EXPECT_TRUE(nav_.mails.empty());
    nav_.network.online = true;
    choose("nb20261103@080000.bak", "Export by Email");
    ASSERT_EQ(nav_.mails.size(), 1u);
    EXPECT_EQ(nav_.mails[0].subject, "Numbrel Backup");
    EXPECT_EQ(nav_.mails[0].body, "Save the attached file in case you need to restore it in future.\n");
    EXPECT_EQ(nav_.mails[0].attachmentPath, docs_ + "/nb20261103@080000.bak");
}

}  // namespace
}  // namespace numbrel
