// Publishes the transfer server on the local network through the Avahi daemon ("_http._tcp" in
// "local.", named after the host; a name taken by another machine becomes Avahi's alternative). Where
// no daemon answers, the service is published when one starts; where no system bus answers, nothing is
// published. The server works all the same, and the reason is kept for whoever asks.
#pragma once

#include <memory>
#include <string>

namespace numbrel::net {

class ServicePublisher {
public:
    explicit ServicePublisher(int port);
    ~ServicePublisher();  // withdraws the service
    ServicePublisher(const ServicePublisher&) = delete;
    ServicePublisher& operator=(const ServicePublisher&) = delete;

    // The name the service carries once published ("" before), and why it is not, if it is not.
    std::string name() const;
    std::string problem() const;

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace numbrel::net
