// Every character the app may draw (its texts in QML and the core, and the currency table) must be in a
// font of the font packages the app depends on (scripts/install-deps), or it shows as an empty box.
#include <QCoreApplication>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRawFont>
#include <QRegularExpression>
#include <QSet>
#include <iostream>

#include "costs/currency_table.h"

namespace {

QStringList fontPackages(const QString& root) {
    QFile deps(root + "/scripts/install-deps");
    if (!deps.open(QIODevice::ReadOnly)) return {};
    QStringList out;
    for (const QString& word : QString::fromUtf8(deps.readAll()).split(QRegularExpression("\\s+")))
        if (word.startsWith("fonts-")) out << word;
    return out;
}

QStringList fontFiles(const QString& package) {
    QProcess dpkg;
    dpkg.start("dpkg", {"-L", package});
    dpkg.waitForFinished();
    QStringList out;
    for (const QString& path : QString::fromUtf8(dpkg.readAllStandardOutput()).split('\n'))
        if (path.endsWith(".ttf") || path.endsWith(".otf") || path.endsWith(".ttc")) out << path;
    return out;
}

void addText(QSet<char32_t>& chars, const QString& text) {
    for (char32_t c : text.toUcs4())
        if (c > 0x7F) chars.insert(c);
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::cerr << "usage: glyph_check SOURCE_ROOT\n";
        return 1;
    }
    const QString root = QString::fromLocal8Bit(argv[1]);
    QSet<char32_t> chars;
    for (char32_t c = 0x20; c < 0x7F; ++c)
        chars.insert(c);
    for (const QString& dir : {root + "/src/app/qml", root + "/src/core"}) {
        QDirIterator files(dir, {"*.qml", "*.cpp"}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile f(files.next());
            if (f.open(QIODevice::ReadOnly)) addText(chars, QString::fromUtf8(f.readAll()));
        }
    }
    for (const numbrel::CurrencySymbol& s : numbrel::symbols())
        addText(chars, QString::fromUtf8(s.symbol.data(), static_cast<int>(s.symbol.size())));

    QList<QRawFont> fonts;
    const QStringList packages = fontPackages(root);
    for (const QString& package : packages)
        for (const QString& file : fontFiles(package)) {
            QRawFont font(file, 12);
            if (font.isValid()) fonts << font;
        }
    if (fonts.isEmpty()) {
        std::cerr << "glyph_check: no fonts found in the packages " << packages.join(' ').toStdString()
                  << "\n";
        return 1;
    }
    int missing = 0;
    for (char32_t c : chars) {
        bool found = std::any_of(fonts.begin(), fonts.end(),
                                 [&](const QRawFont& f) { return f.supportsCharacter(c); });
        if (!found) {
            std::cerr << "glyph_check: U+"
                      << QString::number(c, 16).toUpper().rightJustified(4, '0').toStdString() << " "
                      << QString::fromUcs4(&c, 1).toStdString() << " is in no font of "
                      << packages.join(' ').toStdString() << "\n";
            ++missing;
        }
    }
    std::cout << "glyph_check: " << chars.size() << " characters against " << fonts.size() << " fonts of "
              << packages.join(' ').toStdString() << ": " << missing << " missing\n";
    return missing ? 1 : 0;
}
