#include "price_client.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "main/root_view_controller.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"

extern char** environ;

namespace numbrel {
namespace {

using namespace std::chrono_literals;

// The stand-in price service, started on loopback for the test and stopped by its pid.
class FakePrices {
public:
    FakePrices() {
        const std::string script = NUMBREL_FAKES "/fake_prices.py";
        portFile_ = dir_.file("port");
        std::vector<std::string> args{"python3", script, portFile_};
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawnp(&pid_, "python3", nullptr, nullptr, argv.data(), environ) != 0) pid_ = 0;
        for (int i = 0; i < 400 && pid_ && !std::filesystem::exists(portFile_); ++i)
            std::this_thread::sleep_for(50ms);
    }
    ~FakePrices() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    bool started() const { return std::filesystem::exists(portFile_); }
    std::string address() const { return "http://127.0.0.1:" + test::readFile(portFile_); }
    // The requests the service has seen, as JSON lines.
    std::string log() const {
        std::error_code ec;
        return std::filesystem::exists(portFile_ + ".log", ec) ? test::readFile(portFile_ + ".log") : "";
    }

private:
    test::TempDir dir_;
    std::string portFile_;
    pid_t pid_ = 0;
};

class PriceClientTest : public test::AppFixture {
protected:
    PriceClientTest() {
        meter(0).set("code", "GBP");
        meter(0).set("postcode", "SW1A 1AA");
        Array& readings = meter(0).find("readings")->array();
        for (auto [when, value] :
             {std::pair{"2026-11-20T08:00:00Z", 4650.0}, {"2025-11-20T08:00:00Z", 1000.0}})
            readings.push_back(Value::makeDictionary(
                {{"date", test::at(when)}, {"reading", Value(Array{value, 0.0, 0.0})}}));
        app_.setPriceService(&client_);
    }
    net::PriceClient client_;
    FakePrices service_;
    test::FakeNavigator nav_;
};

TEST_F(PriceClientTest, CancelOnTheWaitAbortsTheRequestInFlight) {
    ASSERT_TRUE(service_.started());
    app_.configuration().set("prices.endpoint", service_.address() + "/slow");
    RootViewController root(app_, nav_, dir_.path().string());
    nav_.holdJobs = true;
    root.actionAction();
    ASSERT_EQ(nav_.heldJobs.size(), 1u);
    Job job = std::move(nav_.heldJobs[0].second);

    // The work runs on a thread of its own, as the app runs it, until Cancel is pressed.
    std::atomic<bool> cancelled{false};
    std::function<void()> apply = [] {};
    std::thread worker([&] { apply = job.work([&](double) { return !cancelled.load(); }); });
    for (int i = 0; i < 400 && service_.log().find("\"slow\"") == std::string::npos; ++i)
        std::this_thread::sleep_for(25ms);
    ASSERT_NE(service_.log().find("\"slow\""), std::string::npos) << "the request never arrived";
    cancelled = true;
    worker.join();
    EXPECT_FALSE(apply);  // nothing to show
    // The service saw the connection go while it was still waiting to answer.
    for (int i = 0; i < 400 && service_.log().find("\"gone\"") == std::string::npos; ++i)
        std::this_thread::sleep_for(25ms);
    EXPECT_NE(service_.log().find("\"gone\": true"), std::string::npos) << service_.log();
    EXPECT_TRUE(nav_.alerts.empty());
}

TEST_F(PriceClientTest, PlainHttpAnswersAreReadAndFailuresSaySo) {
    ASSERT_TRUE(service_.started());
    PriceReply reply = client_.post(priceUrl(service_.address() + "/ok", "gas"), "done=profile", nullptr);
    EXPECT_EQ(reply.error, "");
    EXPECT_TRUE(scanQuote(reply.body).found());
    reply = client_.post(priceUrl(service_.address() + "/huge", "gas"), "done=profile", nullptr);
    EXPECT_EQ(reply.body.size(), PriceService::kMaxReply);
    EXPECT_TRUE(scanQuote(reply.body).found());
    reply = client_.post(priceUrl(service_.address() + "/status500", "gas"), "done=profile", nullptr);
    EXPECT_EQ(reply.body, "");
    EXPECT_EQ(reply.error, "the service answered with status 500");
    reply = client_.post("file:///etc/passwd", "", nullptr);
    EXPECT_EQ(reply.body, "");
    EXPECT_NE(reply.error, "");
}

}  // namespace
}  // namespace numbrel
