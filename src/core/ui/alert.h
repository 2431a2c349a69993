// An alert or action sheet as a screen asks for it: a tag to tell it apart, a title, a message and
// buttons; the answer comes back as the tag and the index of the button chosen.
#pragma once

#include <string>
#include <vector>

namespace numbrel {

struct Alert {
    int tag = 0;
    std::string title;
    std::string message;
    std::vector<std::string> buttons;  // in order; index 0 is the cancel button when there is one
    double dismissAfterSeconds = 0.0;  // > 0: dismisses itself after that time unless answered
    bool actionSheet = false;
    bool warning = false;  // it reports a failure (a command line prints it as an error)

    friend bool operator==(const Alert&, const Alert&) = default;
};

// "Warning!" / "No Internet connectivity" / "OK": what a link or transfer says without the internet.
Alert noInternetAlert();

// The button Escape answers: the one labelled "Cancel"; else a lone button; else, of an alert's two
// buttons, the first. -1 when there is none (then Escape leaves the alert open).
int cancelButton(const Alert& alert);
// The button Enter answers: a lone button; of an alert's two, the one Escape does not answer. -1 for
// action sheets and longer lists, where no choice is the obvious one.
int defaultButton(const Alert& alert);

}  // namespace numbrel
