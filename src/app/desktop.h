// What the desktop offers the screens: the mail client (through xdg-email), the browser, and the
// user's own folders.
#pragma once

#include <QUrl>
#include <string>

#include "ui/screen.h"

namespace numbrel::app {

// Whether a mail client handles mailto: links (asked once per run).
bool desktopCanSendMail();
// A new mail in the desktop's mail client; false when the client could not be started.
bool desktopComposeMail(const Mail& mail);
void desktopOpenUrl(const std::string& url);
// The user's documents folder, where a save dialog starts (the home folder when there is none).
QUrl userDocuments();

}  // namespace numbrel::app
