// Killing the process at any moment of a save leaves the old or the new store, whole.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "plist/binary_plist.h"
#include "save_child_documents.h"
#include "support/test_support.h"

extern char** environ;

namespace numbrel {
namespace {

TEST(CrashSave, KilledMidSaveLeavesAWholeStore) {
    test::TempDir dir;
    std::string path = dir.file("preferences.plist");
    const Value a = test::crashTestDocument(0), b = test::crashTestDocument(1);
    test::writeFile(path, writeBinaryPlist(a));
    std::mt19937 random(7);
    std::uniform_int_distribution<int> delay(0, 40000);
    int sawA = 0, sawB = 0;
    for (int i = 0; i < 300; ++i) {
        char* args[] = {const_cast<char*>(NUMBREL_SAVE_CHILD), path.data(), nullptr};
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ready[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, ready[0]);
        posix_spawn_file_actions_addclose(&actions, ready[1]);
        pid_t pid = 0;
        ASSERT_EQ(posix_spawn(&pid, NUMBREL_SAVE_CHILD, &actions, nullptr, args, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(ready[1]);
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1) << "the child did not start";
        ::close(ready[0]);
        std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the child stopped by itself: " << status;

        PlistResult r = readBinaryPlist(test::readFile(path));
        ASSERT_TRUE(r.ok()) << "iteration " << i << ": " << r.error;
        bool isA = r.value == a, isB = r.value == b;
        ASSERT_TRUE(isA || isB) << "iteration " << i << ": the store is neither document";
        sawA += isA;
        sawB += isB;
    }
    // The kills landed at different points of the cycle.
    EXPECT_GT(sawA, 0);
    EXPECT_GT(sawB, 0);
}

}  // namespace
}  // namespace numbrel
