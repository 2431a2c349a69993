// Whether the network can be reached, asked before anything goes out: the internet for links, mail,
// Dropbox and the price comparison, the local network for the Wi-Fi transfer pages. Every answer is a
// hint: what goes out next may still fail, and says so then.
#pragma once

#include <string>

namespace numbrel {

class Reachability {
public:
    virtual ~Reachability() = default;
    virtual bool internetReachable() const = 0;
    virtual bool localNetworkReachable() const = 0;
    // This machine's address on the local network, in dotted decimal; "(error)" when it has none.
    virtual std::string localIPAddress() const = 0;
};

// Where nothing better is known: the internet is tried, there is no local network to serve on.
class AssumedReachability : public Reachability {
public:
    bool internetReachable() const override { return true; }
    bool localNetworkReachable() const override { return false; }
    std::string localIPAddress() const override { return "(error)"; }
};

}  // namespace numbrel
