// The price comparison service over HTTP: the form posted through libcurl, for a job's work. The
// service is plain HTTP as often as not; its reply is read to 1 MB at most, within 30 seconds.
#pragma once

#include "http_client.h"
#include "main/price_comparison.h"

namespace numbrel::net {

class PriceClient : public PriceService {
public:
    static constexpr long kTimeoutSeconds = 30;
    // https services are checked against the system's root certificates.
    PriceClient() : http_({}, {}) {}
    PriceReply post(const std::string& url, const std::string& body, const Progress& progress) override;

private:
    HttpClient http_;
};

}  // namespace numbrel::net
