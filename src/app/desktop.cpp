#include "desktop.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include "ui/markup.h"

namespace numbrel::app {

bool desktopCanSendMail() {
    static const bool mailer = [] {
        if (QStandardPaths::findExecutable("xdg-email").isEmpty()) return false;
        QProcess query;
        query.start("xdg-mime", {"query", "default", "x-scheme-handler/mailto"});
        return query.waitForFinished(2000) && !query.readAllStandardOutput().trimmed().isEmpty();
    }();
    return mailer;
}

bool desktopComposeMail(const Mail& mail) {
    auto qs = [](const std::string& s) { return QString::fromStdString(s); };
    // A mailto: body is plain text: an HTML body goes as its text, where mail clients link the addresses.
    QStringList args{"--subject", qs(mail.subject), "--body",
                     qs(mail.html ? textOfMarkup(mail.body) : mail.body)};
    if (!mail.attachmentPath.empty()) args << "--attach" << qs(mail.attachmentPath);
    if (!mail.to.empty()) args << qs(mail.to);
    QString mailer = QStandardPaths::findExecutable("xdg-email");
    return !mailer.isEmpty() && QProcess::startDetached(mailer, args);
}

void desktopOpenUrl(const std::string& url) {
    QDesktopServices::openUrl(QUrl(QString::fromStdString(url)));
}

QUrl userDocuments() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) folder = QDir::homePath();
    return QUrl::fromLocalFile(folder);
}

}  // namespace numbrel::app
