// The screen stack of the app, recording what screens asked of it. Screens the stack holds (pushed, or
// opened by a test) are destroyed as the app destroys them: after the action that closed them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "support/fake_reachability.h"
#include "ui/screen_stack.h"

namespace numbrel::test {

class FakeNavigator : public ScreenStack {
public:
    void push(std::unique_ptr<Screen> screen) override {
        pushed.push_back(screen.get());
        ScreenStack::push(std::move(screen));
    }
    void pop() override {
        ++pops;
        ScreenStack::pop();
    }
    void dismiss() override {
        ++dismissals;
        ScreenStack::pop();
    }
    void openUrl(const std::string& url) override { urls.push_back(url); }
    const Reachability& reachability() const override { return network; }
    // A server that records what it is asked; the test calls uploaded() as a file would arrive.
    struct FakeServer : TransferServer {
        explicit FakeServer(FakeNavigator& owner) : nav(owner) {}
        std::variant<int, std::string> start(const std::string& folder, std::function<void()> then) override {
            if (!nav.serverProblem.empty()) return nav.serverProblem;
            nav.serving = folder;
            nav.uploaded = std::move(then);
            return 8080;
        }
        void stop() override {
            nav.serving.clear();
            nav.uploaded = nullptr;
        }
        ~FakeServer() override { stop(); }
        FakeNavigator& nav;
    };
    std::unique_ptr<TransferServer> makeTransferServer() override {
        return std::make_unique<FakeServer>(*this);
    }
    // Work of the application waits, when asked, until the test lets it finish.
    void runForApp(Job job) override {
        if (!holdAppJobs) return ScreenStack::runForApp(std::move(job));
        heldAppJobs.push_back(std::move(job));
    }
    // Finishes the held work in turn, and what that work started meanwhile; how many finished.
    int finishAppJobs() {
        int n = 0;
        while (!heldAppJobs.empty()) {
            Job job = std::move(heldAppJobs.front());
            heldAppJobs.erase(heldAppJobs.begin());
            ScreenStack::runForApp(std::move(job));
            ++n;
        }
        return n;
    }
    // A screen's work waits, when asked, until the test finishes it (Cancel pressed or not).
    void run(Job job) override {
        if (!holdJobs) return ScreenStack::run(std::move(job));
        heldJobs.push_back({acting(), std::move(job)});
    }
    // Finishes the oldest held work as if Cancel was (or was not) pressed while it ran; false when
    // none was held.
    bool finishJob(bool cancelled = false) {
        if (heldJobs.empty()) return false;
        auto [owner, job] = std::move(heldJobs.front());
        heldJobs.erase(heldJobs.begin());
        if (std::function<void()> apply = job.work([cancelled](double) { return !cancelled; }))
            guarded(owner, std::move(apply))();
        return true;
    }
    void editValue(ValueEdit edit) override { edits.push_back(std::move(edit)); }
    bool canSendMail() const override { return mailer; }
    void composeMail(const Mail& mail) override { mails.push_back(mail); }

    // The ticket of the last alert, to answer it through the stack.
    std::uint64_t lastTicket = 0;

    std::vector<Screen*> pushed;  // the screens pushed, in order (valid while they are on the stack)
    std::vector<Alert> alerts;
    std::vector<std::string> urls;
    std::vector<Mail> mails;
    std::vector<ValueEdit> edits;  // editors the screens opened themselves
    bool mailer = false;
    FakeReachability network;
    std::string serverProblem;       // a server that cannot start says this
    std::string serving;             // the folder served while a server runs
    std::function<void()> uploaded;  // what a running server calls when a file arrives
    int pops = 0;
    int dismissals = 0;
    bool holdAppJobs = false;
    std::vector<Job> heldAppJobs;
    bool holdJobs = false;
    std::vector<std::pair<Id, Job>> heldJobs;

protected:
    void alert(std::uint64_t ticket, const Alert& a) override {
        alerts.push_back(a);
        lastTicket = ticket;
    }
};

}  // namespace numbrel::test
