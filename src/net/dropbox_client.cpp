#include "dropbox_client.h"

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "keyring.h"
#include "store/configuration.h"
#include "store/file_ops.h"
#include "store/preferences_store.h"

namespace numbrel::net {

using json = nlohmann::json;

namespace {

std::int64_t nowSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string base64url(const unsigned char* data, std::size_t size) {
    static const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string out;
    std::uint32_t bits = 0;
    int count = 0;
    for (std::size_t i = 0; i < size; ++i) {
        bits = (bits << 8) | data[i];
        count += 8;
        while (count >= 6) {
            count -= 6;
            out += alphabet[(bits >> count) & 63];
        }
    }
    if (count > 0) out += alphabet[(bits << (6 - count)) & 63];
    return out;
}

std::string hex(const unsigned char* data, std::size_t size) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < size; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 15];
    }
    return out;
}

std::string formEncoded(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
            out += static_cast<char>(c);
        } else {
            static const char* digits = "0123456789ABCDEF";
            out += '%';
            out += digits[c >> 4];
            out += digits[c & 15];
        }
    }
    return out;
}

std::string fromEnvironment(const char* name, const std::string& otherwise) {
    const char* value = std::getenv(name);
    return value && *value ? std::string(value) : otherwise;
}

// The ".tag" path of an error ("path/not_found"), as Dropbox nests them.
std::string tagsOf(const json& error) {
    std::string out;
    const json* at = &error;
    for (int depth = 0; depth < 8 && at->is_object(); ++depth) {
        auto tag = at->find(".tag");
        if (tag == at->end() || !tag->is_string()) break;
        const std::string name = tag->get<std::string>();
        out += (out.empty() ? "" : "/") + name;
        auto inner = at->find(name);
        if (inner == at->end()) break;
        at = &*inner;
    }
    return out;
}

// Lets a job's Cancel cut a wait short.
bool sleepFor(std::chrono::milliseconds how, const Progress& progress) {
    const auto until = std::chrono::steady_clock::now() + how;
    while (std::chrono::steady_clock::now() < until) {
        if (progress && !progress(0)) return false;
        std::this_thread::sleep_for(std::min<std::chrono::milliseconds>(
            std::chrono::milliseconds(100),
            std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now())));
    }
    return true;
}

std::string argumentPath(const std::string& path) {
    // The top of the linked area is "" to Dropbox; a folder has no trailing slash.
    if (path == "/" || path.empty()) return "";
    return path.back() == '/' ? path.substr(0, path.size() - 1) : path;
}

std::optional<std::uint64_t> fileSize(const std::string& path) {
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) return std::nullopt;
    return size;
}

}  // namespace

struct DropboxClient::Reply {
    HttpResponse http;
    json body;  // when the reply is JSON
    std::optional<DropboxFailure> failed;
};

DropboxSettings DropboxSettings::from(const Configuration& configuration, std::string& problem) {
    DropboxSettings s;
    auto pick = [&](const char* variable, const std::string& key, std::string& field) {
        std::string value = configuration.value("dropbox." + key);
        if (!value.empty()) field = value;
        field = fromEnvironment(variable, field);
    };
    pick("NUMBREL_DROPBOX_API", "api", s.api);
    pick("NUMBREL_DROPBOX_CONTENT", "content", s.content);
    pick("NUMBREL_DROPBOX_WEB", "web", s.web);
    pick("NUMBREL_DROPBOX_KEY", "root-key", s.rootKey);
    pick("NUMBREL_DROPBOX_KEY", "apps-key", s.appsKey);
    pick("NUMBREL_DROPBOX_CA", "ca", s.caFile);
    for (std::string* url : {&s.api, &s.content, &s.web}) {
        while (!url->empty() && url->back() == '/')
            url->pop_back();
        if (!allowedServiceUrl(*url)) {
            problem = "the Dropbox address " + *url + " is neither https nor on this machine";
            *url = "https://invalid.invalid";
        }
    }
    return s;
}

std::optional<std::string> MemoryTokenStore::save(const DropboxTokens& tokens) {
    tokens_ = tokens;
    return std::nullopt;
}

std::string tokensText(const DropboxTokens& tokens) {
    return json{{"root", tokens.root},
                {"refresh", tokens.refresh},
                {"access", tokens.access},
                {"expires", tokens.expires}}
        .dump();
}

std::optional<DropboxTokens> tokensFrom(const std::string& text) {
    const json j = json::parse(text, nullptr, false);
    if (!j.is_object() || !j.contains("refresh") || !j["refresh"].is_string()) return std::nullopt;
    DropboxTokens t;
    t.root = j.value("root", false);
    t.refresh = j["refresh"].get<std::string>();
    t.access = j.value("access", std::string());
    t.expires = j.value("expires", std::int64_t{0});
    if (t.refresh.empty()) return std::nullopt;
    return t;
}

std::optional<DropboxTokens> FileTokenStore::load() {
    std::string error;
    std::optional<std::string> text = readWholeFile(path_, error, 64 * 1024);
    if (!text) return std::nullopt;
    return tokensFrom(*text);
}

std::optional<std::string> FileTokenStore::save(const DropboxTokens& tokens) {
    std::error_code ec;
    std::filesystem::create_directories(parentDirectory(path_), ec);
    return writeFileAtomically(FileOps::real(), path_, tokensText(tokens) + "\n");
}

void FileTokenStore::clear() {
    std::error_code ec;
    std::filesystem::remove(path_, ec);
}

std::string defaultTokenFile() {
    return xdgDirectory("XDG_DATA_HOME", ".local/share") + "/numbrel/dropbox-token";
}

std::unique_ptr<TokenStore> chooseTokenStore(const Configuration& configuration, const std::string& file) {
    if (!file.empty()) return std::make_unique<FileTokenStore>(file);
    if (configuration.value("dropbox.tokens") == "file")
        return std::make_unique<FileTokenStore>(defaultTokenFile());
    if (KeyringTokenStore::available()) return std::make_unique<KeyringTokenStore>();
    return std::make_unique<MemoryTokenStore>();
}

std::string pkceChallenge(const std::string& verifier) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size(), digest);
    return base64url(digest, sizeof digest);
}

std::string pkceVerifier() {
    unsigned char random[64];
    if (RAND_bytes(random, sizeof random) != 1) throw std::runtime_error("no random bytes");
    return base64url(random, sizeof random);
}

namespace {

// Dropbox's hash, fed one 4 MiB block at a time.
constexpr std::size_t kHashBlock = 4u << 20;

class ContentHasher {
public:
    void block(const char* data, std::size_t size) {
        unsigned char d[SHA256_DIGEST_LENGTH];
        SHA256(reinterpret_cast<const unsigned char*>(data), size, d);
        digests_.append(reinterpret_cast<const char*>(d), sizeof d);
    }
    std::string result() const {
        unsigned char whole[SHA256_DIGEST_LENGTH];
        SHA256(reinterpret_cast<const unsigned char*>(digests_.data()), digests_.size(), whole);
        return hex(whole, sizeof whole);
    }

private:
    std::string digests_;
};

}  // namespace

std::string contentHash(std::string_view bytes) {
    ContentHasher hasher;
    for (std::size_t at = 0; at < bytes.size(); at += kHashBlock) {
        const std::string_view block = bytes.substr(at, kHashBlock);
        hasher.block(block.data(), block.size());
    }
    return hasher.result();
}

std::optional<std::string> contentHashOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    ContentHasher hasher;
    std::string block(kHashBlock, '\0');
    while (in) {
        in.read(block.data(), static_cast<std::streamsize>(kHashBlock));
        const std::size_t got = static_cast<std::size_t>(in.gcount());
        if (got == 0) break;
        hasher.block(block.data(), got);
    }
    if (in.bad()) return std::nullopt;
    return hasher.result();
}

std::string headerArgument(const json& argument) {
    // ensure_ascii escapes everything above 0x7F; DEL is escaped by hand.
    std::string text = argument.dump(-1, ' ', true);
    std::string out;
    for (char c : text)
        out += c == '\x7f' ? std::string("\\u007f") : std::string(1, c);
    return out;
}

DropboxClient::DropboxClient(DropboxSettings settings, std::unique_ptr<TokenStore> tokens)
    : settings_(std::move(settings)),
      http_(settings_.caFile, settings_.caFile.empty() ? shippedDropboxRoots() : std::string()),
      store_(std::move(tokens)) {}

DropboxClient::~DropboxClient() = default;

void DropboxClient::loadTokens() {
    std::optional<DropboxTokens> loaded;
    {
        std::lock_guard keeping(storeMutex_);
        if (store_) loaded = store_->load();
    }
    std::lock_guard lock(mutex_);
    tokens_ = std::move(loaded);
}

void DropboxClient::loadTokens(std::unique_ptr<TokenStore> store) {
    {
        std::lock_guard keeping(storeMutex_);
        store_ = std::move(store);
    }
    loadTokens();
}

std::optional<std::string> DropboxClient::keep(const DropboxTokens& tokens) {
    std::lock_guard keeping(storeMutex_);
    if (!store_) store_ = std::make_unique<MemoryTokenStore>();
    return store_->save(tokens);
}

void DropboxClient::forget() {
    std::lock_guard keeping(storeMutex_);
    if (store_) store_->clear();
}

bool DropboxClient::keptForThisRunOnly() const {
    std::lock_guard keeping(storeMutex_);
    return !store_ || store_->forThisRunOnly();
}

std::optional<std::string> DropboxClient::keepInFile() {
    std::optional<DropboxTokens> tokens;
    {
        std::lock_guard lock(mutex_);
        tokens = tokens_;
    }
    auto file = std::make_unique<FileTokenStore>(defaultTokenFile());
    if (tokens)
        if (std::optional<std::string> problem = file->save(*tokens)) return problem;
    std::lock_guard keeping(storeMutex_);
    store_ = std::move(file);
    return std::nullopt;
}

bool DropboxClient::linked() const {
    std::lock_guard lock(mutex_);
    return tokens_.has_value();
}

bool DropboxClient::root() const {
    std::lock_guard lock(mutex_);
    return tokens_ && tokens_->root;
}

std::string DropboxClient::startLink(bool root) {
    std::lock_guard lock(mutex_);
    verifier_ = pkceVerifier();
    linkingRoot_ = root;
    return settings_.web + "/oauth2/authorize?client_id=" + formEncoded(key(root)) +
           "&response_type=code&code_challenge=" + pkceChallenge(verifier_) +
           "&code_challenge_method=S256&token_access_type=offline";
}

std::optional<DropboxFailure> DropboxClient::finishLink(const std::string& typed) {
    std::string code = typed;
    while (!code.empty() && std::isspace(static_cast<unsigned char>(code.back())))
        code.pop_back();
    code.erase(0, code.find_first_not_of(" \t\r\n"));
    std::string verifier;
    bool root = false;
    {
        std::lock_guard lock(mutex_);
        verifier = verifier_;
        root = linkingRoot_;
    }
    if (verifier.empty()) return DropboxFailure{"linking was not started"};
    if (code.empty() || code.size() > 512) return DropboxFailure{"the code is not one Dropbox gave"};
    std::optional<DropboxFailure> failed =
        tokenRequest("code=" + formEncoded(code) + "&grant_type=authorization_code&code_verifier=" +
                         formEncoded(verifier) + "&client_id=" + formEncoded(key(root)),
                     root);
    if (!failed) {
        std::lock_guard lock(mutex_);
        verifier_.clear();
    }
    // A refused code ends nothing: the link that was there (none) stays as it was.
    if (failed) failed->unlinked = false;
    return failed;
}

std::optional<DropboxFailure> DropboxClient::tokenRequest(const std::string& form, bool root) {
    HttpRequest request;
    request.url = settings_.api + "/oauth2/token";
    request.headers = {"Content-Type: application/x-www-form-urlencoded"};
    request.body = form;
    HttpResponse r;
    for (int attempt = 0;; ++attempt) {
        r = http_.post(request);
        if (r.status < 500 || attempt == 3) break;
        sleepFor(settings_.backoff * (1 << attempt), {});
    }
    const json body = json::parse(r.body, nullptr, false);
    if (r.status == 200 && body.is_object() && body.contains("access_token") &&
        body["access_token"].is_string()) {
        std::unique_lock lock(mutex_);
        DropboxTokens t = tokens_.value_or(DropboxTokens{});
        t.root = root;
        t.access = body["access_token"].get<std::string>();
        t.expires = nowSeconds() + body.value("expires_in", std::int64_t{14400});
        if (body.contains("refresh_token") && body["refresh_token"].is_string())
            t.refresh = body["refresh_token"].get<std::string>();
        if (t.refresh.empty()) return DropboxFailure{"Dropbox gave no refresh token"};
        tokens_ = t;
        lock.unlock();
        if (std::optional<std::string> problem = keep(t))
            return DropboxFailure{"the link could not be kept: " + *problem};
        return std::nullopt;
    }
    if (!r.error.empty()) return DropboxFailure{r.error};
    std::string error = body.is_object() ? body.value("error", std::string()) : std::string();
    if (r.status == 400 && error == "invalid_grant") {
        // The refresh token (or the code) is no longer good: the link has ended.
        return DropboxFailure{body.value("error_description", std::string("the link has ended")), true};
    }
    return DropboxFailure{"Dropbox refused the sign-in (HTTP " + std::to_string(r.status) + ")"};
}

std::optional<DropboxFailure> DropboxClient::renew() {
    std::string refresh;
    bool root = false;
    {
        std::lock_guard lock(mutex_);
        if (!tokens_) return DropboxFailure{"no Dropbox account is linked", true};
        refresh = tokens_->refresh;
        root = tokens_->root;
    }
    std::optional<DropboxFailure> failed =
        tokenRequest("grant_type=refresh_token&refresh_token=" + formEncoded(refresh) +
                         "&client_id=" + formEncoded(key(root)),
                     root);
    if (failed && failed->unlinked) {
        {
            std::lock_guard lock(mutex_);
            tokens_.reset();
        }
        forget();
    }
    return failed;
}

void DropboxClient::unlink() {
    std::optional<DropboxTokens> tokens;
    {
        std::lock_guard lock(mutex_);
        tokens = std::exchange(tokens_, std::nullopt);
        verifier_.clear();
    }
    forget();
    if (!tokens || tokens->access.empty()) return;
    // Revoked as far as the server can be reached; forgotten here whatever it says.
    HttpRequest request;
    request.url = settings_.api + "/2/auth/token/revoke";
    request.headers = {"Authorization: Bearer " + tokens->access};
    http_.post(request);
}

DropboxClient::Reply DropboxClient::call(HttpRequest request, const Progress& progress) {
    Reply reply;
    request.progress = progress;
    const std::vector<std::string> headers = request.headers;
    auto waited = std::chrono::milliseconds(0);
    int serverErrors = 0;
    bool renewedEarly = false, renewedAfter401 = false;
    for (;;) {
        bool stale = false;
        std::string access;
        {
            std::lock_guard lock(mutex_);
            if (!tokens_) {
                reply.failed = DropboxFailure{"no Dropbox account is linked", true};
                return reply;
            }
            stale = tokens_->access.empty() || tokens_->expires - nowSeconds() < 300;
            access = tokens_->access;
        }
        if (stale && !renewedEarly) {
            renewedEarly = true;
            if ((reply.failed = renew())) return reply;
            continue;
        }
        request.headers = headers;
        request.headers.push_back("Authorization: Bearer " + access);
        reply.http = http_.post(request);
        reply.body = json::parse(reply.http.body, nullptr, false);
        if (reply.http.cancelled) {
            reply.failed = DropboxFailure{"cancelled", false, true};
            return reply;
        }
        const long status = reply.http.status;
        if (status == 401) {
            const std::string tag = reply.body.is_object() ? tagsOf(reply.body.value("error", json())) : "";
            if (tag == "expired_access_token" && !renewedAfter401) {
                renewedAfter401 = true;
                if ((reply.failed = renew())) return reply;
                continue;
            }
            // Any other 401: the token was revoked or the app unlinked elsewhere.
            {
                std::lock_guard lock(mutex_);
                tokens_.reset();
            }
            forget();
            reply.failed = DropboxFailure{"the link to Dropbox has ended (" + tag + ")", true};
            return reply;
        }
        if (status == 429) {
            long seconds = std::atol(reply.http.headers["retry-after"].c_str());
            if (reply.body.is_object() && reply.body.contains("error") && reply.body["error"].is_object())
                seconds = std::max<long>(seconds, reply.body["error"].value("retry_after", 0L));
            const auto wait = std::chrono::milliseconds(std::max<long>(seconds, 1) * 1000);
            if (waited + wait > settings_.waitLimit) {
                reply.failed = DropboxFailure{"Dropbox is busy; try again later"};
                return reply;
            }
            waited += wait;
            if (!sleepFor(wait, progress)) {
                reply.failed = DropboxFailure{"cancelled", false, true};
                return reply;
            }
            continue;
        }
        if ((status >= 500 || status == 0) && serverErrors < 3) {
            if (!sleepFor(settings_.backoff * (1 << serverErrors++), progress)) {
                reply.failed = DropboxFailure{"cancelled", false, true};
                return reply;
            }
            continue;
        }
        return reply;
    }
}

DropboxFailure DropboxClient::failure(const std::string& what, const Reply& reply) {
    if (reply.failed) return *reply.failed;
    if (!reply.http.error.empty()) return DropboxFailure{what + ": " + reply.http.error};
    if (reply.http.status == 409 && reply.body.is_object())
        return DropboxFailure{what + ": " + tagsOf(reply.body.value("error", json()))};
    return DropboxFailure{what + ": HTTP " + std::to_string(reply.http.status)};
}

std::variant<std::vector<DropboxEntry>, DropboxFailure> DropboxClient::listFolder(const std::string& path,
                                                                                  const Progress& progress) {
    std::vector<DropboxEntry> entries;
    HttpRequest request;
    request.url = settings_.api + "/2/files/list_folder";
    request.headers = {"Content-Type: application/json"};
    request.body = json{{"path", argumentPath(path)}}.dump();
    for (int pages = 0; pages < 1000; ++pages) {
        Reply reply = call(request, progress);
        if (reply.http.status != 200 || !reply.body.is_object() || !reply.body.contains("entries") ||
            !reply.body["entries"].is_array())
            return failure("listing " + (path.empty() ? std::string("/") : path), reply);
        for (const json& e : reply.body["entries"]) {
            if (!e.is_object()) continue;
            const std::string tag = e.value(".tag", std::string());
            if (tag != "file" && tag != "folder") continue;  // "deleted"
            DropboxEntry entry;
            entry.path = e.value("path_display", std::string());
            entry.folder = tag == "folder";
            entry.size = e.value("size", std::uint64_t{0});
            entry.modified = e.value("server_modified", std::string());
            entries.push_back(std::move(entry));
        }
        if (!reply.body.value("has_more", false)) return entries;
        request.url = settings_.api + "/2/files/list_folder/continue";
        request.body = json{{"cursor", reply.body.value("cursor", std::string())}}.dump();
    }
    return DropboxFailure{"the folder listing did not end"};
}

std::optional<DropboxFailure> DropboxClient::checkUploaded(const Reply& reply, const std::string& localPath) {
    if (reply.http.status != 200 || !reply.body.is_object()) return failure("copying to Dropbox", reply);
    const std::optional<std::string> local = contentHashOf(localPath);
    if (!local || reply.body.value("content_hash", std::string()) != *local)
        return DropboxFailure{"the copy in Dropbox does not match the file"};
    return std::nullopt;
}

std::optional<DropboxFailure> DropboxClient::upload(const std::string& localPath, const std::string& path,
                                                    const Progress& progress) {
    const std::optional<std::uint64_t> size = fileSize(localPath);
    if (!size) return DropboxFailure{"cannot read " + localPath};
    const json commit{{"path", path}, {"mode", "overwrite"}, {"mute", true}};
    HttpRequest request;
    request.bodyFile = localPath;
    if (*size <= kPiece) {
        request.url = settings_.content + "/2/files/upload";
        request.headers = {"Content-Type: application/octet-stream",
                           "Dropbox-API-Arg: " + headerArgument(commit)};
        request.bodyLength = *size;
        return checkUploaded(call(request, progress), localPath);
    }
    // In pieces: a session started with the first, appended to, finished with the last.
    auto share = [&](std::uint64_t offset) {
        return [&progress, offset, total = *size](double done) {
            return !progress ||
                   progress((static_cast<double>(offset) + done * kPiece) / static_cast<double>(total));
        };
    };
    request.url = settings_.content + "/2/files/upload_session/start";
    request.headers = {"Content-Type: application/octet-stream",
                       "Dropbox-API-Arg: " + headerArgument(json{{"close", false}})};
    request.bodyLength = kPiece;
    Reply started = call(request, share(0));
    if (started.http.status != 200 || !started.body.is_object() || !started.body.contains("session_id"))
        return failure("copying to Dropbox", started);
    const std::string session = started.body.value("session_id", std::string());
    std::uint64_t offset = kPiece;
    while (*size - offset > kPiece) {
        request.url = settings_.content + "/2/files/upload_session/append_v2";
        request.headers = {"Content-Type: application/octet-stream",
                           "Dropbox-API-Arg: " +
                               headerArgument(json{{"cursor", {{"session_id", session}, {"offset", offset}}},
                                                   {"close", false}})};
        request.bodyOffset = offset;
        Reply appended = call(request, share(offset));
        if (appended.http.status != 200) return failure("copying to Dropbox", appended);
        offset += kPiece;
    }
    request.url = settings_.content + "/2/files/upload_session/finish";
    request.headers = {
        "Content-Type: application/octet-stream",
        "Dropbox-API-Arg: " + headerArgument(json{{"cursor", {{"session_id", session}, {"offset", offset}}},
                                                  {"commit", commit}})};
    request.bodyOffset = offset;
    request.bodyLength = *size - offset;
    return checkUploaded(call(request, share(offset)), localPath);
}

std::optional<DropboxFailure> DropboxClient::download(const std::string& path, const std::string& directory,
                                                      const std::string& name, const Progress& progress) {
    std::optional<DropboxFailure> failed;
    std::optional<std::string> error =
        receiveThroughTemporary(directory, name, [&](const std::string& temp) -> std::optional<std::string> {
            HttpRequest request;
            request.url = settings_.content + "/2/files/download";
            request.headers = {"Dropbox-API-Arg: " + headerArgument(json{{"path", path}})};
            request.saveTo = temp;
            Reply reply = call(request, progress);
            if (reply.http.status != 200) {
                failed = failure("copying from Dropbox", reply);
                return failed->reason;
            }
            const json meta = json::parse(reply.http.headers["dropbox-api-result"], nullptr, false);
            const std::optional<std::uint64_t> size = fileSize(temp);
            if (!meta.is_object() || !size || *size != meta.value("size", std::uint64_t{0}) ||
                contentHashOf(temp) != meta.value("content_hash", std::string())) {
                failed = DropboxFailure{"the file from Dropbox arrived damaged"};
                return failed->reason;
            }
            return std::nullopt;
        });
    if (failed) return failed;
    if (error) return DropboxFailure{*error};
    return std::nullopt;
}

std::optional<DropboxFailure> DropboxClient::remove(const std::string& path) {
    HttpRequest request;
    request.url = settings_.api + "/2/files/delete_v2";
    request.headers = {"Content-Type: application/json"};
    request.body = json{{"path", path}}.dump();
    Reply reply = call(request, {});
    if (reply.http.status != 200) return failure("deleting from Dropbox", reply);
    return std::nullopt;
}

}  // namespace numbrel::net
