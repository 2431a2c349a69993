#include "exchange/csv_import.h"

#include <gtest/gtest.h>

#include <random>

#include "store/calendar.h"
#include "support/app_fixture.h"

namespace numbrel {
namespace {

using test::at;
using Lines = std::vector<std::vector<std::string>>;

Lines tokenize(std::string_view text) {
    Lines out;
    tokenizeCsv(text, [&](std::vector<std::string_view>& fields) {
        out.emplace_back(fields.begin(), fields.end());
        return true;
    });
    return out;
}

TEST(CsvTokenizer, QuotesCommasAndLineEnds) {
    EXPECT_EQ(tokenize("a,b,c\nd,e"), (Lines{{"a", "b", "c"}, {"d", "e"}}));
    EXPECT_EQ(tokenize("\"Gas, upstairs\",1\r\n\r\n\n2,3\n"), (Lines{{"Gas, upstairs", "1"}, {"2", "3"}}));
    EXPECT_EQ(tokenize("\"say \"\"hi\"\"\",x"), (Lines{{"say \"hi\"", "x"}}));
    EXPECT_EQ(tokenize("\"two\nlines\",x"), (Lines{{"two\nlines", "x"}}));
    EXPECT_EQ(tokenize("a,  \tb, c "), (Lines{{"a", "b", "c "}}));  // spaces after a comma only
    EXPECT_EQ(tokenize("a,,c,"), (Lines{{"a", "", "c"}}));          // the empty last field is not counted
    EXPECT_EQ(tokenize("a\xC2\x85"
                       "b\xE2\x80\xA8"
                       "c"),
              (Lines{{"a"}, {"b"}, {"c"}}));         // NEL and LINE SEPARATOR
    EXPECT_EQ(tokenize("\nx"), (Lines{{}, {"x"}}));  // a leading line end ends an empty line
    EXPECT_EQ(tokenize(""), Lines{});

    std::string longField = "a," + std::string(kMaxCsvFieldBytes + 1, 'x');
    EXPECT_EQ(tokenizeCsv(longField, [](std::vector<std::string_view>&) { return true; }),
              CsvStop::FieldTooLong);
    std::string longLine;
    while (longLine.size() <= kMaxCsvLineBytes)
        longLine += std::string(1000, 'y') + ",";
    EXPECT_EQ(tokenizeCsv(longLine, [](std::vector<std::string_view>&) { return true; }),
              CsvStop::LineTooLong);
}

std::optional<std::string> decodeCsvText(std::string_view bytes) {
    std::string storage;
    std::optional<std::string_view> text = numbrel::decodeCsvText(bytes, storage);
    return text ? std::optional<std::string>(std::string(*text)) : std::nullopt;
}

TEST(CsvText, EncodingsThatComeIn) {
    EXPECT_EQ(decodeCsvText("a,b"), "a,b");
    EXPECT_EQ(decodeCsvText("\xEF\xBB\xBFGas m\xC2\xB3"), "Gas m\xC2\xB3");
    EXPECT_EQ(decodeCsvText(std::string("\xFF\xFEG\0a\0s\0", 8)), "Gas");  // UTF-16 little-endian
    EXPECT_EQ(decodeCsvText(std::string("\xFE\xFF\0G\0a\0s", 8)), "Gas");  // and big-endian
    EXPECT_FALSE(decodeCsvText("caf\xE9"));                                // Latin-1 is none of them
    EXPECT_FALSE(decodeCsvText(std::string("\xFF\xFEG", 3)));              // half a UTF-16 unit
}

class CsvDates : public ::testing::Test {
protected:
    Environment env_ = test::pinnedEnvironment();
    CsvDateReader reader_{env_};
};

TEST_F(CsvDates, WholeValidDatesInTheDeviceZone) {
    using F = CsvDateReader::Format;
    EXPECT_EQ(reader_.read("05/03/2024 08:15:30", F::Seconds), at("2024-03-05T08:15:30Z"));
    EXPECT_EQ(reader_.read("05/07/2024 08:15", F::Minutes), at("2024-07-05T07:15:00Z"));  // summer time
    EXPECT_EQ(reader_.read("29/02/2024", F::DateOnly), at("2024-02-29T00:00:00Z"));
    for (const char* bad :
         {"31/02/2024", "29/02/2023", "05/03/24", "00/03/2024", "05/13/2024", "05/03/2024x"})
        EXPECT_FALSE(reader_.read(bad, F::DateOnly)) << bad;
    EXPECT_FALSE(reader_.read("05/03/2024 08:15:30", F::Minutes));  // trailing text
    EXPECT_FALSE(reader_.read("05/03/2024 24:00", F::Minutes));
    EXPECT_FALSE(reader_.read("31/03/2024 01:30", F::Minutes));  // the clocks skip 01:00 to 02:00
    EXPECT_TRUE(reader_.read("31/03/2024 02:30", F::Minutes));
    EXPECT_TRUE(reader_.read("27/10/2024 01:30", F::Minutes));  // the repeated hour exists
    EXPECT_EQ(reader_.read("5/3/2024", F::DateOnly), reader_.readSlowly("5/3/2024", F::DateOnly));
}

TEST(CsvDatesFastPath, AgreesWithTheLocaleParserEverywhere) {
    std::mt19937 random(7);
    for (const char* zone : {"Europe/London", "America/New_York", "Australia/Lord_Howe", "Asia/Kolkata"}) {
        Environment env = test::pinnedEnvironment("en_GB", zone);
        CsvDateReader reader(env);
        for (int i = 0; i < 3000; ++i) {
            char text[32];
            // Days up to 31 in every month, and every hour: impossible dates and skipped times included.
            std::snprintf(text, sizeof text, "%02d/%02d/%04d %02d:%02d:%02d",
                          1 + static_cast<int>(random() % 31), 1 + static_cast<int>(random() % 12),
                          1995 + static_cast<int>(random() % 40), static_cast<int>(random() % 25),
                          static_cast<int>(random() % 60), static_cast<int>(random() % 60));
            for (auto f : {CsvDateReader::Seconds, CsvDateReader::Minutes, CsvDateReader::DateOnly}) {
                std::string t(text, f == CsvDateReader::Seconds ? 19 : f == CsvDateReader::Minutes ? 16 : 10);
                ASSERT_EQ(reader.read(t, f), reader.readSlowly(t, f)) << zone << " " << t;
            }
        }
    }
}

class CsvImport : public test::AppFixture {
protected:
    CsvVerification verify(const std::string& text) {
        return verifyCsv(text, app_.settings(), app_.environment(), ".");
    }
    std::string message(const std::string& text) {
        CsvVerification v = verify(text);
        EXPECT_EQ(v.outcome, CsvVerification::Outcome::Corrupt) << text;
        return v.message;
    }
    std::vector<double> firstValues(int m) {
        std::vector<double> out;
        for (const Value& r : *arrayOf(meter(m), "readings"))
            out.push_back(r.find("reading")->array()[0].toReal());
        return out;
    }
};

TEST_F(CsvImport, EachRowMessage) {
    EXPECT_EQ(message("Meter,Date,R1,R2,R3,Extra\n"), "Row 1, incorrect column count (should be 5)");
    EXPECT_EQ(message("Gas,05/03/2024,1,0,0\nGas,06/03/2024,1,0\n"),
              "Row 2, incorrect column count (should be 5)");
    EXPECT_EQ(message("Gas,05/03/2024,1,0,0\nGas,soon,1,0,0\n"), "Row 2, invalid date format");
    EXPECT_EQ(message("Gas,05/03/2024,,0,0\n"), "Row 1, invalid reading 1");
    EXPECT_EQ(message("Gas,05/03/2024,1,x,0\n"), "Row 1, invalid reading 2");
    EXPECT_EQ(message("Gas,05/03/2024,1,0,-\n"), "Row 1, invalid reading 3");
    EXPECT_EQ(message("gas,05/03/2024,1,0,0\n"), "Row 1, meter not found");  // names match exactly
    EXPECT_EQ(message("Gas,05/03/2024,1,0,0,5\n"), "Row 1, incorrect column count (should be 5)");
    EXPECT_EQ(message("Gas,05/03/2024,\"" + std::string(70000, '1') + "\",0,0\n"),
              "Row 1, a field is longer than 64 KB");

    EXPECT_EQ(verify("").outcome, CsvVerification::Outcome::Empty);
    EXPECT_EQ(verify("Meter,Date,R1,R2,R3\n,,,,,\n").outcome,
              CsvVerification::Outcome::Empty);  // five empty fields
    EXPECT_EQ(message(",,,,\n"),
              "Row 1, incorrect column count (should be 5)");  // four: the last is not counted
    EXPECT_EQ(verify("\xFF\xFF\xFF").alert(5).title, "CSV File Empty?");
    CsvVerification one =
        verify("Gas,05/03/2024 08:15,12.5kWh,0,0,,,\n");  // a leading number; empty columns after the fifth
    ASSERT_EQ(one.outcome, CsvVerification::Outcome::Verified) << one.message;
    EXPECT_EQ(one.rows[0].reading[0], 12.5);
    Alert a = one.alert(5);
    EXPECT_EQ(a.title, "CSV File Verified");
    EXPECT_EQ(a.message, "1 reading");
    EXPECT_EQ(a.buttons, (std::vector<std::string>{"Cancel", "Import"}));
    EXPECT_EQ(verify("Gas,05/03/2024,1,0,0\nGas,06/03/2024,2,0,0\n").alert(5).message, "2 readings");
}

TEST_F(CsvImport, ALargeFileSaysHowFarItHasComeAndCanBeStopped) {
    std::string file = "Meter,Date,Reading 1,Reading 2,Reading 3\n";
    for (int i = 0; i < 200000; ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "Gas,%02d/%02d/%d 10:%02d,%d,0,0\n", 1 + i % 28, 1 + i / 28 % 12,
                      2000 + i / 336 % 90, i % 60, i);
        file += line;
    }
    std::vector<double> seen;
    CsvVerification whole = verifyCsv(file, app_.settings(), app_.environment(), ".", [&](double done) {
        seen.push_back(done);
        return true;
    });
    ASSERT_EQ(whole.outcome, CsvVerification::Outcome::Verified) << whole.message;
    EXPECT_EQ(whole.rows.size(), 200000u);
    ASSERT_GE(seen.size(), 2u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_GT(seen.front(), 0.0);
    EXPECT_LE(seen.back(), 1.0);
    EXPECT_EQ(verify(file).rows.size(), whole.rows.size());  // saying so changes nothing
    int calls = 0;
    CsvVerification stopped = verifyCsv(file, app_.settings(), app_.environment(), ".", [&](double) {
        ++calls;
        return false;
    });
    EXPECT_EQ(stopped.outcome, CsvVerification::Outcome::Cancelled);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(stopped.rows.empty());
    EXPECT_EQ(stopped.alert(5).message, "The import was cancelled");
}

TEST_F(CsvImport, ReadingsReadExactly) {
    // Plain decimals take a quicker road than the general reader: both give the same doubles.
    std::mt19937_64 random(11);
    std::string file;
    std::vector<std::string> texts;
    for (int i = 0; i < 3000; ++i) {
        std::string digits = std::to_string(random() % 1000000000000000ull);
        std::size_t point = random() % (digits.size() + 1);
        std::string text =
            digits.substr(0, point) + (point < digits.size() ? "." + digits.substr(point) : "");
        if (i % 7 == 0) text += "e-3";  // and the general reader for exponents
        if (i % 5 == 0) text = "-" + text;
        texts.push_back(text);
        char date[16];
        std::snprintf(date, sizeof date, "%02d/01/2024", 1 + i % 28);
        file += "Gas," + std::string(date) + " 00:" + std::to_string(10 + i % 50) + "," + text + ",0,0\n";
    }
    CsvVerification v = verify(file);
    ASSERT_EQ(v.outcome, CsvVerification::Outcome::Verified) << v.message;
    for (std::size_t i = 0; i < texts.size(); ++i)
        ASSERT_EQ(v.rows[i].reading[0], std::strtod(texts[i].c_str(), nullptr)) << texts[i];
}

TEST_F(CsvImport, TheDateFormatsInTheirOrder) {
    // A header, then rows without seconds: the header is skipped and the format settles on minutes.
    CsvVerification v = verify(
        "Meter,Date,Reading 1,Reading 2,Reading 3\n"
        "Electricity,05/03/2024 08:15,100,0,0\n"
        "Electricity,06/03/2024 08:20,110,0,0\n");
    ASSERT_EQ(v.outcome, CsvVerification::Outcome::Verified) << v.message;
    EXPECT_EQ(v.rows[1].date, at("2024-03-06T08:20:00Z"));
    // After the header failed every format, a row with seconds fails them all again: refused at row 1.
    EXPECT_EQ(message("Meter,Date,Reading 1,Reading 2,Reading 3\nElectricity,05/03/2024 08:15:30,100,0,0\n"),
              "Row 1, invalid date format");
    // Without a header the first row picks the format, and later rows keep it.
    EXPECT_EQ(message("Electricity,05/03/2024,100,0,0\nElectricity,06/03/2024 08:15,110,0,0\n"),
              "Row 2, invalid date format");
    EXPECT_EQ(
        verify("Electricity,05/03/2024 08:15:30,100,0,0\nElectricity,06/03/2024 09:00:00,110,0,0\n").outcome,
        CsvVerification::Outcome::Verified);
    // A quoted name with a comma is one field.
    meter(1).set("name", "Gas, upstairs");
    EXPECT_EQ(verify("\"Gas, upstairs\",05/03/2024,1,0,0\n").rows.at(0).meter, 1);
}

TEST_F(CsvImport, ALargeMergeEqualsMergingInSmallSteps) {
    // Enough rows for the new readings to be made on two threads, in shuffled date order, with dates
    // that repeat and dates the meter already has; merged at once and in small steps (one thread).
    Array& readings = *arrayOf(meter(0), "readings");
    for (int day = 100; day > 0; --day)
        readings.push_back(Value::makeDictionary({{"date", Date{700000000.0 + 86400.0 * day * 7}},
                                                  {"reading", Value(Array{1.0 * day, 0.0, 0.0})}}));
    std::mt19937 random(3);
    std::vector<ImportRow> rows(150000);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].meter = static_cast<int>(random() % 2);
        rows[i].date = Date{700000000.0 + 3600.0 * static_cast<double>(random() % 150000)};
        rows[i].reading[0] = static_cast<double>(i);
    }
    Value atOnce = app_.settings();
    mergeRows(atOnce, rows);
    Value inSteps = app_.settings();
    for (std::size_t from = 0; from < rows.size(); from += 7000)
        mergeRows(inSteps, std::vector<ImportRow>(rows.begin() + static_cast<std::ptrdiff_t>(from),
                                                  rows.begin() + static_cast<std::ptrdiff_t>(
                                                                     std::min(rows.size(), from + 7000))));
    EXPECT_GT(arrayOf((*metersOf(atOnce))[0], "readings")->size(), 50000u);
    EXPECT_TRUE(atOnce == inSteps);
}

TEST_F(CsvImport, MergeReplacesTheSameDateAndKeepsTheOrder) {
    Array& readings = *arrayOf(meter(0), "readings");
    readings.push_back(Value::makeDictionary(
        {{"date", at("2024-03-07T00:00:00Z")}, {"reading", Value(Array{7.0, 0.0, 0.0})}}));
    readings.push_back(Value::makeDictionary(
        {{"date", at("2024-03-05T00:00:00Z")}, {"reading", Value(Array{5.0, 0.0, 0.0})}}));
    CsvVerification v = verify(
        "Electricity,06/03/2024,6,0,0\n"
        "Electricity,05/03/2024,50,1,2\n"  // replaces the 5th's values
        "Electricity,08/03/2024,8,0,0\n"
        "Electricity,04/03/2024,4,0,0\n"
        "Electricity,08/03/2024,80,0,0\n"  // a later row of the same date wins
        "Gas,01/01/2024,9,0,0\n");
    ASSERT_EQ(v.outcome, CsvVerification::Outcome::Verified) << v.message;
    mergeRows(app_.settings(), v.rows);
    EXPECT_EQ(firstValues(0), (std::vector<double>{80, 7, 6, 50, 4}));
    EXPECT_EQ(readings[3].find("reading")->array()[1].toReal(), 1.0);
    EXPECT_EQ(firstValues(1), (std::vector<double>{9}));
    // Importing the same file again changes nothing.
    Value before = app_.settings();
    mergeRows(app_.settings(), v.rows);
    EXPECT_EQ(app_.settings(), before);
}

}  // namespace
}  // namespace numbrel
