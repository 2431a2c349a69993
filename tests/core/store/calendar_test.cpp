#include "store/calendar.h"

#include <gtest/gtest.h>

#include "plist/date_text.h"
#include "store/environment.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

TEST(DateText, Iso8601RoundTripsAndNeedsAnOffset) {
    EXPECT_EQ(formatIso8601(Date{0.0}), "2001-01-01T00:00:00.000Z");
    EXPECT_EQ(formatIso8601(Date{415696502.5}), "2014-03-05T07:15:02.500Z");
    EXPECT_EQ(formatIso8601(Date{-0.25}), "2000-12-31T23:59:59.750Z");
    EXPECT_EQ(parseIso8601("2014-03-05T07:15:02.5Z")->seconds, 415696502.5);
    EXPECT_EQ(parseIso8601("2014-03-05T08:15:02+01:00")->seconds, 415696502.0);
    EXPECT_EQ(parseIso8601("2014-03-05T02:15-0500")->seconds, 415696500.0);
    EXPECT_TRUE(parseIso8601("2024-02-29T23:59:59+23:59"));  // a leap day, and the last of everything
    EXPECT_TRUE(parseIso8601("2000-02-29T00:00Z"));
    for (const char* bad :
         {"2014-03-05T07:15:02", "2014-03-05", "2014-13-05T07:15Z", "yesterday", "2014-03-05T07:15:02Zjunk",
          "2014-03-05T25:00Z", "2026-02-30T10:00:00Z", "2026-02-29T10:00Z", "2026-04-31T10:00Z",
          "2026-03-05T24:00Z", "2026-03-05T10:60Z", "2026-03-05T10:00:60Z", "2026-03-05T10:00+24:00",
          "2026-03-05T10:00+01:60"})
        EXPECT_FALSE(parseIso8601(bad)) << bad;
}

TEST(Calendar, ComponentsInTheDeviceZone) {
    Environment env = test::pinnedEnvironment("en_GB", "Europe/London");
    Calendar calendar(env);
    CalendarDate c = calendar.components(at("2026-07-01T23:30:15.5Z"));  // 00:30 BST on 2 July
    EXPECT_EQ(c.year, 2026);
    EXPECT_EQ(c.month, 7);
    EXPECT_EQ(c.day, 2);
    EXPECT_EQ(c.hour, 0);
    EXPECT_EQ(c.minute, 30);
    EXPECT_EQ(c.second, 15);
    EXPECT_EQ(c.weekday, 5);  // Thursday
    EXPECT_DOUBLE_EQ(c.secondsIntoDay, 30 * 60 + 15.5);

    Environment tokyo = test::pinnedEnvironment("ja_JP", "Asia/Tokyo");
    EXPECT_EQ(Calendar(tokyo).components(at("2026-07-01T23:30:00Z")).hour, 8);
}

TEST(Calendar, DayArithmeticKeepsWallTimeAcrossDaylightSaving) {
    Environment env = test::pinnedEnvironment("en_GB", "Europe/London");
    Calendar calendar(env);
    // 28 March 2026 12:00 GMT + 1 day = 29 March 12:00 BST, only 23 hours later.
    Date before = at("2026-03-28T12:00:00Z");
    Date after = calendar.addDays(before, 1);
    EXPECT_EQ(after, at("2026-03-29T11:00:00Z"));
    EXPECT_EQ(calendar.addDays(after, -1), before);
    EXPECT_EQ(calendar.startOfDay(at("2026-03-29T20:00:00Z")), at("2026-03-29T00:00:00Z"));
    EXPECT_EQ(calendar.date(2026, 3, 29, 12), at("2026-03-29T11:00:00Z"));
    EXPECT_EQ(calendar.addMonths(at("2026-01-31T12:00:00Z"), 1), at("2026-02-28T12:00:00Z"));
}

}  // namespace
}  // namespace numbrel
