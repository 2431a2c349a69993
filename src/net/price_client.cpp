#include "price_client.h"

namespace numbrel::net {

PriceReply PriceClient::post(const std::string& url, const std::string& body, const Progress& progress) {
    HttpRequest request;
    request.url = url;
    request.body = body;
    request.headers = {"Content-Type: application/x-www-form-urlencoded"};
    request.plainHttp = true;
    request.timeoutSeconds = kTimeoutSeconds;
    request.maxBody = kMaxReply;
    request.cutAtMaxBody = true;
    request.progress = progress;
    HttpResponse response = http_.post(request);

    PriceReply reply;
    reply.cancelled = response.cancelled;
    if (!response.error.empty())
        reply.error = response.error;
    else if (response.status < 200 || response.status > 299)
        reply.error = "the service answered with status " + std::to_string(response.status);
    else
        reply.body = std::move(response.body);
    return reply;
}

}  // namespace numbrel::net
