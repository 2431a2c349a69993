#include "exchange/backup.h"

#include <gtest/gtest.h>

#include "plist/binary_plist.h"
#include "plist/keyed_archive.h"
#include "support/app_fixture.h"

namespace numbrel {
namespace {

using test::at;

class Backups : public test::AppFixture {
protected:
    std::string backupNow() {
        NumbrelAppDelegate::Backup b = app_.localBackup(dir_.file("Documents"));
        EXPECT_FALSE(b.error) << *b.error;
        return test::readFile(dir_.file("Documents/" + b.name));
    }
    // An archive of a document with "hash" set to the description's hash plus offset.
    static std::string withHash(Value doc, std::int64_t offset) {
        doc.set("hash", static_cast<std::int64_t>(documentDigests(doc).hash) + offset);
        return writeKeyedArchive(doc);
    }
};

TEST_F(Backups, MadeAndRestoredOnTheSameSystem) {
    meter()
        .find("readings")
        ->array()
        .push_back(Value::makeDictionary(
            {{"date", at("2026-11-01T08:00:00Z")}, {"reading", Value(Array{12.5, 0.0, 0.0})}}));
    std::string bytes = backupNow();
    EXPECT_EQ(stringOf(app_.settings(), "filename"),
              "nb20261122@120000.bak");              // local time, London in winter
    EXPECT_FALSE(app_.settings().contains("hash"));  // only in the file
    EXPECT_EQ(app_.md5(), app_.MD5StringOfSettings());

    RestoreCheck check = checkBackup(bytes, integerOf(app_.settings(), "version"));
    ASSERT_EQ(check.outcome, RestoreOutcome::Restored) << check.reason;
    EXPECT_EQ(check.document, app_.settings());
}

// A backup made with this version: its hash and its restore must never change, or every backup a
// household has made becomes an "Old Backup?".
TEST(BackupKnownAnswer, ABackupMadeEarlierStillRestores) {
    std::string bytes = test::readFile(test::dataPath("backup/known-answer.bak"));
    RestoreCheck check = checkBackup(bytes, 420);
    ASSERT_EQ(check.outcome, RestoreOutcome::Restored) << check.reason;
    EXPECT_EQ(documentDigests(check.document).hash + 1u, 1027022399u);
    EXPECT_EQ(check.fingerprint, "a65087e167f8f4e8aa53bfed25896197");  // the change fingerprint, as well
    EXPECT_EQ(stringOf(check.document, "filename"), "nb20261122@120000.bak");
    EXPECT_EQ(metersOf(check.document)->size(), 2u);
}

TEST_F(Backups, ALargeHouseholdComesBackWhole) {
    // Three meters with ten years of daily readings each, notes in several scripts, a rate change.
    for (int m = 0; m < 3; ++m) {
        Array& readings = *arrayOf(meter(m), "readings");
        for (int day = 3650; day > 0; --day)
            readings.push_back(
                Value::makeDictionary({{"date", Date{800000000.0 - 86400.0 * (3650 - day)}},
                                       {"reading", Value(Array{day * 1.7 + m, day * 0.1, 0.0})},
                                       {"ticked", day % 30 == 0}}));
        meter(m).set("notes", "m³ / 電気 / \"quoted\"\nsecond line");
    }
    meter(0).set("previous",
                 Value(Array{Value::makeDictionary({{"to", Date{700000000.0}}, {"fixed", 0.25}})}));
    const std::string bytes = backupNow();
    const Value before = app_.settings();
    meter(1).set("name", "Changed");
    RestoreCheck check = checkBackup(bytes, integerOf(app_.settings(), "version"));
    ASSERT_EQ(check.outcome, RestoreOutcome::Restored) << check.reason;
    app_.setSettings(std::move(check.document), check.fingerprint);
    EXPECT_EQ(app_.settings(), before);
    // The fingerprint taken while checking stands for the restored document.
    EXPECT_EQ(app_.md5(), app_.MD5StringOfSettings());
}

TEST_F(Backups, AFingerprintOfADocumentThatNeedsRepairIsNotKept) {
    Value old = app_.settings();
    old.erase("average");  // validation puts it back
    meter().erase("tax");
    old.find("settings")->array()[0] = meter();
    RestoreCheck check = checkBackup(withHash(old, 1), integerOf(app_.settings(), "version"));
    ASSERT_EQ(check.outcome, RestoreOutcome::Restored) << check.reason;
    EXPECT_EQ(check.fingerprint, MD5StringOfSettings(old));
    app_.setSettings(std::move(check.document), check.fingerprint);
    EXPECT_TRUE(app_.settings().contains("average"));
    EXPECT_EQ(app_.md5(), app_.MD5StringOfSettings());
    EXPECT_NE(app_.md5(), MD5StringOfSettings(old));
}

TEST_F(Backups, TheHashDecidesBetweenGenuineOldAndCorrupt) {
    const std::int64_t version = integerOf(app_.settings(), "version");
    const Value& doc = app_.settings();
    auto outcome = [&](const std::string& bytes) { return checkBackup(bytes, version).outcome; };
    EXPECT_EQ(outcome(withHash(doc, 1)), RestoreOutcome::Restored);
    EXPECT_EQ(outcome(withHash(doc, 1 + (std::int64_t{1} << 32))),
              RestoreOutcome::Restored);                            // wraps at 2^32
    EXPECT_EQ(outcome(withHash(doc, 0)), RestoreOutcome::Corrupt);  // a hash copied from its own text
    EXPECT_EQ(outcome(withHash(doc, 2)), RestoreOutcome::Corrupt);
    EXPECT_EQ(outcome(withHash(doc, -1)), RestoreOutcome::Restored);  // the distance, either way
    EXPECT_EQ(outcome(withHash(doc, 3)), RestoreOutcome::OldBackup);
    EXPECT_EQ(outcome(withHash(doc, 1000000)), RestoreOutcome::OldBackup);
    Value partial = doc;
    partial.erase("landscape");
    EXPECT_EQ(outcome(withHash(partial, 3)), RestoreOutcome::Corrupt);  // not a whole document
    // A newer version is refused before the hash is looked at.
    Value newer = doc;
    newer.set("version", version + 1);
    EXPECT_EQ(outcome(withHash(newer, 0)), RestoreOutcome::TooNew);
    Value noHash = doc;
    EXPECT_EQ(outcome(writeKeyedArchive(noHash)), RestoreOutcome::Corrupt);
    EXPECT_EQ(outcome("not a backup"), RestoreOutcome::Corrupt);
    EXPECT_EQ(outcome(writeBinaryPlist(doc)), RestoreOutcome::Corrupt);  // a plain plist is no archive
}

// A hand-made archive: top-level keys around the given objects, root = object 1.
std::string archive(Array objects, const char* archiver = "NSKeyedArchiver") {
    return writeBinaryPlist(Value::makeDictionary({{"$archiver", archiver},
                                                   {"$version", 100000},
                                                   {"$top", Value::makeDictionary({{"root", Value::uid(1)}})},
                                                   {"$objects", Value(std::move(objects))}}));
}

Value cls(const char* name) {
    return Value::makeDictionary({{"$classname", name}, {"$classes", Value(Array{name, "NSObject"})}});
}

Value arrayOf(std::initializer_list<std::uint64_t> refs, std::uint64_t classRef) {
    Array uids;
    for (std::uint64_t r : refs)
        uids.push_back(Value::uid(r));
    return Value::makeDictionary({{"NS.objects", Value(std::move(uids))}, {"$class", Value::uid(classRef)}});
}

TEST(KeyedArchive, RoundTripsEveryKindOfValue) {
    Value doc = Value::makeDictionary(
        {{"$null", "$null"},  // the placeholder's text as a value of its own
         {"when", Date{415696502.5}},
         {"blob", Value(Data{0, 1, 255})},
         {"numbers", Value(Array{0, -1, 1.5, -0.0, true, false, std::int64_t{1} << 40})},
         {"text", "m³ 電気"},
         {"nested", Value(Array{Value::emptyDictionary(), Value::emptyArray()})}});
    PlistResult back = readKeyedArchive(writeKeyedArchive(doc));
    ASSERT_TRUE(back.ok()) << back.error;
    EXPECT_EQ(back.value, doc);
}

TEST(KeyedArchive, ASlotIsFilledAfterwardsAndSharesNothing) {
    // Numbers equal to the slot's placeholder and to what goes in stay as they are.
    const Value doc = Value::makeDictionary(
        {{"a", 0}, {"b", 123456789}, {"nested", Value::makeDictionary({{"hash", 0}, {"n", -1}})}});
    for (std::int64_t filled :
         {std::int64_t{123456789}, std::int64_t{0}, std::int64_t{-5}, std::int64_t{1} << 40}) {
        SlottedArchive archive = writeKeyedArchive(doc, "hash");
        archive.fill(filled);
        PlistResult back = readKeyedArchive(archive.bytes);
        ASSERT_TRUE(back.ok()) << back.error;
        Value expected = doc;
        expected.set("hash", filled);
        EXPECT_EQ(back.value, expected) << filled;
        EXPECT_TRUE(readBinaryPlist(archive.bytes).ok());  // still a well-formed property list
    }
}

TEST(KeyedArchive, RefusesWhatNoArchiverWrites) {
    auto error = [](const std::string& bytes) { return readKeyedArchive(bytes).error; };
    EXPECT_EQ(error(archive({"$null", arrayOf({2}, 3), "x", cls("NSArray")})), "");
    EXPECT_NE(error(archive({"$null", arrayOf({2}, 3), "x", cls("NSArray")}, "Other")), "");
    EXPECT_NE(error(archive({"$null", arrayOf({9}, 2), cls("NSArray")})), "");     // dangling
    EXPECT_NE(error(archive({"$null", arrayOf({1}, 2), cls("NSArray")})), "");     // itself
    EXPECT_NE(error(archive({"$null", arrayOf({0}, 2), cls("NSArray")})), "");     // $null
    EXPECT_NE(error(archive({"$null", arrayOf({2}, 3), "x", cls("NSURL")})), "");  // a class never written
    EXPECT_NE(error(archive({"$null", arrayOf({2}, 2), cls("NSArray")})), "");     // a class as a value
    EXPECT_NE(error(archive({"$null", arrayOf({2}, 9), "x"})), "");                // no class
    Value badDictionary = Value::makeDictionary({{"NS.keys", Value(Array{Value::uid(3)})},
                                                 {"NS.objects", Value::emptyArray()},
                                                 {"$class", Value::uid(2)}});
    EXPECT_NE(error(archive({"$null", badDictionary, cls("NSDictionary"), "k"})), "");

    // Nesting deeper than 512 arrays.
    Array deep{"$null"};
    for (std::uint64_t i = 1; i <= 600; ++i)
        deep.push_back(arrayOf({i + 1}, 602));
    deep.push_back("leaf");
    deep.push_back(cls("NSArray"));
    EXPECT_NE(error(archive(deep)), "");

    // Sixty arrays each holding the next one twice: 2^60 values once unfolded. Refused at once.
    Array shared{"$null"};
    for (std::uint64_t i = 1; i <= 60; ++i)
        shared.push_back(arrayOf({i + 1, i + 1}, 62));
    shared.push_back("leaf");
    shared.push_back(cls("NSArray"));
    EXPECT_NE(error(archive(shared)), "");
}

TEST(KeyedArchive, ALargeArchiveTellsTheFirstDamagedMeter) {
    // Eight meters of three thousand distinct numbers. Damage in two meters is reported as the first
    // damaged meter's.
    Array meters;
    for (int m = 0; m < 8; ++m) {
        Array numbers;
        for (int k = 0; k < 3000; ++k)
            numbers.push_back(m * 10000.0 + k + 0.5);
        meters.push_back(
            Value::makeDictionary({{"name", "M" + std::to_string(m)}, {"v", Value(std::move(numbers))}}));
    }
    const Value doc = Value::makeDictionary({{"settings", Value(std::move(meters))}, {"version", 420}});
    const std::string bytes = writeKeyedArchive(doc);
    PlistResult whole = readKeyedArchive(bytes);
    ASSERT_TRUE(whole.ok()) << whole.error;
    EXPECT_EQ(whole.value, doc);

    PlistResult plain = readBinaryPlist(bytes);
    ASSERT_TRUE(plain.ok());
    const Array& objects = plain.value.find("$objects")->array();
    auto object = [&](const Value& uid) -> const Value& { return objects[uid.uidValue()]; };
    auto member = [&](const Value& dict, std::string_view key) -> const Value& {
        const Array& keys = dict.find("NS.keys")->array();
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (object(keys[i]).toString() == key) return dict.find("NS.objects")->array()[i];
        ADD_FAILURE() << "no " << key;
        return dict;
    };
    const Value& root = object(*plain.value.find("$top")->find("root"));
    const Array& meterUids = object(member(root, "settings")).find("NS.objects")->array();
    // Meter m made into an object of a class no backup holds, or given a reference past the objects.
    auto damaged = [&](std::initializer_list<int> foreign, std::initializer_list<int> dangling) {
        Value copy = plain.value;
        Array& all = copy.find("$objects")->array();
        all.push_back(cls("NSURL"));
        for (int m : foreign)
            all[meterUids[static_cast<std::size_t>(m)].uidValue()].set("$class", Value::uid(all.size() - 1));
        for (int m : dangling)
            all[meterUids[static_cast<std::size_t>(m)].uidValue()].find("NS.objects")->array()[0] =
                Value::uid(999999);
        return readKeyedArchive(writeBinaryPlist(copy)).error;
    };
    const std::string foreign6 = damaged({6}, {}), dangling6 = damaged({}, {6});
    ASSERT_NE(foreign6, "");
    ASSERT_NE(dangling6, "");
    ASSERT_NE(foreign6, dangling6);
    EXPECT_EQ(damaged({6}, {7}), foreign6);
    EXPECT_EQ(damaged({7}, {6}), dangling6);
    EXPECT_EQ(damaged({1}, {6}), damaged({1}, {}));
}

TEST(BackupNames, ListingAndRetention) {
    EXPECT_TRUE(isBackupName("nb20140305@071502.bak"));
    for (const char* bad : {"nb20140305@071502.BAK", "nb2014030@0715020.bak", "xb20140305@071502.bak",
                            "nb20140305@071502.bak.csv", "nb2014030a@071502.bak"})
        EXPECT_FALSE(isBackupName(bad)) << bad;

    EXPECT_EQ(listBackups({"nb20240101@000000.bak", "readings.csv", "NB20250101@000000.bak"},
                          {"nb20260101@000000.bak", "readings.csv"}),
              (std::vector<std::string>{"readings.csv", "nb20260101@000000.bak", "NB20250101@000000.bak",
                                        "nb20240101@000000.bak"}));

    std::vector<std::string> cloud{"nb20260104@000000.bak", "nb20260101@000000.bak", "notes.txt",
                                   "nb20260103@000000.bak", "nb20260102@000000.bak"};
    std::vector<std::string> local{"nb20260104@000000.bak", "nb20251201@000000.bak", "mine.csv",
                                   "nb20260102@000000.bak"};
    Retention r = retention(cloud, local);
    EXPECT_EQ(r.deleteFromCloud, (std::vector<std::string>{"nb20260101@000000.bak"}));
    EXPECT_EQ(r.deleteLocally, (std::vector<std::string>{"nb20251201@000000.bak"}));
    // Fewer than three in the cloud: nothing goes anywhere.
    r = retention({"nb20260104@000000.bak", "nb20260103@000000.bak"}, local);
    EXPECT_TRUE(r.deleteFromCloud.empty() && r.deleteLocally.empty());
}

}  // namespace
}  // namespace numbrel
