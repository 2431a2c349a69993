#include "dropbox_client.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "exchange/dropbox.h"
#include "support/test_support.h"

namespace numbrel::net {
namespace {

TEST(DropboxClientParts, PkceContentHashAndHeaderArguments) {
    // RFC 7636, Appendix B.
    EXPECT_EQ(pkceChallenge("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
              "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
    const std::string verifier = pkceVerifier();
    EXPECT_EQ(verifier.size(), 86u);  // 64 bytes in base64url, within the 43 to 128 allowed
    EXPECT_EQ(verifier.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
              std::string::npos);
    EXPECT_NE(verifier, pkceVerifier());

    // The content hash: the empty file, one block, and a file just over one 4 MiB block, read from disk
    // and from memory alike.
    EXPECT_EQ(contentHash(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    test::TempDir dir;
    std::string bytes((4u << 20) + 3, 'a');
    bytes[100] = 'b';
    test::writeFile(dir.file("f"), bytes);
    EXPECT_EQ(contentHashOf(dir.file("f")), contentHash(bytes));
    EXPECT_NE(contentHash(bytes), contentHash(bytes.substr(0, 4u << 20)));
    EXPECT_EQ(contentHashOf(dir.file("missing")), std::nullopt);

    EXPECT_EQ(headerArgument(nlohmann::json{{"path", "/Zähler\x7f"}}), R"({"path":"/Z\u00e4hler\u007f"})");

    EXPECT_TRUE(allowedServiceUrl("https://api.dropboxapi.com"));
    EXPECT_TRUE(allowedServiceUrl("http://127.0.0.1:8080"));
    EXPECT_TRUE(allowedServiceUrl("http://[::1]:80/x"));
    EXPECT_TRUE(allowedServiceUrl("http://localhost"));
    EXPECT_FALSE(allowedServiceUrl("http://example.org"));
    EXPECT_FALSE(allowedServiceUrl("http://127.0.0.1.example.org"));
    EXPECT_FALSE(allowedServiceUrl("http://localhost.example.org:80"));
    EXPECT_FALSE(allowedServiceUrl("ftp://127.0.0.1"));
}

TEST(DropboxClientParts, TheFolderAndTheListingFilter) {
    std::vector<DropboxEntry> top{{"/Other", true},
                                  {"/nb.bak"},
                                  {"/n.bak"},
                                  {"/NB20261101@080000.BAK"},
                                  {"/notes.txt"},
                                  {"/Readings.Csv"},
                                  {"/nb20261101@080000.bak", true}};
    EXPECT_EQ(dropboxFolderIn(top), "/");
    EXPECT_EQ(dropboxBackups(top, "/"), (std::vector<std::string>{"nb.bak", "Readings.Csv"}));
    top.push_back({"/numbrel", true});
    EXPECT_EQ(dropboxFolderIn(top), "/");  // the path is matched exactly
    top.push_back({"/Numbrel", true});
    EXPECT_EQ(dropboxFolderIn(top), "/Numbrel/");
    EXPECT_EQ(dropboxBackups({{"/Numbrel/nb20261101@080000.bak"}, {"/Numbrel/sub/x.csv"}, {"/elsewhere.csv"}},
                             "/Numbrel/"),
              std::vector<std::string>{"nb20261101@080000.bak"});
}

TEST(DropboxClientParts, TokensInAFileOnlyTheUserCanRead) {
    test::TempDir dir;
    FileTokenStore store(dir.file("sub/token"));
    EXPECT_EQ(store.load(), std::nullopt);
    ASSERT_EQ(store.save({true, "r", "a", 42}), std::nullopt);
    std::optional<DropboxTokens> back = store.load();
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->root);
    EXPECT_EQ(back->refresh, "r");
    EXPECT_EQ(back->expires, 42);
    EXPECT_EQ(std::filesystem::status(dir.file("sub/token")).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    test::writeFile(dir.file("sub/token"), "{not json");
    EXPECT_EQ(store.load(), std::nullopt);
    store.clear();
    EXPECT_FALSE(std::filesystem::exists(dir.file("sub/token")));
}

}  // namespace
}  // namespace numbrel::net
