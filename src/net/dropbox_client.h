// The Dropbox client: HTTP API v2 over libcurl. Linking is OAuth 2 with PKCE and no redirect (the user
// pastes the code the authorize page shows); the refresh token is kept by a TokenStore and access
// tokens are renewed before they run out. Errors are read from the JSON's ".tag" tree; 429 waits as
// told (a minute at most in all), 5xx is tried again three times. Every transfer is checked against
// Dropbox's content hash, and a download takes its name only once it is whole and checked.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "exchange/dropbox.h"
#include "http_client.h"

namespace numbrel {
class Configuration;
}

namespace numbrel::net {

struct DropboxSettings {
    std::string api = "https://api.dropboxapi.com";
    std::string content = "https://content.dropboxapi.com";
    std::string web = "https://www.dropbox.com";
    // The app keys of the two registrations: the whole Dropbox, and an application folder.
    std::string rootKey = "k3v9tq0mbx2wz7a";
    std::string appsKey = "w2xe7mu5ga9tk3q";
    std::string caFile;  // the roots servers must chain to ("": the public roots built in)
    std::chrono::milliseconds waitLimit{60000};  // all the waiting that 429 answers may ask for
    std::chrono::milliseconds backoff{500};      // before the first retry of a 5xx, doubling

    // From numbrel.conf's [dropbox] (api, content, web, root-key, apps-key, ca) over the defaults, and
    // the environment over both: NUMBREL_DROPBOX_API, _CONTENT, _WEB, NUMBREL_DROPBOX_KEY (the key of
    // whichever mode links), NUMBREL_DROPBOX_CA. An address that is neither https nor plain http to a
    // loopback host is refused with a message.
    static DropboxSettings from(const Configuration& configuration, std::string& problem);
};

// The public roots Dropbox's servers chain to (PEM), built into the program.
const std::string& shippedDropboxRoots();

struct DropboxTokens {
    bool root = false;
    std::string refresh;
    std::string access;
    std::int64_t expires = 0;  // seconds since the epoch
};

// Where the refresh token lives: the desktop keyring, a file only the user can read, or this run.
class TokenStore {
public:
    virtual ~TokenStore() = default;
    virtual std::optional<DropboxTokens> load() = 0;
    // An error message, or nothing.
    virtual std::optional<std::string> save(const DropboxTokens& tokens) = 0;
    virtual void clear() = 0;
    // Whether what it keeps is gone when the program ends.
    virtual bool forThisRunOnly() const { return false; }
};

// The tokens as the stores keep them (JSON); nothing from text that is not such JSON.
std::string tokensText(const DropboxTokens& tokens);
std::optional<DropboxTokens> tokensFrom(const std::string& text);

class MemoryTokenStore : public TokenStore {
public:
    std::optional<DropboxTokens> load() override { return tokens_; }
    std::optional<std::string> save(const DropboxTokens& tokens) override;
    void clear() override { tokens_.reset(); }
    bool forThisRunOnly() const override { return true; }

private:
    std::optional<DropboxTokens> tokens_;
};

// JSON in a file of mode 0600, replaced whole.
class FileTokenStore : public TokenStore {
public:
    explicit FileTokenStore(std::string path) : path_(std::move(path)) {}
    std::optional<DropboxTokens> load() override;
    std::optional<std::string> save(const DropboxTokens& tokens) override;
    void clear() override;

private:
    std::string path_;
};

// Where the link is kept: file when given; else the file $XDG_DATA_HOME/numbrel/dropbox-token when
// numbrel.conf says [dropbox] tokens = file; else the keyring when one answers; else this run only.
std::unique_ptr<TokenStore> chooseTokenStore(const Configuration& configuration, const std::string& file);
std::string defaultTokenFile();

// The PKCE challenge of a verifier (base64url of its SHA-256, no padding).
std::string pkceChallenge(const std::string& verifier);
// A fresh verifier: 64 random bytes in base64url.
std::string pkceVerifier();
// Dropbox's content hash of a file: SHA-256 over the SHA-256 of each 4 MiB block, in hex. Nothing
// when the file cannot be read.
std::optional<std::string> contentHashOf(const std::string& path);
std::string contentHash(std::string_view bytes);
// A JSON argument for the Dropbox-API-Arg header: every character outside ASCII (and DEL) as \uXXXX.
std::string headerArgument(const nlohmann::json& argument);

class DropboxClient : public DropboxSession {
public:
    DropboxClient(DropboxSettings settings, std::unique_ptr<TokenStore> tokens);
    ~DropboxClient() override;

    bool linked() const override;
    bool root() const override;
    std::string startLink(bool root) override;
    std::optional<DropboxFailure> finishLink(const std::string& code) override;
    void unlink() override;
    std::variant<std::vector<DropboxEntry>, DropboxFailure> listFolder(const std::string& path,
                                                                       const Progress& progress) override;
    std::optional<DropboxFailure> upload(const std::string& localPath, const std::string& path,
                                         const Progress& progress) override;
    std::optional<DropboxFailure> download(const std::string& path, const std::string& directory,
                                           const std::string& name, const Progress& progress) override;
    std::optional<DropboxFailure> remove(const std::string& path) override;

    bool keptForThisRunOnly() const override;
    std::optional<std::string> keepInFile() override;

    // The tokens kept, read again (the store may answer slowly: a keyring; not on the GUI thread).
    void loadTokens();
    // The same from a store given now (a client made without one keeps a link for this run only
    // until then).
    void loadTokens(std::unique_ptr<TokenStore> store);

    static constexpr std::uint64_t kPiece = 8u << 20;  // uploads above this go in pieces of it

private:
    struct Reply;
    // One call: the bearer token added (renewed first when about to run out, and once more after a
    // 401 that says it expired), 429 and 5xx retried.
    Reply call(HttpRequest request, const Progress& progress);
    std::optional<DropboxFailure> renew();
    std::optional<DropboxFailure> tokenRequest(const std::string& form, bool root);
    DropboxFailure failure(const std::string& what, const Reply& reply);
    std::optional<DropboxFailure> checkUploaded(const Reply& reply, const std::string& localPath);
    std::string key(bool root) const { return root ? settings_.rootKey : settings_.appsKey; }
    // The store's calls, which may wait for a keyring: never under mutex_, so linked() answers at once.
    std::optional<std::string> keep(const DropboxTokens& tokens);
    void forget();

    DropboxSettings settings_;
    HttpClient http_;
    mutable std::mutex storeMutex_;  // store_
    std::unique_ptr<TokenStore> store_;
    mutable std::mutex mutex_;  // tokens_ and verifier_: the GUI thread asks linked() meanwhile
    std::optional<DropboxTokens> tokens_;
    std::string verifier_;
    bool linkingRoot_ = false;
};

}  // namespace numbrel::net
