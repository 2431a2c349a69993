#include "http_client.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "store/text_compare.h"

namespace numbrel::net {

namespace {

struct Transfer {
    const HttpRequest& request;
    HttpResponse& response;
    std::FILE* out = nullptr;
    std::FILE* in = nullptr;
    std::uint64_t left = 0;  // of the body piece still to send
    bool tooLarge = false;
    bool cut = false;  // the reply was cut at maxBody, as asked
};

std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* user) {
    auto* t = static_cast<Transfer*>(user);
    const std::string line(data, size * count);
    // A new status line (after a 100 Continue) starts the headers again.
    if (line.starts_with("HTTP/")) {
        t->response.headers.clear();
        const std::size_t space = line.find(' ');
        t->response.status = space == std::string::npos ? 0 : std::atol(line.c_str() + space + 1);
        return size * count;
    }
    const std::size_t colon = line.find(':');
    if (colon != std::string::npos) {
        std::string value = line.substr(colon + 1);
        const std::size_t begin = value.find_first_not_of(" \t");
        const std::size_t end = value.find_last_not_of(" \t\r\n");
        value = begin == std::string::npos ? "" : value.substr(begin, end - begin + 1);
        t->response.headers[asciiLower(line.substr(0, colon))] = value;
    }
    return size * count;
}

std::size_t onBody(char* data, std::size_t size, std::size_t count, void* user) {
    auto* t = static_cast<Transfer*>(user);
    const std::size_t n = size * count;
    // Error replies are kept in memory even when the body was to go to a file: they are JSON to read.
    const bool toFile = t->out && t->response.status >= 200 && t->response.status < 300;
    if (toFile) return std::fwrite(data, 1, n, t->out);
    if (t->response.body.size() + n > t->request.maxBody) {
        if (t->request.cutAtMaxBody) {
            t->response.body.append(data, t->request.maxBody - t->response.body.size());
            t->cut = true;
        } else {
            t->tooLarge = true;
        }
        return 0;  // stops the transfer
    }
    t->response.body.append(data, n);
    return n;
}

std::size_t onSend(char* data, std::size_t size, std::size_t count, void* user) {
    auto* t = static_cast<Transfer*>(user);
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(size * count, t->left));
    const std::size_t got = want ? std::fread(data, 1, want, t->in) : 0;
    t->left -= got;
    if (got < want) return CURL_READFUNC_ABORT;  // the file shrank meanwhile
    return got;
}

int onProgress(void* user, curl_off_t downTotal, curl_off_t downNow, curl_off_t upTotal, curl_off_t upNow) {
    auto* t = static_cast<Transfer*>(user);
    if (!t->request.progress) return 0;
    double done = 0;
    if (upTotal > 0 && upNow < upTotal)
        done = static_cast<double>(upNow) / static_cast<double>(upTotal);
    else if (downTotal > 0)
        done = static_cast<double>(downNow) / static_cast<double>(downTotal);
    if (!t->request.progress(done)) {
        t->response.cancelled = true;
        return 1;
    }
    return 0;
}

struct FileCloser {
    void operator()(std::FILE* f) const {
        if (f) std::fclose(f);
    }
};

}  // namespace

bool allowedServiceUrl(const std::string& url) {
    if (url.starts_with("https://")) return url.size() > 8;
    if (!url.starts_with("http://")) return false;
    std::string rest = url.substr(7);
    std::string host = rest.substr(0, rest.find('/'));
    if (host.starts_with("[")) {
        host = host.substr(0, host.find(']') + 1);
    } else if (std::size_t colon = host.find(':'); colon != std::string::npos) {
        host = host.substr(0, colon);
    }
    in_addr v4{};
    const bool loopback4 = ::inet_pton(AF_INET, host.c_str(), &v4) == 1 && (ntohl(v4.s_addr) >> 24) == 127;
    return host == "localhost" || host == "[::1]" || loopback4;
}

HttpClient::HttpClient(std::string caFile, std::string caPem)
    : caFile_(std::move(caFile)), caPem_(std::move(caPem)) {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

HttpResponse HttpClient::post(const HttpRequest& request) const {
    HttpResponse response;
    if (!allowedServiceUrl(request.url) && !(request.plainHttp && request.url.starts_with("http://"))) {
        response.error = "refused to connect to " + request.url;
        return response;
    }
    std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
    if (!curl) {
        response.error = "cannot start a connection";
        return response;
    }
    Transfer t{request, response};
    std::unique_ptr<std::FILE, FileCloser> out, in;
    if (!request.saveTo.empty()) {
        out.reset(std::fopen(request.saveTo.c_str(), "wb"));
        if (!out) {
            response.error = "cannot write " + request.saveTo;
            return response;
        }
        t.out = out.get();
    }
    CURL* c = curl.get();
    curl_easy_setopt(c, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "https,http");
    curl_easy_setopt(c, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT, 20L);
    // A transfer that stalls (under one byte a second for a minute) is given up.
    curl_easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(c, CURLOPT_LOW_SPEED_TIME, 60L);
    if (request.timeoutSeconds > 0) curl_easy_setopt(c, CURLOPT_TIMEOUT, request.timeoutSeconds);
    curl_easy_setopt(c, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(c, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!caFile_.empty()) {
        curl_easy_setopt(c, CURLOPT_CAINFO, caFile_.c_str());
        curl_easy_setopt(c, CURLOPT_CAPATH, nullptr);
    } else if (!caPem_.empty()) {
        curl_blob roots{const_cast<char*>(caPem_.data()), caPem_.size(), CURL_BLOB_NOCOPY};
        curl_easy_setopt(c, CURLOPT_CAINFO_BLOB, &roots);  // caPem_ outlives the handle
        curl_easy_setopt(c, CURLOPT_CAINFO, nullptr);
        curl_easy_setopt(c, CURLOPT_CAPATH, nullptr);
    }
    curl_easy_setopt(c, CURLOPT_POST, 1L);
    if (!request.bodyFile.empty()) {
        in.reset(std::fopen(request.bodyFile.c_str(), "rb"));
        if (!in || std::fseek(in.get(), static_cast<long>(request.bodyOffset), SEEK_SET) != 0) {
            response.error = "cannot read " + request.bodyFile;
            return response;
        }
        t.in = in.get();
        t.left = request.bodyLength;
        curl_easy_setopt(c, CURLOPT_READFUNCTION, onSend);
        curl_easy_setopt(c, CURLOPT_READDATA, &t);
        curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.bodyLength));
    } else {
        curl_easy_setopt(c, CURLOPT_POSTFIELDS, request.body.data());
        curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }
    curl_slist* headers = nullptr;
    for (const std::string& h : request.headers)
        headers = curl_slist_append(headers, h.c_str());
    // Dropbox refuses a body with a form type it did not ask for; no "Expect: 100-continue" round trip.
    headers = curl_slist_append(headers, "Expect:");
    if (request.body.empty() && request.bodyFile.empty())
        headers = curl_slist_append(headers, "Content-Type:");
    std::unique_ptr<curl_slist, void (*)(curl_slist*)> headerList(headers, curl_slist_free_all);
    curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(c, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(c, CURLOPT_HEADERDATA, &t);
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(c, CURLOPT_WRITEDATA, &t);
    curl_easy_setopt(c, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(c, CURLOPT_XFERINFOFUNCTION, onProgress);
    curl_easy_setopt(c, CURLOPT_XFERINFODATA, &t);

    const CURLcode rc = curl_easy_perform(c);
    if (rc == CURLE_OK || (t.cut && rc == CURLE_WRITE_ERROR)) {
        curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &response.status);
        if (out && std::fflush(out.get()) != 0) response.error = "cannot write " + request.saveTo;
    } else {
        // Whatever came is not an answer to act on.
        response.status = 0;
        response.error = t.tooLarge ? "the reply was too large" : curl_easy_strerror(rc);
    }
    if (!response.error.empty()) response.status = 0;
    return response;
}

}  // namespace numbrel::net
