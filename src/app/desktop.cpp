#include "desktop.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

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
    QStringList args{"--subject", qs(mail.subject), "--body", qs(mail.body)};
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
