// numbrel: the desktop app. The composition root: it builds the store, the delegate, the job runner,
// the value editor, the navigation stack and the session, hands them to QML as its singletons, and maps
// window events and signals onto the save sequence.
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml>
#include <cstdio>
#include <iostream>
#include <thread>

#include "cloud_folder_watcher.h"
#include "desktop_notifier.h"
#include "dropbox_client.h"
#include "exchange/cloud_sync.h"
#include "gettext_translator.h"
#include "job_runner.h"
#include "navigation_stack.h"
#include "plist/date_text.h"
#include "price_client.h"
#include "program_options.h"
#include "queued_notifier.h"
#include "quit_on_signals.h"
#include "session.h"
#include "store/app_delegate.h"
#include "store/configuration.h"
#include "store/environment.h"
#include "store/preferences_store.h"
#include "ui/localize.h"
#include "ui_test.h"
#include "value_editor.h"

// The QML module's type registration, generated from the adapters' QML_ELEMENT declarations.
void qml_register_types_Numbrel();

namespace {

int qmlProblems = 0;

// The checks fail on any warning the interface gives at run time (a binding loop, a missing module,
// an image that does not load), not only on those of loading.
void countProblems(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg) ++qmlProblems;
    std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
}

// The self-test: every page and dialog opened in turn, each given time to be made and drawn.
void runSelfTestSteps(QQuickWindow* window, int step = 0) {
    QVariant more;
    QMetaObject::invokeMethod(window, "selfTestStep", Q_RETURN_ARG(QVariant, more), Q_ARG(QVariant, step));
    if (more.toBool()) {
        QTimer::singleShot(120, window, [window, step] { runSelfTestSteps(window, step + 1); });
        return;
    }
    QTimer::singleShot(300, [] { QGuiApplication::exit(qmlProblems == 0 ? 0 : 2); });
}

}  // namespace

int main(int argc, char** argv) {
    QElapsedTimer sinceStart;
    sinceStart.start();
    QGuiApplication application(argc, argv);  // sets the process locale from the environment
    // One catalogue for the core's texts and QML's.
    numbrel::bindCatalogue();
    numbrel::app::GettextTranslator translator;
    QCoreApplication::installTranslator(&translator);
    QGuiApplication::setApplicationName("numbrel");
    QGuiApplication::setApplicationDisplayName("Numbrel");
    // The desktop entry and the icon are installed under this name; the window is matched to them by it.
    QGuiApplication::setDesktopFileName("org.numbrel.Numbrel");
    QGuiApplication::setWindowIcon(QIcon(":/Numbrel/icons/numbrel.svg"));
    QQuickStyle::setStyle("Fusion");

    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Numbrel keeps your utility meter readings and shows what you use and pay.");
    parser.addHelpOption();
    // The options and their help are the ones the manual page numbrel(1) is written from.
    auto addOption = [&parser](const numbrel::cli::OptionText& o) {
        parser.addOption(QCommandLineOption(QString::fromUtf8(o.name).mid(2), QString::fromUtf8(o.help),
                                            QString::fromUtf8(o.value)));
    };
    for (const numbrel::cli::OptionText& o : numbrel::cli::kSharedOptions)
        addOption(o);
    for (const numbrel::cli::OptionText& o : numbrel::cli::kAppOptions)
        addOption(o);
    const QString store("store"), documents("documents"), now("now"), tz("tz"), locale("locale"),
        selfTest("self-test"), uiTest("ui-test"), uiTestWait("ui-test-wait"), screenshot("screenshot"),
        size("size"), show("show"), firstFrame("first-frame");
    parser.process(application);

    using namespace numbrel;
    Environment system = Environment::system();
    Environment::Clock clock = &Environment::systemNow;
    if (parser.isSet(now)) {
        std::optional<Date> at = parseIso8601(parser.value(now).toStdString());
        if (!at) {
            std::cerr << "numbrel: --now needs an ISO 8601 time with an offset or Z\n";
            return 1;
        }
        clock = fixedClock(*at);
    }
    Environment env(parser.isSet(locale) ? parser.value(locale).toStdString() : system.localeId(),
                    parser.isSet(tz) ? parser.value(tz).toStdString() : system.timeZoneId(), clock);
    PreferencesStore preferences(parser.isSet(store) ? parser.value(store).toStdString()
                                                     : defaultStorePath());
    std::string documentsDir =
        parser.isSet(documents) ? parser.value(documents).toStdString() : defaultDocumentsPath();
    QDir().mkpath(QString::fromStdString(documentsDir));

    // Reminders go to the desktop, planned off the GUI thread. Runs that check the app itself leave
    // the user's planned reminders alone.
    const bool checking = parser.isSet(selfTest) || parser.isSet(uiTest) || parser.isSet(screenshot) ||
                          parser.isSet(firstFrame);
    std::unique_ptr<app::QueuedNotifier> notifier;
    if (!checking) notifier = std::make_unique<app::QueuedNotifier>(std::make_unique<net::DesktopNotifier>());

    NumbrelAppDelegate delegate(std::move(env), preferences);
    Configuration configuration = Configuration::load(defaultConfigurationPath());
    for (const std::string& problem : configuration.problems())
        std::cerr << "numbrel: " << problem << "\n";
    configuration.set("help.page", "qrc:/Numbrel/help.html");
    delegate.setConfiguration(std::move(configuration));
    delegate.setNotifier(notifier.get());
    // The document is read on a thread of its own while this one compiles the interface; nothing else
    // touches the delegate until the thread is joined.
    std::thread launching([&delegate] { delegate.applicationDidFinishLaunching(); });

    if (parser.isSet(selfTest) || parser.isSet(uiTest)) qInstallMessageHandler(countProblems);
    qml_register_types_Numbrel();
    auto engine = std::make_unique<QQmlApplicationEngine>();
    engine->addImportPath("qrc:/");
    const QUrl mainUrl("qrc:/Numbrel/qml/Main.qml");
    auto compiled = std::make_unique<QQmlComponent>(engine.get(), mainUrl, QQmlComponent::PreferSynchronous);
    launching.join();
    if (qEnvironmentVariableIsSet("NUMBREL_TIMING"))
        std::cerr << "store loaded and interface compiled " << sinceStart.elapsed() << " ms\n";

    // The Dropbox client outlives the jobs that use it. Runs that check the app itself leave the
    // user's Dropbox link alone.
    std::unique_ptr<net::DropboxClient> dropbox;
    if (!checking) {
        std::string problem;
        net::DropboxSettings settings = net::DropboxSettings::from(delegate.configuration(), problem);
        if (problem.empty())
            dropbox = std::make_unique<net::DropboxClient>(std::move(settings), nullptr);
        else
            std::cerr << "numbrel: Dropbox: " << problem << "\n";
    }
    delegate.setDropbox(dropbox.get());
    // The price comparison service: its address is read from numbrel.conf when the button is pressed.
    net::PriceClient prices;
    delegate.setPriceService(&prices);

    app::JobRunner jobs(nullptr);
    app::ValueEditor editor(delegate.formatter());
    app::NavigationStack stack(delegate, jobs, editor, documentsDir);
    editor.setStack(stack);
    app::Session session(delegate, stack);

    // Where the link is kept is found and read off the GUI thread: a keyring may be slow to answer,
    // or ask to be unlocked. The screens read the link again once it is known.
    std::jthread linkReader;
    if (dropbox)
        linkReader = std::jthread([&dropbox, &stack, configuration = delegate.configuration()] {
            dropbox->loadTokens(net::chooseTokenStore(configuration, ""));
            QMetaObject::invokeMethod(
                &stack, [&stack] { emit stack.changed(); }, Qt::QueuedConnection);
        });

    // The document cloud: a folder the user's sync client keeps in step. Runs that check the app
    // itself leave the user's cloud folder alone.
    app::CloudFolderWatcher cloudFolder(delegate.configuration());
    CloudSync cloud(delegate, stack, cloudFolder, documentsDir);
    cloud.setRestoringHook([&stack] {
        while (stack.depth() > 1)
            stack.closeTop();
    });
    cloud.setChangedHook([&stack] { emit stack.changed(); });
    cloud.setListedHook([&stack] { emit stack.changed(); });
    if (!checking) {
        NumbrelAppDelegate::Hooks hooks;
        hooks.hasDocumentCloud = [] { return true; };
        hooks.cloudBackup = [&cloud] { cloud.iCloudBackup(); };
        hooks.cloudEnable = [&cloud] { cloud.iCloudEnable(); };
        hooks.cloudDisable = [&cloud] { cloud.iCloudDisable(); };
        hooks.cloudSwitched = [&](bool on) {
            if (!on) return cloud.iCloudDisable();
            if (cloudFolder.directory()) return cloud.iCloudEnable();
            // The first time, or when the folder went, the folder is asked for; it is kept in
            // numbrel.conf. Without one the switch stays on and the no-access warning says why.
            Navigator::FileChoice choice;
            choice.folder = true;
            choice.tellCancel = true;
            stack.chooseFiles(choice, [&](const std::vector<std::string>& paths) {
                if (!paths.empty())
                    if (std::optional<std::string> failed =
                            delegate.configuration().store("cloud.folder", paths[0]))
                        stack.present(Alert{0, tr("Warning!"), *failed, {tr("OK")}});
                cloud.iCloudEnable();
            });
        };
        delegate.setHooks(std::move(hooks));
    }
    // The interface is torn down before the objects it shows (it was made before them).
    struct InterfaceFirst {
        std::unique_ptr<QQmlApplicationEngine>& engine;
        std::unique_ptr<QQmlComponent>& compiled;
        ~InterfaceFirst() {
            compiled.reset();
            engine.reset();
        }
    } interfaceFirst{engine, compiled};

    if (parser.isSet(screenshot)) {
        QStringList wh = (parser.isSet(size) ? parser.value(size) : QStringLiteral("390x844")).split('x');
        engine->setInitialProperties({{"width", wh.value(0).toInt()}, {"height", wh.value(1).toInt()}});
    }
    engine->load(mainUrl);  // made from the compiled component the engine holds
    if (engine->rootObjects().isEmpty()) return 1;
    if (qEnvironmentVariableIsSet("NUMBREL_TIMING"))
        std::cerr << "interface loaded " << sinceStart.elapsed() << " ms\n";
    auto* window = qobject_cast<QQuickWindow*>(engine->rootObjects().first());

    // Hiding, minimising or closing the window is leaving the app: the save sequence runs.
    QObject::connect(&application, &QGuiApplication::applicationStateChanged,
                     [&](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationHidden || state == Qt::ApplicationSuspended)
                             session.enterBackground();
                         if (state == Qt::ApplicationActive) session.enterForeground();
                     });
    QObject::connect(window, &QWindow::visibilityChanged, [&](QWindow::Visibility v) {
        if (v == QWindow::Minimized || v == QWindow::Hidden) session.enterBackground();
    });
    QObject::connect(&application, &QGuiApplication::aboutToQuit, [&] {
        session.enterBackground();
        // The automatic cloud backup finishes before the app goes (a copy to a share that hangs is
        // given ten seconds), and the name it kept is saved.
        QElapsedTimer waited;
        waited.start();
        while (cloud.busy() && waited.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        if (auto error = delegate.saveSettings()) std::cerr << "numbrel: " << *error << "\n";
    });
    // Logging out, Ctrl+C and a closed terminal quit through the event loop: the document is saved.
    app::QuitOnSignals quitOnSignals;
    if (parser.isSet(selfTest)) {
        QTimer::singleShot(200, window, [window] { runSelfTestSteps(window); });
        int rc = QGuiApplication::exec();
        if (qmlProblems) std::cerr << "numbrel: " << qmlProblems << " QML warnings or errors\n";
        return rc;
    }
    if (parser.isSet(uiTest)) {
        // The walk ends by waiting for SIGTERM when its driver sends one (--ui-test-wait).
        QTimer::singleShot(300, [&] {
            int failed = app::runUiTest(*window, stack);
            if (failed == 0 && qmlProblems) {
                std::cerr << "numbrel: " << qmlProblems << " QML warnings or errors during the walk\n";
                failed = 2;
            }
            if (failed || !parser.isSet(uiTestWait)) {
                QGuiApplication::exit(failed);
                return;
            }
            std::cout << "ui test: waiting for a signal" << std::endl;
        });
        return QGuiApplication::exec();
    }
    if (parser.isSet(firstFrame)) {
        // For the start-up benchmark: the same line as its minimal anchor window prints.
        QObject::connect(
            window, &QQuickWindow::frameSwapped, window,
            [] {
                std::printf("first frame\n");
                std::fflush(stdout);
                std::_Exit(0);  // no save, no teardown: only the start is measured
            },
            Qt::QueuedConnection);
    }
    if (parser.isSet(screenshot)) {
        QObject::connect(
            window, &QQuickWindow::frameSwapped, window,
            [&, reported = false]() mutable {
                if (!reported)
                    std::cerr << "numbrel: first frame " << sinceStart.elapsed() << " ms after start\n";
                reported = true;
            },
            Qt::DirectConnection);
        QString file = parser.value(screenshot);
        if (parser.isSet(show))
            QMetaObject::invokeMethod(window, "showForScreenshot", Q_ARG(QVariant, parser.value(show)));
        // The picture is taken once the pages have stopped moving (large windows draw slowly).
        auto* poll = new QTimer(window);
        poll->setInterval(100);
        QObject::connect(poll, &QTimer::timeout, window, [&, poll, ticks = 0]() mutable {
            if (++ticks < 6 || (window->property("busy").toBool() && ticks < 50)) return;
            poll->stop();
            QImage image = window->grabWindow();
            bool ok = image.save(file);
            if (!ok) std::cerr << "numbrel: cannot write " << file.toStdString() << "\n";
            QGuiApplication::exit(ok ? 0 : 2);
        });
        poll->start();
        return QGuiApplication::exec();
    }

    if (parser.isSet(show))
        QMetaObject::invokeMethod(window, "showForScreenshot", Q_ARG(QVariant, parser.value(show)));
    return QGuiApplication::exec();
}
