#include "reachability.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace numbrel::net {

namespace {

constexpr unsigned kRouteUp = 0x1;

std::string readAll(const char* path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

bool hasDefaultRoute(const std::string& ipv4Routes, const std::string& ipv6Routes) {
    // "Iface Destination Gateway Flags ..." with hexadecimal fields; a default route goes to 00000000.
    std::istringstream v4(ipv4Routes);
    std::string line;
    std::getline(v4, line);  // the heading
    while (std::getline(v4, line)) {
        std::istringstream fields(line);
        std::string iface, destination, gateway, flags;
        if (!(fields >> iface >> destination >> gateway >> flags)) continue;
        if (iface == "lo" || destination != "00000000") continue;
        if (std::strtoul(flags.c_str(), nullptr, 16) & kRouteUp) return true;
    }
    // "destination prefix source prefix next-hop metric refcnt use flags iface": ::/0 is the default.
    std::istringstream v6(ipv6Routes);
    while (std::getline(v6, line)) {
        std::istringstream fields(line);
        std::string destination, prefix, source, sourcePrefix, hop, metric, refs, use, flags, iface;
        if (!(fields >> destination >> prefix >> source >> sourcePrefix >> hop >> metric >> refs >> use >>
              flags >> iface))
            continue;
        if (iface == "lo" || prefix != "00" || destination != std::string(32, '0')) continue;
        if (std::strtoul(flags.c_str(), nullptr, 16) & kRouteUp) return true;
    }
    return false;
}

bool internetReachable() {
    std::string v4 = readAll("/proc/net/route"), v6 = readAll("/proc/net/ipv6_route");
    // Tables that cannot be read tell nothing: try, and let the attempt say what fails.
    if (v4.empty() && v6.empty()) return true;
    return hasDefaultRoute(v4, v6);
}

namespace {

// The interface of the IPv4 default route, or "".
std::string defaultRouteInterface(const std::string& ipv4Routes) {
    std::istringstream v4(ipv4Routes);
    std::string line;
    std::getline(v4, line);
    while (std::getline(v4, line)) {
        std::istringstream fields(line);
        std::string iface, destination, gateway, flags;
        if (!(fields >> iface >> destination >> gateway >> flags)) continue;
        if (iface != "lo" && destination == "00000000" &&
            (std::strtoul(flags.c_str(), nullptr, 16) & kRouteUp))
            return iface;
    }
    return "";
}

}  // namespace

std::string chooseLocalAddress(const std::vector<InterfaceAddress>& addresses,
                               const std::string& ipv4Routes) {
    std::string wireless;
    for (const InterfaceAddress& a : addresses)
        if (a.interface.rfind("wl", 0) == 0) wireless = a.address;  // the last one wins
    if (!wireless.empty()) return wireless;
    const std::string route = defaultRouteInterface(ipv4Routes);
    std::string routed;
    for (const InterfaceAddress& a : addresses)
        if (!route.empty() && a.interface == route) routed = a.address;
    return routed.empty() ? "(error)" : routed;
}

std::string localIPAddress() {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return "(error)";
    std::vector<InterfaceAddress> addresses;
    for (ifaddrs* i = list; i; i = i->ifa_next) {
        if (!i->ifa_addr || i->ifa_addr->sa_family != AF_INET || !i->ifa_name) continue;
        char text[INET_ADDRSTRLEN] = {};
        ::inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(i->ifa_addr)->sin_addr, text, sizeof text);
        addresses.push_back({i->ifa_name, text});
    }
    ::freeifaddrs(list);
    return chooseLocalAddress(addresses, readAll("/proc/net/route"));
}

bool localNetworkReachable() {
    return localIPAddress() != "(error)";
}

}  // namespace numbrel::net
