#include "http_server.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "byte_ranges.h"
#include "exchange/wifi_pages.h"
#include "store/text_compare.h"

namespace numbrel::net {

namespace {

using Clock = std::chrono::steady_clock;

std::string httpDate(std::time_t t) {
    std::tm tm{};
    gmtime_r(&t, &tm);
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    char buf[64];
    std::snprintf(buf, sizeof buf, "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[tm.tm_wday], tm.tm_mday,
                  kMonths[tm.tm_mon], tm.tm_year + 1900, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

std::string randomHex(std::size_t bytes) {
    std::vector<unsigned char> raw(bytes);
    std::size_t got = 0;
    while (got < bytes) {
        ssize_t n = ::getrandom(raw.data() + got, bytes - got, 0);
        if (n <= 0) continue;
        got += static_cast<std::size_t>(n);
    }
    static const char* const kHex = "0123456789abcdef";
    std::string out;
    for (unsigned char c : raw) {
        out += kHex[c >> 4];
        out += kHex[c & 15];
    }
    return out;
}

// Compares without leaving the position of the first difference in the time taken.
bool sameSecret(std::string_view a, std::string_view b) {
    unsigned char diff = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < a.size(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ (i < b.size() ? b[i] : 0));
    return diff == 0;
}

// The request target as it came: the pages decode it themselves, so that an encoded "/" or NUL is
// seen for what it is.
size_t keepEscapes(void*, MHD_Connection*, char* s) {
    return std::strlen(s);
}

void quietLogger(void*, const char* format, va_list args) {
    if (std::getenv("NUMBREL_HTTP_LOG")) std::vfprintf(stderr, format, args);
}

const char* header(MHD_Connection* c, const char* name) {
    return MHD_lookup_connection_value(c, MHD_HEADER_KIND, name);
}

// The several ranges of a multipart/byteranges body, read from the file as they are sent.
struct Multipart {
    int fd = -1;
    struct Piece {
        std::string head;  // the part's boundary line and headers
        ByteRange range;
    };
    std::vector<Piece> pieces;
    std::string tail;
    std::uint64_t total = 0;

    ~Multipart() {
        if (fd >= 0) ::close(fd);
    }

    ssize_t read(std::uint64_t pos, char* buf, std::size_t max) {
        std::uint64_t at = 0;
        for (const Piece& p : pieces) {
            if (pos < at + p.head.size()) {
                std::size_t off = static_cast<std::size_t>(pos - at);
                std::size_t n = std::min(max, p.head.size() - off);
                std::memcpy(buf, p.head.data() + off, n);
                return static_cast<ssize_t>(n);
            }
            at += p.head.size();
            if (pos < at + p.range.size()) {
                std::uint64_t off = pos - at;
                std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(max, p.range.size() - off));
                ssize_t got = ::pread(fd, buf, n, static_cast<off_t>(p.range.first + off));
                return got > 0 ? got : MHD_CONTENT_READER_END_WITH_ERROR;
            }
            at += p.range.size();
        }
        if (pos < at + tail.size()) {
            std::size_t off = static_cast<std::size_t>(pos - at);
            std::size_t n = std::min(max, tail.size() - off);
            std::memcpy(buf, tail.data() + off, n);
            return static_cast<ssize_t>(n);
        }
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
};

struct Request {
    std::unique_ptr<HTTPConnection> connection;
    std::string method;
    std::string path;
    std::uint64_t received = 0;
    bool answered = false;  // a response went out on an earlier call
};

}  // namespace

struct HttpServer::Impl {
    HttpServerOptions options;
    ConnectionFactory factory;
    MHD_Daemon* daemon = nullptr;
    int port = 0;
    std::string digestRandom = randomHex(32);
    std::string opaque = randomHex(16);

    // Connections waiting for a request's headers, and until when.
    struct Watched {
        int fd = -1;
        Clock::time_point deadline = Clock::time_point::max();
    };
    std::mutex mutex;
    std::condition_variable wake;
    std::map<MHD_Connection*, Watched> watched;
    bool stopping = false;
    std::thread watchdog;

    // This machine's addresses, read again now and then.
    std::mutex addressMutex;
    std::vector<std::string> addresses;
    Clock::time_point addressesRead{};

    MHD_Result access(MHD_Connection* c, const char* url, const char* method, const char* version,
                      const char* data, size_t* size, void** context);
    MHD_Result respond(MHD_Connection* c, Request& request, HTTPResponse response);
    MHD_Result fileResponse(MHD_Connection* c, Request& request, UniqueFd file);
    MHD_Result refuse(MHD_Connection* c, Request& request, unsigned status, const char* text);
    MHD_Result challenge(MHD_Connection* c, Request& request, bool stale);
    bool authorized(MHD_Connection* c, bool& stale);
    bool hostAllowed(MHD_Connection* c, const char* version);
    bool originAllowed(MHD_Connection* c);
    bool isLocalAddress(const std::string& host);

    void connectionEvent(MHD_Connection* c, MHD_ConnectionNotificationCode code);
    void requestCompleted(MHD_Connection* c, void** context);
    void headersArrived(MHD_Connection* c);
    void watch();
};

namespace {

MHD_Response* textResponse(const std::string& body, const char* type = "text/html; charset=utf-8") {
    MHD_Response* r =
        MHD_create_response_from_buffer(body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_MUST_COPY);
    if (r) MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, type);
    return r;
}

MHD_Result queue(MHD_Connection* c, unsigned status, MHD_Response* r) {
    if (!r) return MHD_NO;
    MHD_Result result = MHD_queue_response(c, status, r);
    MHD_destroy_response(r);
    return result;
}

}  // namespace

MHD_Result HttpServer::Impl::refuse(MHD_Connection* c, Request& request, unsigned status, const char* text) {
    request.answered = true;
    MHD_Response* r = textResponse(std::string("<html><body><h1>") + text + "</h1></body></html>");
    if (r && status == MHD_HTTP_METHOD_NOT_ALLOWED) MHD_add_response_header(r, "Allow", "GET, HEAD, POST");
    return queue(c, status, r);
}

MHD_Result HttpServer::Impl::challenge(MHD_Connection* c, Request& request, bool stale) {
    request.answered = true;
    MHD_Response* r = textResponse("<html><body><h1>Password required</h1></body></html>");
    if (!r) return MHD_NO;
    const std::string basic = "Basic realm=\"" + options.realm + "\", charset=\"UTF-8\"";
    MHD_add_response_header(r, MHD_HTTP_HEADER_WWW_AUTHENTICATE, basic.c_str());
    MHD_Result result = MHD_queue_auth_fail_response2(
        c, options.realm.c_str(), opaque.c_str(), r, stale ? MHD_YES : MHD_NO,
        options.digest == HttpServerOptions::Digest::SHA256 ? MHD_DIGEST_ALG_SHA256 : MHD_DIGEST_ALG_MD5);
    MHD_destroy_response(r);
    return result;
}

bool HttpServer::Impl::authorized(MHD_Connection* c, bool& stale) {
    const char* value = header(c, MHD_HTTP_HEADER_AUTHORIZATION);
    if (!value) return false;
    if (strncasecmp(value, "Basic ", 6) == 0) {
        char* password = nullptr;
        char* user = MHD_basic_auth_get_username_password(c, &password);
        const bool ok = user && password && sameSecret(password, options.password);
        MHD_free(user);
        MHD_free(password);
        return ok;
    }
    if (strncasecmp(value, "Digest ", 7) == 0) {
        char* user = MHD_digest_auth_get_username(c);
        if (!user) return false;
        const std::string lowered = asciiLower(value);
        const bool sha256 = lowered.find("algorithm=sha-256") != std::string::npos ||
                            lowered.find("algorithm=\"sha-256\"") != std::string::npos;
        int result = MHD_digest_auth_check2(c, options.realm.c_str(), user, options.password.c_str(), 300,
                                            sha256 ? MHD_DIGEST_ALG_SHA256 : MHD_DIGEST_ALG_MD5);
        MHD_free(user);
        if (result == MHD_INVALID_NONCE) stale = true;
        return result == MHD_YES;
    }
    return false;
}

bool HttpServer::Impl::isLocalAddress(const std::string& host) {
    std::lock_guard lock(addressMutex);
    const Clock::time_point now = Clock::now();
    if (now - addressesRead > std::chrono::seconds(5)) {
        addresses.clear();
        ifaddrs* list = nullptr;
        if (::getifaddrs(&list) == 0) {
            for (ifaddrs* i = list; i; i = i->ifa_next) {
                if (!i->ifa_addr) continue;
                char text[INET6_ADDRSTRLEN] = {};
                if (i->ifa_addr->sa_family == AF_INET)
                    ::inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(i->ifa_addr)->sin_addr, text,
                                sizeof text);
                else if (i->ifa_addr->sa_family == AF_INET6)
                    ::inet_ntop(AF_INET6, &reinterpret_cast<sockaddr_in6*>(i->ifa_addr)->sin6_addr, text,
                                sizeof text);
                else
                    continue;
                addresses.push_back(asciiLower(text));
            }
            ::freeifaddrs(list);
        }
        addressesRead = now;
    }
    return std::find(addresses.begin(), addresses.end(), host) != addresses.end();
}

namespace {

// The name or address of a Host value, lower case, without port, brackets, IPv6 zone or final dot;
// "" when it is malformed.
std::string hostPart(const std::string& value) {
    std::string host = asciiLower(value);
    if (!host.empty() && host.front() == '[') {
        std::size_t close = host.find(']');
        if (close == std::string::npos) return "";
        host = host.substr(1, close - 1);
        if (std::size_t zone = host.find('%'); zone != std::string::npos) host.erase(zone);
    } else if (std::count(host.begin(), host.end(), ':') == 1) {
        host.erase(host.find(':'));
    }
    if (!host.empty() && host.back() == '.') host.pop_back();
    return host;
}

}  // namespace

std::optional<HttpServerOptions::Digest> digestNamed(const std::string& name) {
    const std::string n = asciiLower(name);
    if (n == "md5") return HttpServerOptions::Digest::MD5;
    if (n == "sha-256") return HttpServerOptions::Digest::SHA256;
    return std::nullopt;
}

bool hostNamesThisMachine(const std::string& value, const std::vector<std::string>& extra) {
    const std::string host = hostPart(value);
    if (host.empty()) return false;
    if (host == "localhost" || host == "::1") return true;
    in_addr v4{};
    if (::inet_pton(AF_INET, host.c_str(), &v4) == 1 && (ntohl(v4.s_addr) >> 24) == 127) return true;
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) == 0) {
        const std::string self = asciiLower(name);
        if (host == self || host == self + ".local") return true;
    }
    for (const std::string& e : extra)
        if (host == asciiLower(e)) return true;
    return false;
}

bool HttpServer::Impl::hostAllowed(MHD_Connection* c, const char* version) {
    const char* host = header(c, MHD_HTTP_HEADER_HOST);
    if (!host) return std::strcmp(version, MHD_HTTP_VERSION_1_0) == 0;
    return hostNamesThisMachine(host, options.extraHosts) || isLocalAddress(hostPart(host));
}

bool HttpServer::Impl::originAllowed(MHD_Connection* c) {
    const char* origin = header(c, "Origin");
    if (!origin) return true;  // not a browser's cross-site form
    const char* host = header(c, MHD_HTTP_HEADER_HOST);
    if (!host) return false;
    const std::string o = asciiLower(origin);
    for (const char* scheme : {"http://", "https://"})
        if (o.rfind(scheme, 0) == 0) return o.substr(std::strlen(scheme)) == asciiLower(host);
    return false;  // "null" and anything else
}

MHD_Result HttpServer::Impl::fileResponse(MHD_Connection* c, Request& request, UniqueFd file) {
    struct stat st {};
    if (::fstat(file.get(), &st) != 0) return refuse(c, request, MHD_HTTP_NOT_FOUND, "Not Found");
    const std::uint64_t length = static_cast<std::uint64_t>(st.st_size);
    char etag[64];
    std::snprintf(etag, sizeof etag, "\"%llx-%llx\"", static_cast<unsigned long long>(st.st_mtime),
                  static_cast<unsigned long long>(length));
    const std::string modified = httpDate(st.st_mtime);

    RangeAnswer ranges;
    const char* range = header(c, MHD_HTTP_HEADER_RANGE);
    if (range && request.method == "GET") {
        const char* ifRange = header(c, MHD_HTTP_HEADER_IF_RANGE);
        // A strong validator that still holds, or none: only then are pieces of the file what was asked.
        const bool current =
            !ifRange || (ifRange[0] == '"' ? std::strcmp(ifRange, etag) == 0 : modified == ifRange);
        if (current) ranges = parseRange(range, length);
    }

    auto common = [&](MHD_Response* r) {
        MHD_add_response_header(r, MHD_HTTP_HEADER_ACCEPT_RANGES, "bytes");
        MHD_add_response_header(r, MHD_HTTP_HEADER_ETAG, etag);
        MHD_add_response_header(r, MHD_HTTP_HEADER_LAST_MODIFIED, modified.c_str());
    };
    request.answered = true;
    const std::string total = std::to_string(length);
    switch (ranges.kind) {
        case RangeAnswer::Kind::Unsatisfiable: {
            MHD_Response* r = textResponse("<html><body><h1>Range Not Satisfiable</h1></body></html>");
            if (!r) return MHD_NO;
            MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_RANGE, ("bytes */" + total).c_str());
            common(r);
            return queue(c, MHD_HTTP_RANGE_NOT_SATISFIABLE, r);
        }
        case RangeAnswer::Kind::Whole: {
            MHD_Response* r = length == 0
                                  ? MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT)
                                  : MHD_create_response_from_fd_at_offset64(length, file.get(), 0);
            if (!r) return MHD_NO;
            if (length != 0) file.release();  // the response closes it
            MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, "application/octet-stream");
            common(r);
            return queue(c, MHD_HTTP_OK, r);
        }
        case RangeAnswer::Kind::Partial:
            break;
    }
    if (ranges.ranges.size() == 1) {
        const ByteRange& one = ranges.ranges.front();
        MHD_Response* r = MHD_create_response_from_fd_at_offset64(one.size(), file.get(),
                                                                  static_cast<std::int64_t>(one.first));
        if (!r) return MHD_NO;
        file.release();
        MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, "application/octet-stream");
        MHD_add_response_header(
            r, MHD_HTTP_HEADER_CONTENT_RANGE,
            ("bytes " + std::to_string(one.first) + "-" + std::to_string(one.last) + "/" + total).c_str());
        common(r);
        return queue(c, MHD_HTTP_PARTIAL_CONTENT, r);
    }
    auto parts = std::make_unique<Multipart>();
    const std::string boundary = randomHex(10);
    for (const ByteRange& piece : ranges.ranges) {
        std::string head =
            "\r\n--" + boundary + "\r\nContent-Type: application/octet-stream\r\nContent-Range: bytes " +
            std::to_string(piece.first) + "-" + std::to_string(piece.last) + "/" + total + "\r\n\r\n";
        parts->total += head.size() + piece.size();
        parts->pieces.push_back({std::move(head), piece});
    }
    parts->tail = "\r\n--" + boundary + "--\r\n";
    parts->total += parts->tail.size();
    parts->fd = file.release();
    const std::uint64_t size = parts->total;
    Multipart* raw = parts.release();
    MHD_Response* r = MHD_create_response_from_callback(
        size, 64 * 1024,
        [](void* cls, std::uint64_t pos, char* buf, size_t max) -> ssize_t {
            return static_cast<Multipart*>(cls)->read(pos, buf, max);
        },
        raw, [](void* cls) { delete static_cast<Multipart*>(cls); });
    if (!r) {
        delete raw;
        return MHD_NO;
    }
    MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE,
                            ("multipart/byteranges; boundary=" + boundary).c_str());
    common(r);
    return queue(c, MHD_HTTP_PARTIAL_CONTENT, r);
}

MHD_Result HttpServer::Impl::respond(MHD_Connection* c, Request& request, HTTPResponse response) {
    switch (response.kind) {
        case HTTPResponse::Kind::None:
            return refuse(c, request, MHD_HTTP_NOT_FOUND, "Not Found");
        case HTTPResponse::Kind::File:
            return fileResponse(c, request, std::move(response.file));
        case HTTPResponse::Kind::Data:
            break;
    }
    request.answered = true;
    MHD_Response* r = textResponse(response.body, response.contentType.c_str());
    if (r) MHD_add_response_header(r, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    return queue(c, MHD_HTTP_OK, r);
}

MHD_Result HttpServer::Impl::access(MHD_Connection* c, const char* url, const char* method,
                                    const char* version, const char* data, size_t* size, void** context) {
    auto* request = static_cast<Request*>(*context);
    if (!request) {
        request = new Request;
        *context = request;
        headersArrived(c);
        request->method = method;
        if (!hostAllowed(c, version))
            return refuse(c, *request, MHD_HTTP_MISDIRECTED_REQUEST, "Unknown Host");
        std::optional<std::string> path = requestPath(url);
        if (!path) return refuse(c, *request, MHD_HTTP_BAD_REQUEST, "Bad Request");
        request->path = *path;
        request->connection = factory();
        if (!request->connection) return refuse(c, *request, MHD_HTTP_SERVICE_UNAVAILABLE, "Unavailable");
        if (!request->connection->supportsMethod(request->method, request->path))
            return refuse(c, *request, MHD_HTTP_METHOD_NOT_ALLOWED, "Method Not Allowed");
        if (!options.password.empty()) {
            bool stale = false;
            if (!authorized(c, stale)) return challenge(c, *request, stale);
        }
        if (request->method == "POST") {
            if (!originAllowed(c)) return refuse(c, *request, MHD_HTTP_FORBIDDEN, "Forbidden");
            std::int64_t announced = -1;
            if (const char* length = header(c, MHD_HTTP_HEADER_CONTENT_LENGTH)) {
                char* end = nullptr;
                unsigned long long n = std::strtoull(length, &end, 10);
                if (n > options.uploadLimit)
                    return refuse(c, *request, MHD_HTTP_CONTENT_TOO_LARGE, "Too Large");
                announced = static_cast<std::int64_t>(n);
            }
            request->connection->prepareForBodyWithSize(announced);
        }
        return MHD_YES;  // answered once the request has been read whole, so the connection can stay open
    }
    if (request->answered) {  // the rest of a refused body is not read
        *size = 0;
        return MHD_YES;
    }
    if (*size > 0) {
        request->received += *size;
        if (request->received > options.uploadLimit) {
            request->connection.reset();  // drops what was received
            *size = 0;
            return refuse(c, *request, MHD_HTTP_CONTENT_TOO_LARGE, "Too Large");
        }
        request->connection->processDataChunk(std::string_view(data, *size));
        *size = 0;
        return MHD_YES;
    }
    return respond(
        c, *request,
        request->connection->httpResponseForMethod(request->method, request->path, request->received));
}

void HttpServer::Impl::headersArrived(MHD_Connection* c) {
    std::lock_guard lock(mutex);
    auto at = watched.find(c);
    if (at != watched.end()) at->second.deadline = Clock::time_point::max();
}

void HttpServer::Impl::requestCompleted(MHD_Connection* c, void** context) {
    delete static_cast<Request*>(*context);  // an upload cut short leaves nothing behind
    *context = nullptr;
    std::lock_guard lock(mutex);
    auto at = watched.find(c);
    if (at != watched.end()) {
        // Kept alive: the next request must come whole in time, however slowly it trickles in.
        at->second.deadline = Clock::now() + options.idleTimeout + options.headerTimeout;
        wake.notify_one();
    }
}

void HttpServer::Impl::connectionEvent(MHD_Connection* c, MHD_ConnectionNotificationCode code) {
    std::lock_guard lock(mutex);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        const MHD_ConnectionInfo* info = MHD_get_connection_info(c, MHD_CONNECTION_INFO_CONNECTION_FD);
        if (!info) return;
        watched[c] = Watched{info->connect_fd, Clock::now() + options.headerTimeout};
        wake.notify_one();
    } else {
        watched.erase(c);  // before libmicrohttpd closes the socket, so the fd is never another's
    }
}

void HttpServer::Impl::watch() {
    std::unique_lock lock(mutex);
    while (!stopping) {
        Clock::time_point next = Clock::time_point::max();
        for (const auto& [c, w] : watched)
            next = std::min(next, w.deadline);
        if (next == Clock::time_point::max())
            wake.wait(lock);
        else
            wake.wait_until(lock, next);
        const Clock::time_point now = Clock::now();
        for (auto& [c, w] : watched)
            if (w.deadline <= now) {
                ::shutdown(w.fd, SHUT_RDWR);  // libmicrohttpd sees the end and closes it
                w.deadline = Clock::time_point::max();
            }
    }
}

HttpServer::HttpServer(HttpServerOptions options, ConnectionFactory factory)
    : impl_(std::make_unique<Impl>()) {
    impl_->options = std::move(options);
    impl_->factory = std::move(factory);
}

HttpServer::~HttpServer() {
    stop();
}

std::optional<std::string> HttpServer::start() {
    if (impl_->daemon) return std::nullopt;
    Impl& d = *impl_;
    // Writes to a closed connection fail with EPIPE instead of killing the process, and sendfile can be used.
    std::signal(SIGPIPE, SIG_IGN);

    sockaddr_storage address{};
    socklen_t addressLength = 0;
    unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ERROR_LOG | MHD_USE_TURBO;
    if (!d.options.bindAddress.empty()) {
        auto* v4 = reinterpret_cast<sockaddr_in*>(&address);
        auto* v6 = reinterpret_cast<sockaddr_in6*>(&address);
        if (::inet_pton(AF_INET, d.options.bindAddress.c_str(), &v4->sin_addr) == 1) {
            v4->sin_family = AF_INET;
            v4->sin_port = htons(static_cast<uint16_t>(d.options.port));
            addressLength = sizeof(sockaddr_in);
        } else if (::inet_pton(AF_INET6, d.options.bindAddress.c_str(), &v6->sin6_addr) == 1) {
            v6->sin6_family = AF_INET6;
            v6->sin6_port = htons(static_cast<uint16_t>(d.options.port));
            addressLength = sizeof(sockaddr_in6);
            flags |= MHD_USE_IPv6;
        } else {
            return "not an address to listen on: " + d.options.bindAddress;
        }
    }

    auto accessCallback = [](void* cls, MHD_Connection* c, const char* url, const char* method,
                             const char* version, const char* data, size_t* size,
                             void** context) -> MHD_Result {
        return static_cast<Impl*>(cls)->access(c, url, method, version, data, size, context);
    };
    auto completed = [](void* cls, MHD_Connection* c, void** context, MHD_RequestTerminationCode) {
        static_cast<Impl*>(cls)->requestCompleted(c, context);
    };
    auto connection = [](void* cls, MHD_Connection* c, void**, MHD_ConnectionNotificationCode code) {
        static_cast<Impl*>(cls)->connectionEvent(c, code);
    };
    using Completed = void (*)(void*, MHD_Connection*, void**, MHD_RequestTerminationCode);
    using Notify = void (*)(void*, MHD_Connection*, void**, MHD_ConnectionNotificationCode);
    using Unescape = size_t (*)(void*, MHD_Connection*, char*);
    using Logger = void (*)(void*, const char*, va_list);

    auto launch = [&](unsigned withFlags) {
        MHD_OptionItem items[] = {
            {MHD_OPTION_EXTERNAL_LOGGER, reinterpret_cast<intptr_t>(static_cast<Logger>(quietLogger)),
             nullptr},
            {MHD_OPTION_CONNECTION_TIMEOUT, static_cast<intptr_t>(d.options.idleTimeout.count()), nullptr},
            {MHD_OPTION_CONNECTION_LIMIT, static_cast<intptr_t>(d.options.connectionLimit), nullptr},
            {MHD_OPTION_PER_IP_CONNECTION_LIMIT, static_cast<intptr_t>(d.options.perAddressLimit), nullptr},
            {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<intptr_t>(d.options.connectionMemory), nullptr},
            {MHD_OPTION_DIGEST_AUTH_RANDOM, static_cast<intptr_t>(d.digestRandom.size()),
             d.digestRandom.data()},
            {MHD_OPTION_NONCE_NC_SIZE, 1024, nullptr},
            {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(static_cast<Completed>(completed)), &d},
            {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(static_cast<Notify>(connection)), &d},
            {MHD_OPTION_UNESCAPE_CALLBACK, reinterpret_cast<intptr_t>(static_cast<Unescape>(keepEscapes)),
             nullptr},
            {MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1, nullptr},
            {MHD_OPTION_LISTEN_BACKLOG_SIZE, 511, nullptr},
            {addressLength ? MHD_OPTION_SOCK_ADDR : MHD_OPTION_END, 0, addressLength ? &address : nullptr},
            {MHD_OPTION_END, 0, nullptr},
        };
        return MHD_start_daemon(withFlags, static_cast<uint16_t>(d.options.port), nullptr, nullptr,
                                accessCallback, &d, MHD_OPTION_ARRAY, items, MHD_OPTION_END);
    };
    d.daemon = addressLength ? launch(flags) : launch(flags | MHD_USE_DUAL_STACK);
    if (!d.daemon && !addressLength) d.daemon = launch(flags);  // no IPv6 here
    if (!d.daemon) {
        return "cannot listen on " +
               (d.options.bindAddress.empty() ? std::string("*") : d.options.bindAddress) + ":" +
               std::to_string(d.options.port) + ": " + std::strerror(errno);
    }
    const MHD_DaemonInfo* info = MHD_get_daemon_info(d.daemon, MHD_DAEMON_INFO_BIND_PORT);
    d.port = info ? info->port : d.options.port;
    {
        std::lock_guard lock(d.mutex);
        d.stopping = false;
    }
    d.watchdog = std::thread([&d] { d.watch(); });
    return std::nullopt;
}

void HttpServer::stop() {
    Impl& d = *impl_;
    if (!d.daemon) return;
    MHD_stop_daemon(d.daemon);
    d.daemon = nullptr;
    {
        std::lock_guard lock(d.mutex);
        d.stopping = true;
        d.watched.clear();
    }
    d.wake.notify_one();
    if (d.watchdog.joinable()) d.watchdog.join();
}

bool HttpServer::running() const {
    return impl_->daemon != nullptr;
}

int HttpServer::port() const {
    return impl_->port;
}

}  // namespace numbrel::net
