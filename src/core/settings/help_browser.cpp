#include "settings/help_browser.h"

#include "settings/settings_view_controller.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

// The scheme of an address ("https"), or "" for a relative one ("#csv", "help.html").
std::string schemeOf(const std::string& url) {
    std::size_t colon = url.find(':');
    if (colon == std::string::npos || colon == 0) return {};
    for (std::size_t i = 0; i < colon; ++i) {
        char c = url[i];
        bool ok =
            std::isalpha(static_cast<unsigned char>(c)) ||
            (i > 0 && (std::isdigit(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.'));
        if (!ok) return {};
    }
    std::string scheme = url.substr(0, colon);
    for (char& c : scheme)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return scheme;
}

}  // namespace

HelpBrowser::HelpBrowser(Navigator& navigator, std::string page, bool support)
    : navigator_(navigator), page_(std::move(page)), support_(support) {}

std::string HelpBrowser::title() const {
    return tr("User Guide");
}

bool HelpBrowser::linkAction(const std::string& url) {
    const std::string scheme = schemeOf(url);
    // The guide is shipped as a file (or a resource of the app): its own pages load here.
    if (scheme.empty() || scheme == "file" || scheme == "qrc") return true;
    openLink(navigator_, url);
    return false;
}

}  // namespace numbrel
