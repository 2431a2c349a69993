// The user guide: a page shipped with the app, shown in a view of its own. "Top" goes back to its
// start and "Done" closes it; links to files load in the view, any other link goes to the browser
// when the internet can be reached.
#pragma once

#include <string>
#include <vector>

#include "ui/screen.h"

namespace numbrel {

class HelpBrowser : public Screen {
public:
    // page: where the guide is (a file or resource address the view can load). support is false when
    // opened from the settings screen.
    HelpBrowser(Navigator& navigator, std::string page, bool support = true);
    std::string title() const override;
    std::vector<Section> sections() const override { return {}; }
    std::string backLabel() const override { return {}; }
    bool hasDone() const override { return true; }

    const std::string& page() const { return page_; }
    bool support() const { return support_; }

    // A link was followed: true when the view loads it itself (a file, a place in the guide); other
    // links are opened outside, or refused without the internet.
    bool linkAction(const std::string& url);

private:
    Navigator& navigator_;
    std::string page_;
    bool support_;
};

}  // namespace numbrel
