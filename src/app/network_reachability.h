// The app's one answer to "can the network be reached": the platform's network information as a hint
// (a machine it knows to be offline is offline), and the kernel's interfaces and routes behind it.
// Asked on the GUI thread before every network action.
#pragma once

#include "reachability.h"

namespace numbrel::app {

class NetworkReachability : public Reachability {
public:
    bool internetReachable() const override;
    bool localNetworkReachable() const override;
    std::string localIPAddress() const override;

private:
    // The platform's word, when a backend that knows reachability could be loaded.
    enum class Hint { Unknown, Offline, Local, Online };
    Hint hint() const;

    net::SystemReachability system_;
};

}  // namespace numbrel::app
