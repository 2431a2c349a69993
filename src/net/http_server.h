// A small HTTP/1.1 server over libmicrohttpd (its own epoll thread) serving one folder through an
// HTTPConnection per request: GET and HEAD of files with byte ranges (sendfile), generated pages,
// request bodies streamed to the connection. It treats every client as hostile: limits on
// connections, header size and time, body size; paths kept inside the folder; Host and Origin
// checked; an optional password (basic or digest).
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "exchange/http_connection.h"

namespace numbrel::net {

struct HttpServerOptions {
    std::string bindAddress;  // "" for every address (IPv4 and IPv6)
    int port = 0;             // 0: the system picks one; port() tells which
    std::string password;     // "" for none
    enum class Digest { MD5, SHA256 };
    Digest digest = Digest::MD5;  // the digest offered (MD5 is the one every browser speaks)
    std::string realm = "Numbrel";
    std::uint64_t uploadLimit = 1ull << 30;  // bytes of a request body, more is 413
    std::chrono::seconds idleTimeout{30};    // a connection with nothing to say is closed
    std::chrono::seconds headerTimeout{15};  // a request's headers must be whole by then
    unsigned connectionLimit = 256;
    unsigned perAddressLimit = 64;
    std::size_t connectionMemory = 128 * 1024;  // request line, headers and read buffer of a connection
    // Names the Host header may carry besides this machine's addresses, "localhost" and the host
    // name (with or without ".local").
    std::vector<std::string> extraHosts;
};

// "md5" or "sha-256" (any case), or nullopt.
std::optional<HttpServerOptions::Digest> digestNamed(const std::string& name);

class HttpServer {
public:
    using ConnectionFactory = std::function<std::unique_ptr<HTTPConnection>()>;

    HttpServer(HttpServerOptions options, ConnectionFactory factory);
    ~HttpServer();  // stops
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Starts listening; an error message when it cannot.
    std::optional<std::string> start();
    void stop();
    bool running() const;
    int port() const;

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

// Whether a Host header value names this machine: localhost, a loopback or local interface address,
// the host name, the host name with ".local", or one of extra; a port after ":" is ignored.
bool hostNamesThisMachine(const std::string& host, const std::vector<std::string>& extra);

}  // namespace numbrel::net
