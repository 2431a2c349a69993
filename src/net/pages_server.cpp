#include "pages_server.h"

#include <cstdlib>

#include "exchange/wifi_pages.h"

namespace numbrel::net {

HttpServerOptions transferOptions(const Configuration& configuration) {
    HttpServerOptions options;
    options.password = configuration.value("wifi.password");
    if (std::optional<HttpServerOptions::Digest> digest = digestNamed(configuration.value("wifi.digest")))
        options.digest = *digest;
    const std::string limit = configuration.value("wifi.upload-limit");
    if (!limit.empty()) {
        char* end = nullptr;
        unsigned long long n = std::strtoull(limit.c_str(), &end, 10);
        if (end && *end == '\0' && n > 0) options.uploadLimit = n;
    }
    return options;
}

PagesServer::PagesServer(HttpServerOptions options, Post post)
    : options_(std::move(options)), post_(std::move(post)) {}

PagesServer::~PagesServer() {
    stop();
}

std::variant<int, std::string> PagesServer::start(const std::string& folder, std::function<void()> uploaded) {
    stop();
    auto notify = [post = post_, uploaded = std::move(uploaded)] {
        if (!uploaded) return;
        if (post)
            post(uploaded);
        else
            uploaded();
    };
    server_ = std::make_unique<HttpServer>(
        options_, [folder, notify] { return std::make_unique<MyHTTPConnection>(folder, notify); });
    if (std::optional<std::string> problem = server_->start()) {
        server_.reset();
        return *problem;
    }
    publisher_ = std::make_unique<ServicePublisher>(server_->port());
    return server_->port();
}

void PagesServer::stop() {
    publisher_.reset();
    if (server_) server_->stop();  // no upload callback runs after this
    server_.reset();
}

}  // namespace numbrel::net
