// The options of the two programs, with their help: the CLI's --help, the app's --help and both
// manual pages are written from these tables.
#pragma once

namespace numbrel::cli {

struct OptionText {
    const char* name;   // "--store"
    const char* value;  // "FILE", or "" for a switch
    const char* help;
};

// What both programs take: where the data is, and the clock, zone and locale to run in.
inline constexpr OptionText kSharedOptions[] = {
    {"--store", "FILE", "the preferences store (default: $XDG_CONFIG_HOME/numbrel/preferences.plist)"},
    {"--documents", "DIR",
     "the Documents folder for backups and CSV files (default: $XDG_DATA_HOME/numbrel/Documents)"},
    {"--now", "TIME", "the current time, ISO 8601 with an offset or Z (default: the clock)"},
    {"--tz", "ZONE", "the device time zone, e.g. Europe/London (default: the system's)"},
    {"--locale", "NAME", "the device locale for numbers and dates, e.g. en_GB (default: from LANG)"},
};

inline constexpr OptionText kCliOptions[] = {
    {"--cloud", "DIR",
     "the folder a sync client keeps in step across devices (default: cloud.folder in numbrel.conf); "
     "backups go to its Documents subfolder"},
};

// The app's own: checks of the app itself, run without a user.
inline constexpr OptionText kAppOptions[] = {
    {"--self-test", "", "load every screen offscreen and exit; non-zero on any QML warning"},
    {"--ui-test", "", "walk through the app as a user would, checking each step; then exit"},
    {"--ui-test-wait", "", "with --ui-test: after the walk, wait to be ended by a signal"},
    {"--screenshot", "FILE", "render the first screen to a PNG file and exit"},
    {"--size", "WxH", "the window size for --screenshot (default: 390x844)"},
    {"--show", "WHAT",
     "open a screen first (\"entry\", \"sheet\", \"backups\" ..., as scripts/screenshots uses them)"},
    {"--first-frame", "", "print \"first frame\" once the window is drawn, and exit"},
};

}  // namespace numbrel::cli
