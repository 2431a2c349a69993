// A started application over a fresh store in a temporary folder, pinned to en_GB, Europe/London and
// 2026-11-22 12:00Z: the ground of the screen-model tests.
#pragma once

#include <gtest/gtest.h>

#include "store/app_delegate.h"
#include "store/document.h"
#include "support/test_support.h"

namespace numbrel::test {

class AppFixture : public ::testing::Test {
protected:
    AppFixture() : store_(dir_.file("p.plist")), app_(pinnedEnvironment(), store_) {
        app_.applicationDidFinishLaunching();
    }
    Value& meter(int i = 0) { return (*metersOf(app_.settings()))[static_cast<std::size_t>(i)]; }

    TempDir dir_;
    PreferencesStore store_;
    NumbrelAppDelegate app_;
};

}  // namespace numbrel::test
