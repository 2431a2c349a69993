// A network whose reachability the test sets: online, with a local network at 192.168.1.20, unless
// told otherwise.
#pragma once

#include <string>

#include "ui/reachability.h"

namespace numbrel::test {

struct FakeReachability : Reachability {
    bool internetReachable() const override { return online; }
    bool localNetworkReachable() const override { return localNetwork; }
    std::string localIPAddress() const override { return address; }

    bool online = true;
    bool localNetwork = true;
    std::string address = "192.168.1.20";
};

}  // namespace numbrel::test
