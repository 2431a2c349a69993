// The stack of screens as a front end shows them: it owns the screens, knows which one is acting, and
// keeps the promises every screen relies on. A screen that closes itself is destroyed only once its
// action has returned; an alert's answer, a job's result and a chosen file go back to the screen that
// asked, and are dropped when that screen is gone. The app and the tests use it alike.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "ui/screen.h"

namespace numbrel {

class ScreenStack : public Navigator {
public:
    using Id = std::uint64_t;  // a screen's number, never given twice

    ScreenStack() = default;
    ScreenStack(const ScreenStack&) = delete;
    ScreenStack& operator=(const ScreenStack&) = delete;
    ~ScreenStack() override;

    // Puts a screen on top from outside any screen's action (the main screen opening its lists).
    Id open(std::unique_ptr<Screen> screen);
    // Runs an action of a screen, if it still exists; what the screen asks for meanwhile concerns it.
    // Closings asked for take effect once the outermost action returns.
    void act(Id id, const std::function<void(Screen&)>& action);
    // The user leaves the screen on top (Back, Done): it is told, then closed.
    void closeTop();
    // Answers an alert: to the screen that presented it, if it still exists.
    void answer(std::uint64_t ticket, int button);
    // Whether a screen still exists, and which is acting now (0: none).
    bool alive(Id id) const;
    Screen* screen(Id id) const;
    Id acting() const { return acting_.empty() ? 0 : acting_.back(); }
    // The screens from the bottom.
    std::vector<Id> ids() const;
    std::size_t depth() const { return entries_.size(); }

    // Runs a continuation for a screen later (a job's result, a chosen file): only if it still exists,
    // and as its action. Id 0 (no screen of the stack) runs it as it is.
    std::function<void()> guarded(Id id, std::function<void()> then);

    void push(std::unique_ptr<Screen> screen) override;
    void pop() override;
    void dismiss() override { pop(); }
    void present(const Alert& alert) override;
    void present(const Alert& alert, std::function<void(int button)> answered) override;
    void run(Job job) override;
    void runForApp(Job job) override;
    std::function<void()> guard(std::function<void()> then) override {
        return guarded(acting(), std::move(then));
    }

protected:
    // What a front end shows: a screen came on top, the stack went down to depth, an alert (answered
    // with answer(ticket, button)).
    virtual void pushed(Id /*id*/, Screen& /*screen*/) {}
    virtual void popped(std::size_t /*depth*/) {}
    virtual void alert(std::uint64_t /*ticket*/, const Alert& /*alert*/) {}
    // An outermost action has returned and closings have taken effect: what is shown may have changed.
    virtual void acted() {}

private:
    struct Entry {
        Id id;
        std::unique_ptr<Screen> screen;
    };
    void settle();

    std::vector<Entry> entries_;
    std::vector<Id> acting_;
    std::vector<Id> closing_;
    struct Presenter {
        Id screen;
        int tag;
        std::function<void(int)> answered;  // for presenters that are not screens
    };
    std::unordered_map<std::uint64_t, Presenter> tickets_;  // alert -> who presented it, and its tag
    Id nextId_ = 1;
    std::uint64_t nextTicket_ = 1;
};

}  // namespace numbrel
