// The screen stack of the app, recording what screens asked of it. Screens the stack holds (pushed, or
// opened by a test) are destroyed as the app destroys them: after the action that closed them.
#pragma once

#include <memory>
#include <vector>

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
    bool internetReachable() const override { return online; }
    bool canSendMail() const override { return mailer; }
    void composeMail(const Mail& mail) override { mails.push_back(mail); }

    // The ticket of the last alert, to answer it through the stack.
    std::uint64_t lastTicket = 0;

    std::vector<Screen*> pushed;  // the screens pushed, in order (valid while they are on the stack)
    std::vector<Alert> alerts;
    std::vector<std::string> urls;
    std::vector<Mail> mails;
    bool mailer = false;
    bool online = true;
    int pops = 0;
    int dismissals = 0;

protected:
    void alert(std::uint64_t ticket, const Alert& a) override {
        alerts.push_back(a);
        lastTicket = ticket;
    }
};

}  // namespace numbrel::test
