// The desktop keyring (Secret Service, through libsecret) as the home of the Dropbox link. Every call
// may wait for the keyring (an unlock prompt): never on the GUI thread.
#pragma once

#include "dropbox_client.h"

namespace numbrel::net {

class KeyringTokenStore : public TokenStore {
public:
    // Whether a session bus is there to ask (without one, libsecret would try to start one).
    static bool sessionBusPresent();
    // Whether a Secret Service answers on it, able to keep a secret.
    static bool available();

    std::optional<DropboxTokens> load() override;
    std::optional<std::string> save(const DropboxTokens& tokens) override;
    void clear() override;
};

}  // namespace numbrel::net
