#include "store/preferences_store.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "plist/binary_plist.h"
#include "plist/description.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "support/fake_notifier.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::pinnedEnvironment;
using test::readFile;
using test::TempDir;
using test::writeFile;

// Real file operations, with one of them made to fail.
class FailingOps : public FileOps {
public:
    enum class Step { None, Open, Write, ShortWrite, Fsync, Close, Rename };
    explicit FailingOps(Step fail) : fail_(fail) {}
    void heal() { fail_ = Step::None; }

    int openForWrite(const std::string& path, int& fd) override {
        return fail_ == Step::Open ? EACCES : real().openForWrite(path, fd);
    }
    int write(int fd, const char* data, std::size_t size, std::size_t& written) override {
        if (fail_ == Step::Write) return EIO;
        if (fail_ == Step::ShortWrite) {  // half the bytes, then the disk is full
            if (wrote_) return ENOSPC;
            wrote_ = true;
            return real().write(fd, data, size / 2, written);
        }
        return real().write(fd, data, size, written);
    }
    int fsync(int fd) override { return fail_ == Step::Fsync ? EIO : real().fsync(fd); }
    int close(int fd) override {
        int rc = real().close(fd);
        return fail_ == Step::Close ? EIO : rc;
    }
    int rename(const std::string& from, const std::string& to) override {
        return fail_ == Step::Rename ? EXDEV : real().rename(from, to);
    }
    int unlink(const std::string& path) override { return real().unlink(path); }
    int fsyncDirectory(const std::string& dir) override { return real().fsyncDirectory(dir); }
    int makeDirectories(const std::string& dir) override { return real().makeDirectories(dir); }

private:
    Step fail_;
    bool wrote_ = false;
};

std::size_t filesIn(const std::filesystem::path& dir) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(dir), {}));
}

TEST(PreferencesStore, DelegateRoundTripKeepsForeignKeys) {
    TempDir dir;
    std::string path = dir.file("numbrel/preferences.plist");
    {
        PreferencesStore store(path);
        NumbrelAppDelegate app(pinnedEnvironment(), store);
        app.applicationDidFinishLaunching();
        Value& meters = *app.settings().find("settings");
        meters.array()[0]
            .find("readings")
            ->array()
            .push_back(Value::makeDictionary(
                {{"date", Date{100.25}}, {"reading", Value(Array{12.5, 0.0, 0.0})}, {"ticked", true}}));
        app.settings().set("notPersisted", "gone");
        ASSERT_FALSE(app.applicationDidEnterBackground());
    }
    // A key another program put into the store stays, though it is not one of ours.
    PlistResult onDisk = readBinaryPlist(readFile(path));
    ASSERT_TRUE(onDisk.ok());
    Value stored = onDisk.value;
    EXPECT_EQ(stored.size(), kPersistedKeys.size());
    EXPECT_FALSE(stored.contains("notPersisted"));
    stored.set("foreign", 42);
    writeFile(path, writeBinaryPlist(stored));

    PreferencesStore store(path);
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    EXPECT_TRUE(app.takeAlerts().empty());
    const Value& reading = (*metersOf(app.settings()))[0].find("readings")->array()[0];
    EXPECT_EQ(reading.find("date")->date().seconds, 100.25);
    EXPECT_TRUE(boolOf(reading, "ticked"));
    EXPECT_EQ(integerOf(app.settings(), "foreign"), 42);
    app.settings().set("meter", 2);
    ASSERT_FALSE(app.applicationDidEnterBackground());
    PlistResult again = readBinaryPlist(readFile(path));
    EXPECT_EQ(integerOf(again.value, "foreign"), 42);
    EXPECT_EQ(integerOf(again.value, "meter"), 2);
}

TEST(PreferencesStore, UnchangedDocumentIsNotRewritten) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    PreferencesStore store(path);
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    ASSERT_FALSE(app.saveSettings());
    auto first = std::filesystem::last_write_time(path);
    std::filesystem::last_write_time(path, first - std::chrono::hours(1));
    ASSERT_FALSE(app.saveSettings());
    EXPECT_EQ(std::filesystem::last_write_time(path), first - std::chrono::hours(1));
}

TEST(PreferencesStore, AFileChangedFromOutsideIsWrittenAgain) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    PreferencesStore store(path);
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    ASSERT_FALSE(app.saveSettings());
    const std::string ours = readFile(path);
    // Another program writes the file; the document has not changed since our last save.
    writeFile(path, writeBinaryPlist(Value::makeDictionary({{"other", "program"}})));
    ASSERT_FALSE(app.saveSettings());
    EXPECT_EQ(readFile(path), ours);
    std::filesystem::remove(path);
    ASSERT_FALSE(app.saveSettings());
    EXPECT_EQ(readFile(path), ours);
}

TEST(PreferencesStore, SavesCutShortByAKilledProcessAreCleared) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    pid_t child = fork();
    if (child == 0) _exit(0);
    ASSERT_GT(child, 0);
    waitpid(child, nullptr, 0);  // a process that no longer runs
    const std::string dead = path + ".tmp-" + std::to_string(child) + "-7";
    const std::string running = path + ".tmp-" + std::to_string(getppid()) + "-0";  // our parent still runs
    for (const std::string& f : {dead, running, dir.file("notes.tmp-x-1"), dir.file("keep.txt")})
        writeFile(f, "half a store");
    PreferencesStore store(path);
    store.load(test::at("2026-11-22T12:00:00Z"));
    EXPECT_FALSE(std::filesystem::exists(dead));
    EXPECT_TRUE(std::filesystem::exists(running));
    EXPECT_TRUE(std::filesystem::exists(dir.file("notes.tmp-x-1")));
    EXPECT_TRUE(std::filesystem::exists(dir.file("keep.txt")));
}

TEST(PreferencesStore, FailedWritesLeaveTheOldFileByteIdentical) {
    using Step = FailingOps::Step;
    for (Step step : {Step::Open, Step::Write, Step::ShortWrite, Step::Fsync, Step::Close, Step::Rename}) {
        TempDir dir;
        std::string path = dir.file("preferences.plist");
        {
            PreferencesStore store(path);
            NumbrelAppDelegate app(pinnedEnvironment(), store);
            app.applicationDidFinishLaunching();
            ASSERT_FALSE(app.saveSettings());
        }
        std::string before = readFile(path);
        FailingOps ops(step);
        PreferencesStore store(path, ops);
        NumbrelAppDelegate app(pinnedEnvironment(), store);
        app.applicationDidFinishLaunching();
        app.settings().set("email", "someone@example.org");
        std::optional<std::string> error = app.saveSettings();
        EXPECT_TRUE(error.has_value()) << static_cast<int>(step);
        EXPECT_EQ(readFile(path), before) << static_cast<int>(step);
        EXPECT_EQ(filesIn(dir.path()), 1u) << "temporary file left behind, step " << static_cast<int>(step);
    }
}

TEST(PreferencesStore, AFailedSaveIsRetriedByTheNextOne) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    FailingOps ops(FailingOps::Step::Rename);
    PreferencesStore store(path, ops);
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    EXPECT_TRUE(app.saveSettings().has_value());
    EXPECT_FALSE(std::filesystem::exists(path));
    ops.heal();
    EXPECT_FALSE(app.saveSettings().has_value());
    PlistResult written = readBinaryPlist(readFile(path));
    ASSERT_TRUE(written.ok());
    EXPECT_EQ(metersOf(written.value)->size(), 3u);
}

TEST(PreferencesStore, UnreadableFileIsMovedAsideAndReported) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    const std::string garbage = "bplist00 this is not a property list at all, not at all, not at all";
    writeFile(path, garbage);
    PreferencesStore store(path);
    NumbrelAppDelegate app(pinnedEnvironment("en_GB", "Europe/London", "2026-11-22T20:36:44Z"), store);
    app.applicationDidFinishLaunching();
    std::vector<Alert> alerts = app.takeAlerts();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].title, "Warning!");
    std::string aside = path + ".unreadable-20261122-203644";
    EXPECT_EQ(app.storeReport().movedAside, aside);
    EXPECT_EQ(readFile(aside), garbage);
    EXPECT_EQ(metersOf(app.settings())->size(), 3u);  // a new document
    ASSERT_FALSE(app.saveSettings());
    EXPECT_EQ(readFile(aside), garbage);
    EXPECT_TRUE(readBinaryPlist(readFile(path)).ok());
}

TEST(PreferencesStore, FileThatCannotBeMovedIsNeverOverwritten) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    writeFile(path, "<plist><broken>");
    FailingOps ops(FailingOps::Step::Rename);  // the move aside fails too
    PreferencesStore store(path, ops);
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    EXPECT_EQ(app.storeReport().movedAside, "");
    EXPECT_FALSE(app.storeReport().problem.empty());
    EXPECT_TRUE(app.saveSettings().has_value());
    EXPECT_EQ(readFile(path), "<plist><broken>");
}

TEST(PreferencesStore, ReadsXmlStores) {
    TempDir dir;
    std::string path = dir.file("preferences.plist");
    writeFile(path, R"(<?xml version="1.0"?><plist version="1.0"><dict>
        <key>settings</key><array><dict><key>name</key><string>Heat</string><key>enabled</key><integer>1</integer>
        <key>units</key><string>MWh</string></dict></array>
        <key>theme</key><integer>2</integer></dict></plist>)");
    PreferencesStore store(path);
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    ASSERT_EQ(metersOf(app.settings())->size(), 1u);
    EXPECT_EQ(stringOf((*metersOf(app.settings()))[0], "name"), "Heat");
    EXPECT_EQ(integerOf(app.settings(), "theme"), 2);
}

TEST(PreferencesStore, RegisteredDefaultsAnswerForUnsavedKeys) {
    TempDir dir;
    PreferencesStore store(dir.file("p.plist"));
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    ASSERT_NE(store.value("version"), nullptr);
    EXPECT_EQ(store.value("version")->toInteger(), 420);
    EXPECT_FALSE(store.holds("version"));
    EXPECT_EQ(store.value("nothing"), nullptr);
}

TEST(AppDelegate, LeavingAndReturningWithoutEditsMakesNoSecondBackup) {
    TempDir dir;
    PreferencesStore store(dir.file("p.plist"));
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    int backups = 0, reloads = 0;
    test::FakeNotifier notifier;
    app.setNotifier(&notifier);
    NumbrelAppDelegate::Hooks hooks;
    hooks.hasDocumentCloud = [] { return true; };
    hooks.cloudBackup = [&] { ++backups; };
    hooks.postNotification = [&](const std::string& name) { reloads += name == "ReloadSettings"; };
    app.setHooks(hooks);
    app.applicationDidFinishLaunching();
    app.settings().set("icloud", true);
    app.settings().set("autobackup", true);
    app.settings().set("black", true);  // a change the fingerprint sees

    ASSERT_FALSE(app.applicationDidEnterBackground());
    EXPECT_EQ(backups, 1);
    EXPECT_EQ(notifier.plans, 0);    // "reminders" is "Off"
    EXPECT_EQ(notifier.cancels, 1);  // at start
    EXPECT_EQ(app.md5(), "");
    app.applicationWillEnterForeground();
    EXPECT_EQ(reloads, 1);
    EXPECT_EQ(app.md5(), app.MD5StringOfSettings());
    ASSERT_FALSE(app.applicationDidEnterBackground());
    EXPECT_EQ(backups, 1);

    app.applicationWillEnterForeground();
    app.settings().set("graph", true);  // view state only: still no backup
    ASSERT_FALSE(app.applicationDidEnterBackground());
    EXPECT_EQ(backups, 1);

    app.applicationWillEnterForeground();
    app.settings().set("reminders", "Daily");
    ASSERT_FALSE(app.applicationDidEnterBackground());
    EXPECT_EQ(backups, 2);
    EXPECT_EQ(notifier.plans, 1);
    EXPECT_EQ(notifier.planned.size(), 7u);
    EXPECT_EQ(notifier.cancels, 4);  // at start and on each return

    // A notifier that fails or throws never fails the save; what it said is kept.
    app.applicationWillEnterForeground();
    notifier.failure = "systemctl is not there";
    EXPECT_FALSE(app.applicationDidEnterBackground());
    EXPECT_EQ(app.reminderProblem(), "systemctl is not there");
    app.applicationWillEnterForeground();
    notifier.throws = true;
    EXPECT_FALSE(app.applicationDidEnterBackground());
    EXPECT_EQ(app.reminderProblem(), "the notification service went away");
    EXPECT_TRUE(store.value("reminders") && store.value("reminders")->string() == "Daily");
}

TEST(AppDelegate, RestoreKeepsTheNeverAskForAReviewState) {
    TempDir dir;
    PreferencesStore store(dir.file("p.plist"));
    NumbrelAppDelegate app(pinnedEnvironment(), store);
    app.applicationDidFinishLaunching();
    app.settings().set("review", kDistantFuture);
    Value restored = newDocument();
    restored.set("review", Date{0.0});
    restored.set("tour", false);
    restored.set("version", 331);
    app.setSettings(restored);
    EXPECT_EQ(app.settings().find("review")->date(), kDistantFuture);
    EXPECT_TRUE(app.takeAlerts().empty());  // no "Help and Support" for a restored document
    EXPECT_EQ(app.md5(), app.MD5StringOfSettings());
}

}  // namespace
}  // namespace numbrel
