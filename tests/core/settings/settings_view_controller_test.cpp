#include "settings/settings_view_controller.h"

#include <sys/stat.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "readings/property_editors.h"
#include "settings/help_browser.h"
#include "settings/reminders_view_controller.h"
#include "store/app_delegate.h"
#include "store/configuration.h"
#include "support/app_fixture.h"
#include "support/fake_dropbox_session.h"
#include "support/fake_navigator.h"
#include "support/fake_notifier.h"

namespace numbrel {
namespace {

class SettingsScreen : public test::AppFixture {
protected:
    // The screen as the stack holds it, so that it closes as it does in the app.
    SettingsViewController& open(bool tablet = false) {
        auto screen = std::make_unique<SettingsViewController>(app_, nav_, tablet);
        SettingsViewController& s = *screen;
        id_ = nav_.open(std::move(screen));
        return s;
    }
    // A switch flipped as the app flips it: through the stack, which sends answers back to the screen.
    void flip(int tag, bool on) {
        nav_.act(id_, [&](Screen& s) { s.flipSwitch(tag, on); });
    }
    test::FakeNavigator nav_;
    ScreenStack::Id id_ = 0;
};

std::vector<std::string> footers(const std::vector<Section>& s) {
    std::vector<std::string> out;
    for (const Section& section : s)
        out.push_back(section.footer);
    return out;
}

TEST_F(SettingsScreen, RowsSwitchesAndFootersFollowTheTips) {
    SettingsViewController& screen = open();
    std::vector<Section> s = screen.sections();
    ASSERT_EQ(s.size(), 6u);
    EXPECT_EQ(s[0].rows[0].label, "Email");
    ASSERT_EQ(s[1].rows.size(), 7u);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(s[1].rows[i].tag, 10 + i);
        EXPECT_EQ(s[1].rows[i].accessory, Accessory::Switch);
        EXPECT_FALSE(s[1].rows[i].selectable);
    }
    EXPECT_EQ(s[1].rows[6].label, "Tips");
    EXPECT_EQ(s[2].rows[0].label, "Dropbox");
    EXPECT_FALSE(s[2].rows[0].on);
    EXPECT_EQ(s[2].rows[4].label, "Reminders");
    EXPECT_EQ(s[2].rows[4].detail, "Off");
    EXPECT_EQ(s[2].rows[5].detail, "Red, Green and Blue");
    EXPECT_EQ(s[3].header, "Help and Support (v" NUMBREL_TEST_VERSION ")");
    EXPECT_EQ(s[5].rows[0].label, "Review on iTunes");
    // No torch on a desktop: its label is light grey and the footer says so.
    EXPECT_TRUE(s[2].rows[3].color.has_value());
    EXPECT_EQ(footers(s),
              (std::vector<std::string>{"For exporting backups and readings",
                                        "To switch between usage and costs, simply double tap on the graphs",
                                        "Torch not supported on this device", "", "", ""}));

    screen.flipSwitch(16, false);  // Tips off: every footer goes at once
    EXPECT_FALSE(boolOf(app_.settings(), "tips"));
    EXPECT_EQ(footers(screen.sections()), std::vector<std::string>(6));

    screen.flipSwitch(10, true);
    screen.flipSwitch(14, true);
    EXPECT_TRUE(boolOf(app_.settings(), "average"));
    EXPECT_TRUE(boolOf(app_.settings(), "zero"));
    EXPECT_TRUE(screen.sections()[1].rows[4].on);
    flip(23, true);
    EXPECT_TRUE(boolOf(app_.settings(), "torch"));
}

TEST_F(SettingsScreen, OnATabletLandscapeIsAlwaysOn) {
    app_.settings().set("landscape", false);
    SettingsViewController& screen = open(true);
    Row landscape = screen.sections()[1].rows[3];
    EXPECT_TRUE(landscape.on);
    EXPECT_FALSE(landscape.enabled);
    screen.flipSwitch(13, false);
    EXPECT_FALSE(boolOf(app_.settings(), "landscape"));
    EXPECT_EQ(screen.sections()[1].footer, "Landscape mode is always supported on the iPad");
}

TEST_F(SettingsScreen, CloudAndAutoBackupsFollowThePlatformAndEachOther) {
    bool cloud = false;
    NumbrelAppDelegate::Hooks hooks;
    hooks.hasDocumentCloud = [&] { return cloud; };
    app_.setHooks(hooks);
    app_.settings().set("icloud", true);
    app_.settings().set("autobackup", true);
    SettingsViewController& screen = open();
    // Without a document cloud: both grey and disabled; the switches do nothing.
    std::vector<Section> s = screen.sections();
    EXPECT_FALSE(s[2].rows[1].enabled);
    EXPECT_TRUE(s[2].rows[1].color.has_value());
    EXPECT_FALSE(s[2].rows[2].enabled);
    EXPECT_FALSE(s[2].rows[2].on);
    flip(21, false);
    EXPECT_TRUE(boolOf(app_.settings(), "icloud"));

    cloud = true;
    s = screen.sections();
    EXPECT_TRUE(s[2].rows[1].on);
    EXPECT_TRUE(s[2].rows[2].enabled);
    EXPECT_TRUE(s[2].rows[2].on);
    EXPECT_FALSE(s[2].rows[2].color.has_value());
    // "iCloud" off leaves "autobackup" as it was, shown off and disabled.
    flip(21, false);
    EXPECT_TRUE(boolOf(app_.settings(), "autobackup"));
    s = screen.sections();
    EXPECT_FALSE(s[2].rows[2].on);
    EXPECT_FALSE(s[2].rows[2].enabled);
    EXPECT_TRUE(s[2].rows[2].color.has_value());

    flip(21, true);
    flip(22, false);
    EXPECT_FALSE(boolOf(app_.settings(), "autobackup"));
    flip(22, true);  // asks first
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].title, "Auto Backups");
    EXPECT_NE(nav_.alerts[0].message.find("keeping the 3 most recent"), std::string::npos);
    nav_.answer(nav_.lastTicket, 0);
    EXPECT_FALSE(boolOf(app_.settings(), "autobackup"));
    flip(22, true);
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_TRUE(boolOf(app_.settings(), "autobackup"));
}

TEST_F(SettingsScreen, DropboxAsksWhereLinksWithTheCodeAndUnlinks) {
    const std::string conf = dir_.file("numbrel.conf");
    test::writeFile(conf, "");
    app_.setConfiguration(Configuration::load(conf));
    test::FakeDropboxSession box;
    box.isLinked = false;
    box.runOnly = true;  // no keyring answers
    app_.setDropbox(&box);
    SettingsViewController& screen = open();
    app_.settings().set("root", true);

    // Cancelled: nothing opens, and the switch stays off.
    flip(20, true);
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].message,
              "Link to the root Dropbox folder, or restrict access to the Apps folder? Note that if you "
              "change, your files are NOT copied automatically!");
    EXPECT_EQ(nav_.alerts[0].buttons, (std::vector<std::string>{"Cancel", "~Dropbox/", "~Dropbox/Apps/"}));
    nav_.answer(nav_.lastTicket, 0);
    EXPECT_TRUE(nav_.urls.empty());
    EXPECT_TRUE(nav_.edits.empty());
    EXPECT_TRUE(boolOf(app_.settings(), "root"));
    EXPECT_FALSE(screen.sections()[2].rows[0].on);

    // The Apps folder: its page opens in the browser and the code it shows is asked for.
    flip(20, true);
    nav_.answer(nav_.lastTicket, 2);
    EXPECT_FALSE(boolOf(app_.settings(), "root", true));
    ASSERT_EQ(nav_.urls.size(), 1u);
    EXPECT_EQ(nav_.urls[0], "https://www.dropbox.example/oauth2/authorize?root=0");
    ASSERT_EQ(nav_.edits.size(), 1u);
    EXPECT_TRUE(nav_.edits[0].required);
    // A wrong code links nothing and says why.
    nav_.act(id_, [&](Screen&) { EXPECT_TRUE(nav_.edits[0].apply("wrong", "")); });
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_EQ(nav_.alerts.back().message,
              "The Dropbox account could not be linked: the code was not accepted");
    EXPECT_FALSE(screen.sections()[2].rows[0].on);
    // The right one links; without a keyring the user is asked once where to keep the link.
    nav_.act(id_, [&](Screen&) { nav_.edits[0].apply("A1b2C3", ""); });
    EXPECT_TRUE(screen.sections()[2].rows[0].on);
    EXPECT_EQ(screen.sections()[2].rows[0].label, "Dropbox (Apps)");
    EXPECT_EQ(nav_.alerts.back().buttons, (std::vector<std::string>{"No", "Keep in File"}));
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_TRUE(box.keptInFile);
    EXPECT_EQ(Configuration::load(conf).value("dropbox.tokens"), "file");

    // Off: "Unlink account?"; Cancel keeps the link, OK ends it.
    const std::size_t asked = nav_.alerts.size();
    flip(20, false);
    ASSERT_EQ(nav_.alerts.size(), asked + 1);
    EXPECT_EQ(nav_.alerts.back().message, "Unlink account?");
    nav_.answer(nav_.lastTicket, 0);
    EXPECT_TRUE(box.isLinked);
    flip(20, false);
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_FALSE(box.isLinked);
    EXPECT_EQ(screen.sections()[2].rows[0].label, "Dropbox");

    // Linked again with no keyring: the answer is remembered, so nothing is asked.
    box.runOnly = true;
    flip(20, true);
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_EQ(box.calls.back(), "authorize root");
    const std::size_t before = nav_.alerts.size();
    nav_.act(id_, [&](Screen&) { nav_.edits.back().apply("A1b2C3", ""); });
    EXPECT_EQ(nav_.alerts.size(), before);
    EXPECT_EQ(screen.sections()[2].rows[0].label, "Dropbox (Root)");

    // Without the internet, nothing opens.
    box.isLinked = false;
    nav_.network.online = false;
    flip(20, true);
    nav_.answer(nav_.lastTicket, 1);
    EXPECT_EQ(nav_.alerts.back().message, "No Internet connectivity");
    EXPECT_EQ(nav_.urls.size(), 2u);
}

TEST_F(SettingsScreen, RowsOpenTheirScreensAndLinksNeedTheInternet) {
    test::FakeNotifier notifier;
    notifier.noteText = "Reminders are written to a calendar file";
    app_.setNotifier(&notifier);
    app_.setConfiguration(Configuration::parse("[links]\nsupport = https://example.org/help\n"));
    SettingsViewController& screen = open();

    std::optional<ValueEdit> email = screen.editFor(0, 0);
    ASSERT_TRUE(email);
    EXPECT_EQ(email->title, "Email");
    EXPECT_EQ(email->prompt, "Enter your email address");
    EXPECT_EQ(email->kind, EditKind::Text);
    EXPECT_TRUE(email->apply("me@example.org", ""));
    EXPECT_EQ(screen.sections()[0].rows[0].detail, "me@example.org");

    screen.selectRow(2, 4);
    ASSERT_EQ(nav_.pushed.size(), 1u);
    EXPECT_EQ(nav_.pushed[0]->title(), "Reminders");
    EXPECT_EQ(nav_.pushed[0]->sections()[0].footer, "Reminders are written to a calendar file");
    nav_.closeTop();
    screen.selectRow(2, 5);
    EXPECT_EQ(nav_.pushed.back()->title(), "Themes");
    nav_.closeTop();
    screen.selectRow(3, 0);
    auto* guide = dynamic_cast<HelpBrowser*>(nav_.pushed.back());
    ASSERT_NE(guide, nullptr);
    EXPECT_FALSE(guide->support());
    nav_.closeTop();

    screen.selectRow(4, 0);
    ASSERT_EQ(nav_.urls.size(), 1u);
    EXPECT_EQ(nav_.urls[0], "https://example.org/help");
    nav_.network.online = false;
    screen.selectRow(5, 0);
    EXPECT_EQ(nav_.urls.size(), 1u);
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_EQ(nav_.alerts.back().message, "No Internet connectivity");

    // "Tour" turns the tour on and closes the screen.
    app_.settings().set("tour", false);
    screen.selectRow(3, 1);
    EXPECT_TRUE(boolOf(app_.settings(), "tour"));
    EXPECT_EQ(nav_.depth(), 0u);
}

TEST_F(SettingsScreen, TheWifiPasswordGoesToTheConfigurationFileNotTheDocument) {
    const std::string conf = dir_.file("config/numbrel.conf");
    std::filesystem::create_directories(dir_.file("config"));
    test::writeFile(conf, "# mine\n[links]\nsupport = https://example.org/help\n");
    app_.setConfiguration(Configuration::load(conf));
    SettingsViewController& screen = open();
    const Row row = screen.sections()[2].rows[6];
    EXPECT_EQ(row.label, "WiFi password");
    EXPECT_EQ(row.detail, "Off");

    std::optional<ValueEdit> edit = screen.editFor(2, 6);
    ASSERT_TRUE(edit);
    EXPECT_EQ(edit->kind, EditKind::Password);
    EXPECT_EQ(edit->value, "");
    EXPECT_FALSE(acceptTyping(*edit, "ab", "ab\t", "."));
    EXPECT_EQ(acceptTyping(*edit, "ab", "ab c", "."), "ab c");
    ASSERT_TRUE(edit->apply("  wärme 42 ", ""));
    EXPECT_EQ(screen.sections()[2].rows[6].detail, "On");
    EXPECT_EQ(app_.configuration().value("wifi.password"), "wärme 42");
    EXPECT_EQ(test::readFile(conf),
              "# mine\n[links]\nsupport = https://example.org/help\n\n[wifi]\npassword = wärme 42\n");
    struct stat st {};
    ASSERT_EQ(::stat(conf.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(Configuration::load(conf).value("wifi.password"), "wärme 42");
    EXPECT_FALSE(stringOf(app_.settings(), "password").size());

    // Changed, then cleared: the line goes, the rest of the file stays.
    ASSERT_TRUE(screen.editFor(2, 6)->apply("other", ""));
    EXPECT_EQ(Configuration::load(conf).value("wifi.password"), "other");
    ASSERT_TRUE(screen.editFor(2, 6)->apply("", ""));
    EXPECT_EQ(screen.sections()[2].rows[6].detail, "Off");
    EXPECT_EQ(test::readFile(conf), "# mine\n[links]\nsupport = https://example.org/help\n\n[wifi]\n");

    // A file that cannot be written: the editor stays open with an alert, and nothing changes.
    std::filesystem::remove(conf);
    std::filesystem::create_directory(conf);
    EXPECT_FALSE(screen.editFor(2, 6)->apply("secret", ""));
    EXPECT_EQ(nav_.alerts.back().title, "Warning!");
    EXPECT_EQ(app_.configuration().value("wifi.password"), "");
}

TEST(ConfigurationFile, ValuesAreWrittenWhereTheyBelong) {
    // Replaced where it stands, comments and other sections untouched.
    EXPECT_EQ(Configuration::withValue("[wifi]\n; old\npassword = a\ndigest = md5\n[links]\nx = 1\n",
                                       "wifi.password", "b"),
              "[wifi]\n; old\npassword = b\ndigest = md5\n[links]\nx = 1\n");
    // Added at the end of its section, before blank lines and the next section.
    EXPECT_EQ(Configuration::withValue("[wifi]\ndigest = md5\n\n[links]\nx = 1", "wifi.password", "b"),
              "[wifi]\ndigest = md5\npassword = b\n\n[links]\nx = 1\n");
    // A key of the same name in another section, or in a comment, is not it.
    EXPECT_EQ(Configuration::withValue("[links]\npassword = keep\n# password = no\n", "wifi.password", "b"),
              "[links]\npassword = keep\n# password = no\n\n[wifi]\npassword = b\n");
    EXPECT_EQ(Configuration::withValue("", "wifi.password", "b"), "[wifi]\npassword = b\n");
    EXPECT_EQ(Configuration::withValue("[wifi]\n  password=a  \n", "wifi.password", ""), "[wifi]\n");
    EXPECT_EQ(Configuration::withValue("[links]\nx = 1\n", "wifi.password", ""), "[links]\nx = 1\n");

    // A value that would break the file is refused; without a file the value lives for this run.
    Configuration c;
    EXPECT_TRUE(c.store("wifi.password", "a\n[links]\nsupport = evil").has_value());
    EXPECT_TRUE(c.store("wifi.password", " a").has_value());
    EXPECT_EQ(c.value("wifi.password"), "");
    EXPECT_FALSE(c.store("wifi.password", "a").has_value());
    EXPECT_EQ(c.value("wifi.password"), "a");
    EXPECT_FALSE(c.store("links.support", "").has_value());
    EXPECT_EQ(c.value("links.support"), Configuration().value("links.support"));  // back to the default
}

TEST(HelpBrowserLinks, FilesLoadInsideOthersGoOutWithTheInternet) {
    test::FakeNavigator nav;
    HelpBrowser guide(nav, "qrc:/help.html");
    EXPECT_EQ(guide.title(), "User Guide");
    EXPECT_EQ(guide.backLabel(), "");
    EXPECT_TRUE(guide.hasDone());
    EXPECT_TRUE(guide.linkAction("#readings"));
    EXPECT_TRUE(guide.linkAction("file:///usr/share/numbrel/help.html"));
    EXPECT_TRUE(guide.linkAction("FILE:help.html"));
    EXPECT_TRUE(nav.urls.empty());
    EXPECT_FALSE(guide.linkAction("https://example.org/x"));
    EXPECT_EQ(nav.urls, (std::vector<std::string>{"https://example.org/x"}));
    nav.network.online = false;
    EXPECT_FALSE(guide.linkAction("mailto:me@example.org"));
    EXPECT_EQ(nav.urls.size(), 1u);
    EXPECT_EQ(nav.alerts.back().message, "No Internet connectivity");
}

TEST(ConfigurationFile, SectionsKeysCommentsAndBadLines) {
    Configuration c = Configuration::parse(
        "# links\n[links]\n  support = https://a.example/s  \n; a comment\nreview=\n"
        "stray line\n[cloud]\nfolder = /home/me/Sync = mine\n= nothing\n");
    EXPECT_EQ(c.value("links.support"), "https://a.example/s");
    EXPECT_EQ(c.value("links.review"), "");
    EXPECT_EQ(c.value("cloud.folder"), "/home/me/Sync = mine");
    EXPECT_FALSE(c.value("links.contact").empty());  // a default
    EXPECT_EQ(c.value("links.nothing"), "");
    ASSERT_EQ(c.problems().size(), 2u);
    EXPECT_EQ(c.problems()[0].rfind("line 6", 0), 0u);
    test::TempDir dir;
    EXPECT_TRUE(Configuration::load(dir.file("missing.conf")).problems().empty());
}

}  // namespace
}  // namespace numbrel
