// Whether the internet can be reached, asked before a link opens or anything goes out: an interface
// that is up, not loopback, and a default route through it. Cheap enough to ask on every action;
// only a hint, since whatever goes out next may still fail and says so then.
#pragma once

#include <string>

namespace numbrel::net {

// From the kernel's routing tables (/proc/net/route, /proc/net/ipv6_route).
bool internetReachable();
// The same reading of two tables' texts, for tests.
bool hasDefaultRoute(const std::string& ipv4Routes, const std::string& ipv6Routes);

}  // namespace numbrel::net
