// The app's models and navigation over a real document, without a window: every model passes Qt's
// model checks through the changes a user makes, and work that comes back late (a job's result, an
// editor's value, a chosen file) never reaches a screen that has gone.
#include <gtest/gtest.h>
#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "cloud_folder_watcher.h"
#include "entry_model.h"
#include "job_runner.h"
#include "main/price_comparison.h"
#include "main_model.h"
#include "navigation_stack.h"
#include "queued_notifier.h"
#include "readings_model.h"
#include "store/configuration.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/fake_notifier.h"
#include "support/fake_reachability.h"
#include "table_model.h"
#include "value_editor.h"

void qml_register_types_Numbrel();

namespace numbrel::app {
namespace {

class AppModels : public test::AppFixture {
protected:
    AppModels() : editor_(app_.formatter()), stack_(app_, jobs_, editor_, dir_.path()) {
        editor_.setStack(stack_);
        QObject::connect(&stack_, &NavigationStack::alertRequested,
                         [this](const QVariantMap& a) { alerts_.push_back(a); });
    }
    // Answers the last alert with a button, as the alert dialog does.
    void answer(int button) { stack_.answer(alerts_.back().value("ticket").toULongLong(), button); }
    QString lastTitle() const {
        return alerts_.empty() ? QString() : alerts_.back().value("title").toString();
    }
    template <class Model>
    Model* top() {
        return qobject_cast<Model*>(stack_.topModel());
    }
    void checked(QAbstractItemModel* model) {
        ASSERT_NE(model, nullptr);
        new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::Fatal, model);
    }
    void waitForJobs() {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !jobs_.running(); }, 10000));
        QCoreApplication::processEvents();
    }

    JobRunner jobs_{nullptr};
    ValueEditor editor_;
    NavigationStack stack_;
    std::vector<QVariantMap> alerts_;
};

TEST_F(AppModels, QmlAsksForTheAppsOwnObjects) {
    // A singleton QML could make itself would be a second one, and the window would show its state.
    qml_register_types_Numbrel();
    QQmlEngine engine;
    engine.addImportPath("qrc:/");
    QQmlComponent component(&engine);
    component.setData(
        "import QtQml\nimport Numbrel\n"
        "QtObject { property var jobs: Jobs; property var navigation: Navigation; "
        "property var editor: Editor }",
        QUrl());
    std::unique_ptr<QObject> shown(component.create());
    ASSERT_TRUE(shown) << component.errorString().toStdString();
    EXPECT_EQ(shown->property("jobs").value<QObject*>(), &jobs_);
    EXPECT_EQ(shown->property("navigation").value<QObject*>(), &stack_);
    EXPECT_EQ(shown->property("editor").value<QObject*>(), &editor_);
}

TEST_F(AppModels, EveryModelHoldsUpThroughAUsersChanges) {
    MainModel& main = *stack_.main();
    checked(&main);
    auto* page = qobject_cast<TableModel*>(main.table(0));
    checked(page);
    EXPECT_EQ(main.pageCount(), 3);  // a fresh store: electricity, gas and water
    EXPECT_GE(page->find("Readings"), 0);

    // The meters list: editing shows the add row, moves and a new meter change the rows.
    main.metersAction();
    auto* meters = top<TableModel>();
    checked(meters);
    meters->setEditing(true);
    ASSERT_EQ(meters->count(), 4);
    meters->move(0, 1);
    EXPECT_EQ(meters->data(meters->index(1), TableModel::LabelRole).toString(), "Electricity");
    meters->select(3);  // the add row: the name editor
    ASSERT_TRUE(editor_.editing());
    EXPECT_TRUE(editor_.apply("Oil", ""));
    EXPECT_EQ(meters->count(), 5);
    EXPECT_EQ(main.pageCount(), 3) << "the main screen reads the document once it is on top again";
    stack_.back();
    EXPECT_EQ(main.pageCount(), 4);

    // Reading entry: typed digits turn the wheels in place; a save gives the readings list rows.
    main.addAction();
    auto* entry = top<EntryModel>();
    checked(entry);
    checked(qobject_cast<QAbstractItemModel*>(entry->wheels()));
    for (int digit : {1, 2, 3, 4, 5, 6})
        entry->typeKey(digit);
    EXPECT_EQ(entry->reading(), "12345.6");
    entry->save();
    if (lastTitle() == "Reading Saved") answer(0);
    ASSERT_EQ(stack_.depth(), 1u);
    page->select(page->find("Readings"));
    auto* readings = top<ReadingsModel>();
    checked(readings);
    ASSERT_EQ(readings->count(), 1);
    readings->periodAction(1);
    readings->deleteReading(0);  // the last one: the list closes
    EXPECT_EQ(stack_.depth(), 1u);
    EXPECT_EQ(readings->count(), 1) << "a closed screen's model keeps what its page showed last";
}

// Opens when the test says so; shared by a job and the test, never owned by a screen.
struct Gate {
    std::mutex mutex;
    std::condition_variable wake;
    bool open = false;
    void release() {
        std::lock_guard lock(mutex);
        open = true;
        wake.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex);
        wake.wait(lock, [this] { return open; });
    }
};

// A screen whose row starts a job that waits for the gate, and whose Choose row asks for a file.
class Waiting : public Screen {
public:
    Waiting(Navigator& navigator, std::vector<std::string>& log, std::shared_ptr<Gate> gate)
        : navigator_(navigator), log_(log), gate_(std::move(gate)) {}
    std::string title() const override { return "Waiting"; }
    std::vector<Section> sections() const override {
        Row start{"Start", ""}, choose{"Choose", ""}, value{"Value", ""};
        start.action = 1;
        choose.action = 2;
        value.action = 3;
        return {{"", "", {start, choose, value}}};
    }

protected:
    void select(const Row& row) override {
        if (row.action == 2) {
            navigator_.chooseFiles({}, [this](const std::vector<std::string>& paths) {
                log_.push_back("chose " + paths.front());
            });
            return;
        }
        Job job;
        job.title = "Waiting";
        job.work = [this, gate = gate_](const Progress&) -> std::function<void()> {
            gate->wait();  // the work touches only what it was given
            return [this] { log_.push_back("result applied"); };
        };
        navigator_.run(std::move(job));
    }
    std::optional<ValueEdit> edit(const Row& row) override {
        if (row.action != 3) return std::nullopt;
        ValueEdit e;
        e.kind = EditKind::Text;
        e.apply = [this](const std::string& text, const std::string&) {
            log_.push_back("value " + text);
            return true;
        };
        return e;
    }

private:
    Navigator& navigator_;
    std::vector<std::string>& log_;
    std::shared_ptr<Gate> gate_;
};

TEST_F(AppModels, LateAnswersReachAScreenOnlyWhileItExists) {
    std::vector<std::string> log;
    for (bool closeFirst : {false, true}) {
        SCOPED_TRACE(closeFirst ? "closed before the answers" : "open");
        log.clear();
        auto gate = std::make_shared<Gate>();
        stack_.open(std::make_unique<Waiting>(stack_, log, gate));
        auto* table = top<TableModel>();
        QSignalSpy files(&stack_, &NavigationStack::filesRequested);
        table->select(table->find("Choose"));
        ASSERT_EQ(files.size(), 1);
        table->select(table->find("Value"));
        ASSERT_TRUE(editor_.editing());
        table->select(table->find("Start"));
        ASSERT_TRUE(jobs_.running());
        if (closeFirst) stack_.back();
        gate->release();
        waitForJobs();
        stack_.filesChosen(files.front().at(0).toInt(), {QUrl::fromLocalFile("/tmp/a.csv")});
        const std::size_t alertsBefore = alerts_.size();
        EXPECT_TRUE(editor_.apply("typed", ""));
        if (closeFirst) {
            EXPECT_TRUE(log.empty()) << log.front();
            ASSERT_EQ(alerts_.size(), alertsBefore + 1) << "a value with nowhere to go is said";
            EXPECT_EQ(lastTitle(), "Warning!");
        } else {
            EXPECT_EQ(log, (std::vector<std::string>{"result applied", "chose /tmp/a.csv", "value typed"}));
            EXPECT_EQ(alerts_.size(), alertsBefore);
            stack_.back();
        }
        EXPECT_EQ(stack_.depth(), 1u);
    }
}

TEST_F(AppModels, AJobCanBeStoppedAndItsProgressIsSeen) {
    Job job;
    job.cancellable = true;
    std::atomic<bool> stopped{false};
    job.work = [&](const Progress& progress) -> std::function<void()> {
        for (int step = 1; step <= 1000; ++step) {
            if (!progress(step / 1000.0)) {
                stopped = true;
                return nullptr;
            }
            QThread::msleep(2);
        }
        return nullptr;
    };
    bool delivered = false;
    jobs_.start(std::move(job), [&](std::function<void()> apply) { delivered = !apply; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return jobs_.progress() > 0.05; }, 5000));
    EXPECT_TRUE(jobs_.cancellable());
    jobs_.cancel();
    waitForJobs();
    EXPECT_TRUE(stopped);
    EXPECT_TRUE(delivered);
}

// A price service that answers only once the test lets it, or stops when the job is cancelled.
struct HeldPriceService : PriceService {
    PriceReply post(const std::string&, const std::string&, const Progress& progress) override {
        asked = true;
        while (!answer)
            if (!progress(0))
                return PriceReply{{}, "cancelled", true};
            else
                QThread::msleep(5);
        return PriceReply{"resultsCount=1 newPoundsPerAnnum=100", {}, false};
    }
    std::atomic<bool> asked{false}, answer{false};
};

TEST_F(AppModels, ThePriceComparisonWaitsWithCancelAndAnswersOnTheGuiThread) {
    HeldPriceService service;
    app_.setPriceService(&service);
    app_.configuration().set("prices.endpoint", "http://127.0.0.1:1");
    Value& m = (*metersOf(app_.settings()))[0];
    m.set("code", "GBP");
    m.set("postcode", "SW1A 1AA");
    for (const char* when : {"2026-11-20T08:00:00Z", "2025-11-20T08:00:00Z"})
        m.find("readings")
            ->array()
            .push_back(
                Value::makeDictionary({{"date", test::at(when)}, {"reading", Value(Array{1.0, 0.0, 0.0})}}));
    test::FakeReachability online;
    stack_.setReachability(online);

    for (bool cancel : {true, false}) {
        SCOPED_TRACE(cancel ? "cancelled" : "answered");
        service.asked = false;
        const std::size_t shown = alerts_.size();
        stack_.main()->actionAction();
        ASSERT_TRUE(jobs_.running());
        EXPECT_EQ(jobs_.title(), "Please Wait");
        EXPECT_EQ(jobs_.message(), "Getting energy supplier prices for your usage and postcode ...");
        EXPECT_TRUE(jobs_.cancellable());
        ASSERT_TRUE(QTest::qWaitFor([&] { return service.asked.load(); }, 5000));
        if (cancel)
            jobs_.cancel();
        else
            service.answer = true;
        waitForJobs();
        if (cancel) {
            EXPECT_EQ(alerts_.size(), shown);
        } else {
            ASSERT_EQ(alerts_.size(), shown + 1);
            EXPECT_EQ(lastTitle(), "Price Comparison");
            EXPECT_EQ(alerts_.back().value("buttons").toStringList(), (QStringList{"Cancel", "More Info"}));
        }
    }
    // Offline, nothing is asked of the service.
    online.online = false;
    service.asked = false;
    stack_.main()->actionAction();
    EXPECT_FALSE(jobs_.running());
    EXPECT_EQ(lastTitle(), "Warning!");
    EXPECT_FALSE(service.asked);
}

}  // namespace
}  // namespace numbrel::app

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

namespace numbrel::app {
namespace {

// Reminders reach the desktop off the GUI thread, in the order asked, and what goes wrong shows in
// the note; whatever is queued when the app ends is still done.
TEST(QueuedReminders, RunInOrderOffTheCallersThreadAndFinishBeforeTheEnd) {
    // The queue owns its backend; this one reports to a fake that outlives the queue.
    struct Forward : Notifier {
        explicit Forward(test::FakeNotifier& f) : fake(f) {}
        std::string schedule(const std::vector<Reminder>& r) override { return fake.schedule(r); }
        std::string cancelAll() override { return fake.cancelAll(); }
        std::string note() const override { return fake.note(); }
        test::FakeNotifier& fake;
    };
    test::FakeNotifier fake;
    fake.noteText = "a calendar file";
    auto backend = std::make_unique<Forward>(fake);
    std::vector<Reminder> seven(7, Reminder{Date{1000.0}, "Meter readings are due today"});
    {
        QueuedNotifier queued(std::move(backend));
        EXPECT_EQ(queued.schedule(seven), "");
        EXPECT_EQ(queued.cancelAll(), "");
        EXPECT_EQ(queued.schedule(seven), "");
        queued.drain();
        EXPECT_EQ(fake.plans, 2);
        EXPECT_EQ(fake.cancels, 1);
        EXPECT_EQ(fake.planned.size(), 7u);
        EXPECT_EQ(queued.note(), "a calendar file");
        fake.throws = true;
        queued.schedule(seven);
        queued.drain();
        EXPECT_NE(queued.note().find("the notification service went away"), std::string::npos);
        fake.throws = false;
        queued.cancelAll();  // left to the destructor
    }
    EXPECT_EQ(fake.cancels, 2);
    EXPECT_TRUE(fake.planned.empty());
}

}  // namespace
}  // namespace numbrel::app

namespace numbrel::app {
namespace {

TEST(CloudFolder, AFileMovedInIsSeenWithinASecondAndAQuietFolderIsNotRead) {
    test::TempDir dir;
    Configuration configuration;
    configuration.set("cloud.folder", dir.file("Sync"));
    CloudFolderWatcher watcher(configuration);
    EXPECT_FALSE(watcher.directory());  // the chosen folder is not there
    std::filesystem::create_directories(dir.file("Sync"));
    const std::optional<std::string> documents = watcher.directory();
    ASSERT_EQ(documents, dir.file("Sync/Documents"));

    int gathered = 0;
    watcher.startQuery(*documents, [&] { ++gathered; });
    QTRY_COMPARE_WITH_TIMEOUT(gathered, 1, 2000);  // the first scan
    EXPECT_TRUE(watcher.results().empty());

    // Written elsewhere, then moved in as sync clients do; a hidden temporary is not reported.
    test::writeFile(dir.file("incoming"), "backup bytes");
    test::writeFile(*documents + "/.nb20261123@090000.bak.tmp", "partial");
    QElapsedTimer seen;
    seen.start();
    std::filesystem::rename(dir.file("incoming"), *documents + "/nb20261123@090000.bak");
    QTRY_VERIFY_WITH_TIMEOUT(gathered >= 2, 2000);
    EXPECT_LT(seen.elapsed(), 1000);
    ASSERT_EQ(watcher.results().size(), 1u);
    EXPECT_EQ(watcher.results()[0].name, "nb20261123@090000.bak");
    EXPECT_EQ(watcher.results()[0].size, 12u);

    // Quiet: nothing is scanned.
    const int scans = watcher.scans();
    QTest::qWait(1500);
    EXPECT_EQ(watcher.scans(), scans);

    // While paused, a change is held and reported once on resuming.
    watcher.pauseUpdates();
    const int before = gathered;
    test::writeFile(*documents + "/nb20261124@090000.bak", "more");
    QTRY_COMPARE_WITH_TIMEOUT(watcher.results().size(), 2u, 2000);
    EXPECT_EQ(gathered, before);
    watcher.resumeUpdates();
    EXPECT_EQ(gathered, before + 1);

    // Stopped: nothing more.
    watcher.stopQuery();
    test::writeFile(*documents + "/nb20261125@090000.bak", "late");
    QTest::qWait(600);
    EXPECT_EQ(gathered, before + 1);
}

}  // namespace
}  // namespace numbrel::app
