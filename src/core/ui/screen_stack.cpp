#include "ui/screen_stack.h"

#include <algorithm>

namespace numbrel {

ScreenStack::~ScreenStack() {
    // The top first, as they would close.
    while (!entries_.empty())
        entries_.pop_back();
}

ScreenStack::Id ScreenStack::open(std::unique_ptr<Screen> screen) {
    const Id id = nextId_++;
    Screen& s = *screen;
    entries_.push_back({id, std::move(screen)});
    pushed(id, s);
    // As the screen's own action, without the "something was done" of a user's action.
    acting_.push_back(id);
    s.appeared();
    acting_.pop_back();
    if (acting_.empty()) settle();
    return id;
}

void ScreenStack::push(std::unique_ptr<Screen> screen) {
    open(std::move(screen));
}

bool ScreenStack::alive(Id id) const {
    return screen(id) != nullptr;
}

Screen* ScreenStack::screen(Id id) const {
    for (const Entry& e : entries_)
        if (e.id == id) return e.screen.get();
    return nullptr;
}

std::vector<ScreenStack::Id> ScreenStack::ids() const {
    std::vector<Id> out;
    for (const Entry& e : entries_)
        out.push_back(e.id);
    return out;
}

void ScreenStack::act(Id id, const std::function<void(Screen&)>& action) {
    Screen* s = screen(id);
    if (!s) return;
    acting_.push_back(id);
    action(*s);
    acting_.pop_back();
    if (acting_.empty()) {
        settle();
        acted();
    }
}

void ScreenStack::closeTop() {
    if (entries_.empty()) return;
    act(entries_.back().id, [this](Screen& s) {
        s.closeAction();
        pop();
    });
}

void ScreenStack::pop() {
    // Outside any action the top closes (a screen without an id asking, as in a test).
    Id id = acting();
    if (!id && !entries_.empty()) id = entries_.back().id;
    if (id) closing_.push_back(id);
    if (acting_.empty()) settle();
}

void ScreenStack::present(const Alert& a) {
    const std::uint64_t ticket = nextTicket_++;
    tickets_[ticket] = {acting(), a.tag};
    alert(ticket, a);
}

void ScreenStack::present(const Alert& a, std::function<void(int button)> answered) {
    const std::uint64_t ticket = nextTicket_++;
    tickets_[ticket] = {0, a.tag, std::move(answered)};
    alert(ticket, a);
}

void ScreenStack::answer(std::uint64_t ticket, int button) {
    auto it = tickets_.find(ticket);
    if (it == tickets_.end()) return;
    const Presenter p = it->second;
    tickets_.erase(it);
    if (p.answered) {
        p.answered(button);
        if (acting_.empty()) {
            settle();
            acted();
        }
        return;
    }
    act(p.screen, [&](Screen& s) { s.answerAlert(p.tag, button); });
}

std::function<void()> ScreenStack::guarded(Id id, std::function<void()> then) {
    // A screen the stack does not hold (one a test made itself) has nothing to be guarded against.
    if (id == 0) return then;
    return [this, id, then = std::move(then)] { act(id, [&](Screen&) { then(); }); };
}

void ScreenStack::run(Job job) {
    std::function<void()> apply = job.work(Progress{});
    if (apply) guarded(acting(), std::move(apply))();
}

void ScreenStack::runForApp(Job job) {
    if (std::function<void()> apply = job.work(Progress{})) apply();
}

void ScreenStack::settle() {
    if (closing_.empty()) return;
    // A screen that closes takes the screens above it along.
    std::size_t keep = entries_.size();
    for (Id id : closing_)
        for (std::size_t i = 0; i < entries_.size(); ++i)
            if (entries_[i].id == id) keep = std::min(keep, i);
    closing_.clear();
    if (keep == entries_.size()) return;
    std::vector<Entry> gone(std::make_move_iterator(entries_.begin() + static_cast<std::ptrdiff_t>(keep)),
                            std::make_move_iterator(entries_.end()));
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(keep), entries_.end());
    popped(entries_.size());
    while (!gone.empty())
        gone.pop_back();  // destroyed only now, after their actions and the front end's last look
}

}  // namespace numbrel
