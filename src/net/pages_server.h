// The Wi-Fi transfer pages as a running service: the HTTP server with a MyHTTPConnection per request
// over a folder, published on the local network. Its options come from numbrel.conf ("[wifi]":
// password, digest, upload-limit).
#pragma once

#include <functional>
#include <memory>

#include "http_server.h"
#include "service_publisher.h"
#include "store/configuration.h"
#include "ui/transfer_server.h"

namespace numbrel::net {

HttpServerOptions transferOptions(const Configuration& configuration);

class PagesServer : public TransferServer {
public:
    // post hands a call from the server's thread to the screen's (the app queues it on the GUI
    // thread; null runs it where it is).
    using Post = std::function<void(std::function<void()>)>;
    PagesServer(HttpServerOptions options, Post post);
    ~PagesServer() override;

    std::variant<int, std::string> start(const std::string& folder, std::function<void()> uploaded) override;
    void stop() override;
    // How publication on the local network goes, while running (null otherwise).
    const ServicePublisher* publisher() const { return publisher_.get(); }

private:
    HttpServerOptions options_;
    Post post_;
    std::unique_ptr<HttpServer> server_;
    std::unique_ptr<ServicePublisher> publisher_;
};

}  // namespace numbrel::net
