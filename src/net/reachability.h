// Whether the internet can be reached, asked before a link opens or anything goes out: an interface
// that is up, not loopback, and a default route through it. Cheap enough to ask on every action;
// only a hint, since whatever goes out next may still fail and says so then.
#pragma once

#include <string>
#include <vector>

#include "ui/reachability.h"

namespace numbrel::net {

// From the kernel's routing tables (/proc/net/route, /proc/net/ipv6_route).
bool internetReachable();
// The same reading of two tables' texts, for tests.
bool hasDefaultRoute(const std::string& ipv4Routes, const std::string& ipv6Routes);

// This machine's address on the local network, in dotted decimal: the IPv4 address of the wireless
// interface (a name beginning "wl", the last one listed), else of the interface the default route
// leaves by; "(error)" when there is none.
std::string localIPAddress();
// The same choice from a list of (interface, address) pairs and the routing table's text, for tests.
struct InterfaceAddress {
    std::string interface;
    std::string address;
};
std::string chooseLocalAddress(const std::vector<InterfaceAddress>& addresses, const std::string& ipv4Routes);
// Whether a local network can be reached: an address from localIPAddress.
bool localNetworkReachable();

// The answers above as the screens ask for them.
class SystemReachability : public Reachability {
public:
    bool internetReachable() const override { return net::internetReachable(); }
    bool localNetworkReachable() const override { return net::localNetworkReachable(); }
    std::string localIPAddress() const override { return net::localIPAddress(); }
};

}  // namespace numbrel::net
