#include "keyring.h"

#include <libsecret/secret.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace numbrel::net {

namespace {

const SecretSchema* schema() {
    static const SecretSchema s = {
        "org.numbrel.Dropbox",
        SECRET_SCHEMA_NONE,
        {{"account", SECRET_SCHEMA_ATTRIBUTE_STRING}, {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
        0,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr};
    return &s;
}

constexpr const char* kAccount = "dropbox";

}  // namespace

bool KeyringTokenStore::sessionBusPresent() {
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) return true;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    struct stat st {};
    return runtime && *runtime && ::stat((std::string(runtime) + "/bus").c_str(), &st) == 0 &&
           S_ISSOCK(st.st_mode);
}

bool KeyringTokenStore::available() {
    if (!sessionBusPresent()) return false;
    GError* error = nullptr;
    SecretService* service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &error);
    if (error) g_error_free(error);
    if (!service) return false;
    g_object_unref(service);
    return true;
}

std::optional<DropboxTokens> KeyringTokenStore::load() {
    if (!sessionBusPresent()) return std::nullopt;
    GError* error = nullptr;
    gchar* secret = secret_password_lookup_sync(schema(), nullptr, &error, "account", kAccount, nullptr);
    if (error) g_error_free(error);
    if (!secret) return std::nullopt;
    const std::string text(secret);
    secret_password_free(secret);
    return tokensFrom(text);
}

std::optional<std::string> KeyringTokenStore::save(const DropboxTokens& tokens) {
    if (!sessionBusPresent()) return "no session bus";

    GError* error = nullptr;
    const gboolean stored =
        secret_password_store_sync(schema(), SECRET_COLLECTION_DEFAULT, "Numbrel Dropbox link",
                                   tokensText(tokens).c_str(), nullptr, &error, "account", kAccount, nullptr);
    std::optional<std::string> problem;
    if (error) {
        problem = error->message;
        g_error_free(error);
    } else if (!stored) {
        problem = "the keyring did not keep it";
    }
    return problem;
}

void KeyringTokenStore::clear() {
    if (!sessionBusPresent()) return;
    GError* error = nullptr;
    secret_password_clear_sync(schema(), nullptr, &error, "account", kAccount, nullptr);
    if (error) g_error_free(error);
}

}  // namespace numbrel::net
