// HTTPS requests through libcurl, for services the app talks to (Dropbox, the price comparison):
// blocking, for the work of a job. The other side is not trusted: certificates are checked against the given
// roots only, nothing is followed elsewhere, replies are bounded in size and time, and a file is received
// under a hidden name that the caller renames once it is checked.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace numbrel::net {

struct HttpRequest {
    std::string url;
    std::vector<std::string> headers;  // "Name: value"
    std::string body;                  // sent as it is (POST)
    // Instead of body: a piece of a file (length 0: none, an empty body).
    std::string bodyFile;
    std::uint64_t bodyOffset = 0;
    std::uint64_t bodyLength = 0;
    // Where a reply's body goes when not kept in memory (the file is made or emptied).
    std::string saveTo;
    std::uint64_t maxBody = 16u << 20;          // a reply kept in memory may not be larger
    bool cutAtMaxBody = false;                  // a larger one is read that far and no further
    bool plainHttp = false;                     // plain http to any host (a service offering nothing else)
    long timeoutSeconds = 0;                    // for the whole exchange; 0: only the stall limit
    std::function<bool(double done)> progress;  // false stops the transfer
};

struct HttpResponse {
    long status = 0;                             // 0: no answer (error says why)
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
    std::string error;  // transport failure, "" when an answer came
    bool cancelled = false;
};

// Whether a base URL may be used: https anywhere, plain http only to a loopback address.
bool allowedServiceUrl(const std::string& url);

class HttpClient {
public:
    // The root certificates that servers must chain to: a PEM file, or else PEM text; with neither,
    // the system's.
    HttpClient(std::string caFile, std::string caPem);
    HttpResponse post(const HttpRequest& request) const;

private:
    std::string caFile_;
    std::string caPem_;
};

}  // namespace numbrel::net
