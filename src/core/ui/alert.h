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

    friend bool operator==(const Alert&, const Alert&) = default;
};

}  // namespace numbrel
