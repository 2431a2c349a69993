#include "ui/alert.h"

#include <gtest/gtest.h>

namespace numbrel {
namespace {

TEST(AlertKeys, EscapeCancelsAndEnterTakesTheObviousChoice) {
    struct Case {
        const char* name;
        Alert alert;
        int escape, enter;
    };
    Alert fileMenu{50, "nb20261122@120000.bak", "", {"Export by Email", "Restore Backup", "Cancel"}};
    fileMenu.actionSheet = true;
    Alert settings{20, "No Backups Found!", "", {"Backups", "Cancel"}};
    settings.actionSheet = true;
    for (const Case& c : {
             Case{"one button", Alert{0, "Warning!", "No Internet connectivity", {"OK"}}, 0, 0},
             Case{"cancel first", Alert{51, "Old Backup?", "", {"Cancel", "Install"}}, 0, 1},
             Case{"cancel second", Alert{0, "Delete", "", {"Delete", "Cancel"}}, 1, 0},
             Case{"two without a cancel", Alert{1, "Reading Saved", "", {"Done", "Next Meter"}}, 0, 1},
             Case{"three without a cancel", Alert{30, "Review", "", {"No Thanks!", "OK", "Remind Me Later"}},
                  -1, -1},
             Case{"a menu", fileMenu, 2, -1},
             Case{"a menu of two", settings, 1, -1},
             Case{"no buttons", Alert{}, -1, -1},
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(cancelButton(c.alert), c.escape);
        EXPECT_EQ(defaultButton(c.alert), c.enter);
    }
}

}  // namespace
}  // namespace numbrel
