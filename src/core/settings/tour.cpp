#include "settings/tour.h"

#include "store/environment.h"
#include "ui/localize.h"

namespace numbrel {

std::optional<Alert> tourAlert(int tag, const Environment& env) {
    struct Step {
        const char* title;
        const char* text;
    };
    static const Step kSteps[] = {
        {N_("Getting Started"),
         N_("This is a short 2-3 minute tour of the main features of Numbrel. You can cancel at any time, "
            "otherwise tap Next to continue")},
        {N_("Default Meters"),
         N_("By default, three meters are created for you: Electricity, Gas and Water. To switch between "
            "your "
            "meters, scroll/swipe left and right. To jump to a specific meter, or manage your meter settings "
            "and RATES, tap the Meters button")},
        {N_("Adding Readings"),
         N_("To add readings for this and other meters, tap the + button. The Readings row will show your "
            "historical readings, and once you have entered 2 or more readings, graphs will be displayed "
            "showing your usage and cost")},
        {N_("Graph Views"),
         N_("Use the buttons at the bottom of the screen to choose between daily, weekly, monthly, quarterly "
            "or yearly views. Graphs are shown as bar charts initially, but once the number of points gets "
            "too large, they switch to line graphs")},
        {N_("Graph Types"),
         N_("On the iPad, graphs are shown for both usage and costs, but on other devices, simply DOUBLE TAP "
            "on the graph to switch between the two. You can also tap and hold the graph to display actual "
            "values at different points in time")},
        {N_("Graph Colours"),
         N_("If you have entered more than a year of readings, the previous year is shown in WHITE, to make "
            "it easy to compare. A dashed line is used to show the average")},
        {N_("Price Comparison"),
         N_("To compare your costs against energy supplier prices in your area (UK postcodes only), tap the "
            "power switch icon at the bottom left")},
        {N_("Settings and Support"),
         N_("For application settings, backups and SUPPORT, tap the gears icon at the bottom right")},
        {N_("End of Tour"), N_("To run this tour again, select HELP from the SETTINGS screen")},
    };
    if (tag < kFirstTourTag || tag > kLastTourTag) return std::nullopt;
    const Step& step = kSteps[tag - kFirstTourTag];
    std::string title = tr(step.title);
    if (tag == 105 && env.localeCurrencyCode() == "USD") title = tr("Graph Colors");
    Alert alert{tag, title, tr(step.text), {}};
    if (tag == kLastTourTag)
        alert.buttons = {tr("OK")};
    else
        alert.buttons = {tr("Cancel"), tr("Next")};
    return alert;
}

}  // namespace numbrel
