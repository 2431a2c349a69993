#include "ui/alert.h"

#include <algorithm>

#include "ui/localize.h"

namespace numbrel {

Alert noInternetAlert() {
    return Alert{0, tr("Warning!"), tr("No Internet connectivity"), {tr("OK")}};
}

int cancelButton(const Alert& alert) {
    auto cancel = std::find(alert.buttons.begin(), alert.buttons.end(), tr("Cancel"));
    if (cancel != alert.buttons.end()) return static_cast<int>(cancel - alert.buttons.begin());
    if (alert.buttons.size() == 1) return 0;
    if (alert.buttons.size() == 2 && !alert.actionSheet) return 0;
    return -1;
}

int defaultButton(const Alert& alert) {
    if (alert.buttons.size() == 1) return 0;
    if (alert.buttons.size() == 2 && !alert.actionSheet) return 1 - cancelButton(alert);
    return -1;
}

}  // namespace numbrel
