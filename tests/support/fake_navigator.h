// A navigator that records what screens asked of it.
#pragma once

#include <memory>
#include <vector>

#include "ui/screen.h"

namespace numbrel::test {

class FakeNavigator : public Navigator {
public:
    void push(std::unique_ptr<Screen> screen) override { pushed.push_back(std::move(screen)); }
    void pop() override { ++pops; }
    void present(const Alert& alert) override { alerts.push_back(alert); }
    void dismiss() override { ++dismissals; }
    void openUrl(const std::string& url) override { urls.push_back(url); }
    bool canSendMail() const override { return mailer; }
    void composeMail(const Mail& mail) override { mails.push_back(mail); }

    std::vector<std::unique_ptr<Screen>> pushed;
    std::vector<Alert> alerts;
    std::vector<std::string> urls;
    std::vector<Mail> mails;
    bool mailer = false;
    int pops = 0;
    int dismissals = 0;
};

}  // namespace numbrel::test
