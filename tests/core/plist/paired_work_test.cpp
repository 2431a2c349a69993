#include "plist/paired_work.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "platform/worker_thread.h"

namespace numbrel {
namespace {

TEST(PairedWork, BothPiecesRunAndWhatTheyThrowComesBack) {
    ASSERT_TRUE(pairRunnerInstalled());  // the tests run with the worker thread
    int a = 0, b = 0;
    runPair([&] { a = 1; }, [&] { b = 2; });
    EXPECT_EQ(a + b, 3);

    // A piece that throws does not stop the other, and its exception reaches the caller.
    bool otherRan = false;
    EXPECT_THROW(runPair([] { throw std::runtime_error("first"); }, [&] { otherRan = true; }),
                 std::runtime_error);
    EXPECT_TRUE(otherRan);
    otherRan = false;
    try {
        runPair([&] { otherRan = true; }, [] { throw std::length_error("second"); });
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::length_error& e) {
        EXPECT_EQ(std::string(e.what()), "second");
    }
    EXPECT_TRUE(otherRan);
    try {  // both throw: the first piece's is the one told
        runPair([] { throw std::runtime_error("first"); }, [] { throw std::runtime_error("second"); });
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string(e.what()), "first");
    }

    // Without a runner the pieces run in turn.
    installPairRunner({});
    std::string order;
    runPair([&] { order += "1"; }, [&] { order += "2"; });
    EXPECT_EQ(order, "12");
    EXPECT_FALSE(pairRunnerInstalled());
    useWorkerThread(true);
}

}  // namespace
}  // namespace numbrel
