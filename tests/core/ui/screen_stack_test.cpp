#include "ui/screen_stack.h"

#include <gtest/gtest.h>

#include "exchange/backup_view_controller.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"

namespace numbrel {
namespace {

// A screen that notes what happens to it; closing itself, it still uses its members afterwards (under
// AddressSanitizer a screen destroyed too early fails the test).
class Probe : public Screen {
public:
    Probe(Navigator& navigator, std::vector<std::string>& log, std::string name)
        : navigator_(navigator), log_(log), name_(std::move(name)) {}
    ~Probe() override { log_.push_back(name_ + " destroyed"); }
    std::string title() const override { return name_; }
    std::vector<Section> sections() const override { return {}; }
    void answerAlert(int tag, int button) override {
        log_.push_back(name_ + " answered " + std::to_string(tag) + "/" + std::to_string(button));
    }
    void close() {
        navigator_.pop();
        log_.push_back(name_ + " still running after pop");
    }
    void ask(int tag) { navigator_.present(Alert{tag, name_, "", {"OK"}}); }
    void openAbove(const std::string& name) {
        navigator_.push(std::make_unique<Probe>(navigator_, log_, name));
    }
    void work() {
        Job job;
        job.work = [this](const Progress&) -> std::function<void()> {
            return [this] { log_.push_back(name_ + " got its result"); };
        };
        navigator_.run(std::move(job));
    }

private:
    Navigator& navigator_;
    std::vector<std::string>& log_;
    std::string name_;
};

// Jobs wait until the test lets them finish: an answer that comes after its screen has gone.
class SlowJobs : public test::FakeNavigator {
public:
    void run(Job job) override { waiting.push_back({acting(), std::move(job)}); }
    void finishAll() {
        for (auto& [screen, job] : waiting)
            if (std::function<void()> apply = job.work(Progress{})) guarded(screen, std::move(apply))();
        waiting.clear();
    }
    std::vector<std::pair<Id, Job>> waiting;
};

TEST(ScreenStack, AScreenThatClosesItselfGoesOnlyAfterItsAction) {
    std::vector<std::string> log;
    test::FakeNavigator stack;
    auto bottom = stack.open(std::make_unique<Probe>(stack, log, "main"));
    auto list = stack.open(std::make_unique<Probe>(stack, log, "list"));
    stack.act(list, [](Screen& s) { static_cast<Probe&>(s).openAbove("chooser"); });
    ASSERT_EQ(stack.depth(), 3u);
    stack.act(list, [](Screen& s) { static_cast<Probe&>(s).close(); });
    // The list took the chooser above it along, after its action had returned.
    EXPECT_EQ(log, (std::vector<std::string>{"list still running after pop", "chooser destroyed",
                                             "list destroyed"}));
    EXPECT_EQ(stack.ids(), std::vector<ScreenStack::Id>{bottom});
    EXPECT_FALSE(stack.alive(list));
    stack.act(list, [&](Screen&) { log.push_back("acted on a gone screen"); });
    EXPECT_EQ(log.size(), 3u);
}

TEST(ScreenStack, AnswersAndResultsGoToTheScreenThatAsked) {
    std::vector<std::string> log;
    SlowJobs stack;
    auto main = stack.open(std::make_unique<Probe>(stack, log, "main"));
    auto list = stack.open(std::make_unique<Probe>(stack, log, "list"));
    stack.act(main, [](Screen& s) { static_cast<Probe&>(s).ask(7); });
    const auto mainTicket = stack.lastTicket;
    stack.act(list, [](Screen& s) { static_cast<Probe&>(s).ask(7); });
    const auto listTicket = stack.lastTicket;
    stack.act(list, [](Screen& s) { static_cast<Probe&>(s).work(); });
    stack.answer(listTicket, 0);
    stack.answer(mainTicket, 0);
    EXPECT_EQ(log, (std::vector<std::string>{"list answered 7/0", "main answered 7/0"}));
    stack.answer(mainTicket, 0);  // an alert is answered once
    EXPECT_EQ(log.size(), 2u);

    // The list goes before its alert is answered and before its work is done: both are dropped.
    stack.act(list, [](Screen& s) { static_cast<Probe&>(s).ask(8); });
    const auto late = stack.lastTicket;
    stack.act(list, [](Screen& s) { static_cast<Probe&>(s).close(); });
    stack.answer(late, 0);
    stack.finishAll();
    EXPECT_EQ(log.back(), "list destroyed");
    // The main screen's work still arrives.
    stack.act(main, [](Screen& s) { static_cast<Probe&>(s).work(); });
    stack.finishAll();
    EXPECT_EQ(log.back(), "main got its result");
}

// The restore path: the backups screen closes itself, then says "Backup Restored", all from one
// action (before the stack deferred closings, the screen was destroyed in the middle of it).
class RestoreThroughTheStack : public test::AppFixture {};

TEST_F(RestoreThroughTheStack, TheBackupsScreenClosesAfterItsRestore) {
    test::FakeNavigator stack;
    const std::string docs = dir_.file("Documents");
    auto id = stack.open(std::make_unique<BackupViewController>(app_, stack, docs));
    stack.act(id, [](Screen& s) { static_cast<BackupViewController&>(s).backupAction(); });
    std::string name = static_cast<BackupViewController*>(stack.screen(id))->backups().at(0);
    meter(0).set("name", "Changed");
    stack.act(id, [&](Screen& s) { static_cast<BackupViewController&>(s).restoreBackup(docs + "/" + name); });
    EXPECT_FALSE(stack.alive(id));
    EXPECT_EQ(stack.alerts.back().title, "Backup Restored");
    EXPECT_EQ(stringOf(meter(0), "name"), "Electricity");
    stack.answer(stack.lastTicket, 0);  // its alert outlives it: the answer is dropped
}

}  // namespace
}  // namespace numbrel
