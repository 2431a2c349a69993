#include "exchange/export_import.h"

#include <gtest/gtest.h>

#include "exchange/backup_view_controller.h"
#include "plist/description.h"
#include "readings/csv_export.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

// A household in a given locale: a one-register meter, a Day/Night meter with a name that makes the
// export UTF-16, a three-register generation meter and a meter without readings. Readings carry
// fractions of a second, values finer than their dials, and the two instants in the hour the clocks
// go back that read the same on the wall.
class Household {
public:
    explicit Household(const std::string& locale)
        : store_(dir_.file("p.plist")), app_(test::pinnedEnvironment(locale), store_) {
        app_.applicationDidFinishLaunching();
        Value& gas = meter(1);
        gas.set("name", "Gaz Économie");
        gas.set("enabled", 2);
        gas.set("economy7", 2);
        Value& water = meter(2);
        water.set("name", "Roof");
        water.set("type", "Solar");
        water.set("enabled", 3);
        water.set("precision", 2);
        meters().push_back(Value::makeDictionary({{"name", "Spare"}}));
        app_.setSettings(Value(app_.settings()));
        app_.takeAlerts();
        add(0, "2026-09-20T09:00:00.250Z", {800.04});
        add(0, "2026-10-25T00:30:00.5Z", {950.0});    // 01:30 BST
        add(0, "2026-10-25T01:30:00.75Z", {951.25});  // 01:30 GMT, an hour later
        add(0, "2026-11-20T08:00:59.999Z", {1234.5});
        add(1, "2026-10-01T10:30:00Z", {400.0, 120.3});
        add(1, "2026-11-01T09:30:00Z", {450.6, 130.0});
        add(2, "2026-06-01T12:00:00Z", {10.0, 20.0, 30.0});
        add(2, "2026-07-01T12:00:00Z", {15.5, 24.25, 31.0});
    }

    NumbrelAppDelegate& app() { return app_; }
    Array& meters() { return *metersOf(app_.settings()); }
    Value& meter(int i) { return meters()[static_cast<std::size_t>(i)]; }
    // Adds a reading in date order (newest first).
    void add(int m, const char* when, std::vector<double> values) {
        Array list;
        for (double v : values)
            list.emplace_back(v);
        while (list.size() < 3)
            list.emplace_back(0.0);
        Value* readings = meter(m).find("readings");
        if (!readings) readings = &meter(m).set("readings", Value::emptyArray());
        Array& a = readings->array();
        Date d = at(when);
        auto pos =
            std::find_if(a.begin(), a.end(), [&](const Value& r) { return r.find("date")->date() < d; });
        a.insert(pos, Value::makeDictionary({{"date", d}, {"reading", Value(std::move(list))}}));
    }
    std::string exported(std::optional<int> meter) {
        return exportCsv(app_.settings(), app_.engine(), app_.formatter(), meter).bytes;
    }
    // Reads bytes back into the document; answers the verification's message when it is refused.
    std::string readBack(const std::string& bytes) {
        CsvVerification v = verifyExport(bytes, app_.settings(), app_.environment(), app_.formatter());
        if (v.outcome != CsvVerification::Outcome::Verified) return v.alert(0).title + ": " + v.message;
        mergeExport(app_.settings(), v.rows, app_.formatter());
        return "";
    }

private:
    test::TempDir dir_;
    PreferencesStore store_;
    NumbrelAppDelegate app_;
};

class ExportRoundTrip : public ::testing::TestWithParam<const char*> {};

TEST_P(ExportRoundTrip, AnExportReadBackChangesNothing) {
    Household home(GetParam());
    const Value before = home.app().settings();
    std::string all = home.exported(std::nullopt);
    ASSERT_EQ(all.substr(0, 2), "\xFF\xFE");  // "Économie" needs UTF-16
    EXPECT_EQ(home.readBack(all), "");
    EXPECT_EQ(description(home.app().settings()), description(before)) << "an export of every meter";
    for (int m = 0; m < 3; ++m) {
        EXPECT_EQ(home.readBack(home.exported(m)), "");
        EXPECT_EQ(home.app().settings(), before) << "an export of meter " << m;
    }
}

// en_US_POSIX is what a C.UTF-8 environment runs in.
INSTANTIATE_TEST_SUITE_P(Locales, ExportRoundTrip,
                         ::testing::Values("en_GB", "en_US", "de_DE", "en_US_POSIX"));

TEST(ExportImport, EditsInASpreadsheetComeBack) {
    Household home("en_GB");
    // A new reading, a changed value and (dropped in the spreadsheet) no total columns.
    std::string edited =
        "\"Meter\",\"Date\",\"Reading\",\"Daily Usage\",\"Daily Cost\",\"Total Usage\",\"Total Cost\"\r\n"
        "\"Electricity\",\"22/11/2026, 09:15:00\",\"1300.0\",\"0\",\"0\",\"0\",\"0\"\r\n"
        "\"Electricity\",\"20/09/2026, 10:00:00\",\"805.0\"\r\n";
    EXPECT_EQ(home.readBack(edited), "");
    const Array& readings = home.meter(0).find("readings")->array();
    ASSERT_EQ(readings.size(), 5u);
    EXPECT_EQ(readings[0].find("date")->date(), at("2026-11-22T09:15:00Z"));
    EXPECT_EQ(readings[0].find("reading")->array(), (Array{1300.0, 0.0, 0.0}));
    EXPECT_EQ(readings[4].find("reading")->array()[0].real(), 805.0);
    EXPECT_EQ(readings[4].find("date")->date(), at("2026-09-20T09:00:00.250Z"));  // the date as it was
}

TEST(ExportImport, WhatIsRefusedAndWhy) {
    Household home("en_GB");
    const Value before = home.app().settings();
    const std::string header =
        "\"Meter\",\"Date\",\"Reading\",\"Daily Usage\",\"Daily Cost\",\"Total Usage\",\"Total Cost\"\r\n";
    struct Case {
        const char* name;
        std::string file;
        std::string verdict;
    };
    for (const Case& c : {
             Case{"the CSV import's own layout",
                  "Meter,Date,Reading 1,Reading 2,Reading 3\r\nGas,01/11/2026 09:30,1,0,0\r\n",
                  "CSV File Corrupt: This file is not a Numbrel CSV export"},
             Case{"a date that does not exist",
                  header + "\"Electricity\",\"31/02/2026, 08:00:00\",\"1.0\"\r\n",
                  "CSV File Corrupt: Row 1, invalid date format"},
             Case{"a date in another locale's form",
                  header + "\"Electricity\",\"2/20/26, 8:00:00 AM\",\"1.0\"\r\n",
                  "CSV File Corrupt: Row 1, invalid date format"},
             Case{"a decimal comma in en_GB",
                  header + "\"Electricity\",\"20/02/2026, "
                           "08:00:00\",\"1.0\"\r\n\"Electricity\",\"21/02/2026, 08:00:00\",\"12,5\"\r\n",
                  "CSV File Corrupt: Row 2, invalid reading 1"},
             Case{"an unknown meter", header + "\"Heat\",\"20/02/2026, 08:00:00\",\"1.0\"\r\n",
                  "CSV File Corrupt: Row 1, meter not found"},
             Case{"a missing reading column", header + "\"Electricity\",\"20/02/2026, 08:00:00\"\r\n",
                  "CSV File Corrupt: Row 1, incorrect column count (should be 7)"},
             Case{"nothing after the header", header, "CSV File Empty?: "},
             Case{"bytes that are no text", std::string("\xFF\xFE\x41", 3),
                  "CSV File Corrupt: This file is not a Numbrel CSV export"},
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(home.readBack(c.file), c.verdict);
        EXPECT_EQ(home.app().settings(), before);
    }
}

TEST(ExportImport, TheHeaderLineTellsTheLayout) {
    Household home("en_GB");
    for (int m = 0; m < 3; ++m)
        ASSERT_TRUE(exportLayout(home.exported(m))) << m;
    EXPECT_EQ(exportLayout(home.exported(0))->readingColumns, 1);
    EXPECT_EQ(exportLayout(home.exported(1))->readingColumns, 2);  // "Day","Night", in UTF-16
    EXPECT_EQ(exportLayout(home.exported(2))->readingColumns, 3);
    std::string all = home.exported(std::nullopt);
    ASSERT_TRUE(exportLayout(all.substr(0, 400)));  // the start of a file is enough
    EXPECT_EQ(exportLayout(all.substr(0, 400))->readingColumns, 3);
    ASSERT_TRUE(exportLayout(all.substr(0, 401)));   // even cut inside a character
    EXPECT_FALSE(exportLayout(all.substr(0, 100)));  // but not inside the header line
    EXPECT_FALSE(exportLayout("Meter,Date,Reading 1,Reading 2,Reading 3\r\n"));
    EXPECT_FALSE(exportLayout(
        "\"Meter\",\"Date\",\"Reading 2\",\"Daily Usage\",\"Daily Cost\",\"Total Usage\",\"Total Cost\""));
    EXPECT_FALSE(exportLayout(""));
}

TEST(ExportImport, TheBackupsScreenOffersItForExportsOnly) {
    Household home("en_GB");
    test::TempDir docs;
    test::writeFile(docs.file("electricity.csv"), home.exported(0));
    test::writeFile(docs.file("plain.csv"), "Electricity,21/11/2026 08:00,1300,0,0\r\n");
    test::FakeNavigator nav;
    BackupViewController screen(home.app(), nav, docs.path().string());
    auto menuOf = [&](const std::string& file) {
        const auto& names = screen.backups();
        screen.selectRow(2, static_cast<int>(std::find(names.begin(), names.end(), file) - names.begin()));
        return nav.alerts.back().buttons;
    };
    EXPECT_EQ(menuOf("plain.csv"), (std::vector<std::string>{"Import CSV File", "Cancel"}));
    std::vector<std::string> menu = menuOf("electricity.csv");
    EXPECT_EQ(menu, (std::vector<std::string>{"Import CSV File", "Import Numbrel Export", "Cancel"}));
    // The edited export: one new reading.
    test::writeFile(docs.file("electricity.csv"),
                    home.exported(0) + "\"Electricity\",\"22/11/2026, 09:15:00\",\"1300.0\"\r\n");
    menuOf("electricity.csv");
    screen.answerAlert(BackupViewController::kFileMenuTag, 1);
    EXPECT_EQ(nav.alerts.back().title, "CSV File Verified");
    EXPECT_EQ(nav.alerts.back().message, "5 readings");
    screen.answerAlert(BackupViewController::kImportTag, 1);
    EXPECT_EQ(nav.alerts.back().title, "Readings Imported");
    EXPECT_EQ(home.meter(0).find("readings")->array().size(), 5u);
}

}  // namespace
}  // namespace numbrel
