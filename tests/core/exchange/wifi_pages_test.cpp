#include "exchange/wifi_pages.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/test_support.h"

namespace numbrel {
namespace {

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> namesIn(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(RequestPath, StaysInsideTheFolder) {
    EXPECT_EQ(requestPath("/"), "/");
    EXPECT_EQ(requestPath("/nb20261101@080000.bak"), "/nb20261101@080000.bak");
    EXPECT_EQ(requestPath("/a%20b.csv?x=1"), "/a b.csv");
    EXPECT_EQ(requestPath("/sub/./x//y"), "/sub/x/y");
    EXPECT_EQ(requestPath("/sub/../x"), "/x");
    EXPECT_EQ(requestPath("/%2e/x"), "/x");
    EXPECT_EQ(requestPath("/%252e%252e/x"), "/%2e%2e/x") << "decoded once: a literal name, not a way up";
    for (const char* out : {"/..", "/../secret.txt", "/%2e%2e/secret.txt", "/%2E%2E%2Fsecret.txt",
                            "/sub/../../secret.txt", "/..%5csecret.txt", "/..\\\\secret.txt", "/x%00.bak",
                            "/x%0a", "http://host/x", "*", "", "/%", "/%4", "/%zz"})
        EXPECT_EQ(requestPath(out), std::nullopt) << out;
}

TEST(OpenInside, OnlyRegularFilesBelowTheRootWithoutLinks) {
    test::TempDir dir;
    const std::string root = dir.file("Documents");
    std::filesystem::create_directories(root + "/sub");
    { std::ofstream(dir.file("secret.txt")) << "secret"; }
    { std::ofstream(root + "/a.bak") << "a"; }
    { std::ofstream(root + "/sub/b.csv") << "b"; }
    std::filesystem::create_symlink(dir.file("secret.txt"), root + "/link.bak");
    std::filesystem::create_directory_symlink(dir.path(), root + "/up");
    ::mkfifo((root + "/fifo").c_str(), 0600);

    EXPECT_TRUE(openInside(root, "/a.bak", false));
    EXPECT_TRUE(openInside(root, "/sub/b.csv", false));
    EXPECT_TRUE(openInside(root, "/sub", true));
    EXPECT_FALSE(openInside(root, "/sub", false)) << "a folder is not a file";
    EXPECT_FALSE(openInside(root, "/link.bak", false));
    EXPECT_FALSE(openInside(root, "/up/secret.txt", false));
    EXPECT_FALSE(openInside(root, "/fifo", false)) << "must not block either";
    EXPECT_FALSE(openInside(root, "/missing", false));

    UniqueFd listing = openInside(root, "/", true);
    ASSERT_TRUE(listing);
    std::vector<std::string> names;
    for (const DirectoryEntry& e : listDirectory(listing.get()))
        names.push_back(e.name + (e.directory ? "/" : ""));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"a.bak", "sub/"})) << "no links, no FIFOs";
}

TEST(IndexPage, ListsFilesWithSizeAndDateAndAlwaysHasTheForm) {
    const std::string form =
        "<h2>Import / Restore</h2><bq>Choose a backup or CSV file to copy to your device.  Once copied, it "
        "can be "
        "restored or imported from within the application itself.</bq><p><form action=\"\" method=\"post\" "
        "enctype=\"multipart/form-data\" name=\"form1\" id=\"form1\"><label><input type=\"file\" "
        "name=\"file\" "
        "id=\"file\" /></label><label><input type=\"submit\" name=\"button\" id=\"button\" value=\"Copy\" "
        "/></label></form></body></html>";
    const std::string head =
        "<html><head><title>Numbrel</title><style>html {background-color:#eeeeee} body { "
        "background-color:#FFFFFF; font-family:Tahoma,Arial,Helvetica,sans-serif; font-size:18x; "
        "margin-left:15%; margin-right:15%; border:3px groove #006600; padding:15px; } "
        "</style></head><body><h1>Numbrel</h1><h2>Backups</h2>";

    EXPECT_EQ(indexPage({}), head +
                                 "<bq>No backups found. To make a backup select Backup Now from within the "
                                 "application.</bq>" +
                                 form);

    const std::string page = indexPage({{"nb20140305@071502.bak", false, 1536, 1394003702},
                                        {"old", true, 4096, 0},
                                        {"big.csv", false, 123456789, 0}});
    EXPECT_EQ(page.rfind(head, 0), 0u);
    EXPECT_NE(page.find("<p><a href=\"nb20140305@071502.bak\" type=\"application/octet-stream\">"
                        "nb20140305@071502.bak</a> (     1.5 Kb, 2014-03-05 07:15:02 +0000)<br />\n"
                        "<a href=\"old/\" type=\"application/octet-stream\">old/</a> (     4.0 Kb, "
                        "1970-01-01 00:00:00 +0000)<br />\n"
                        "<a href=\"big.csv\" type=\"application/octet-stream\">big.csv</a> (120563.3 Kb, "),
              std::string::npos)
        << page;
    EXPECT_NE(page.find("and change Save as type to All Files.</bq>"), std::string::npos);
    EXPECT_EQ(page.substr(page.size() - form.size()), form);

    // A name that someone uploaded to break out of the markup stays text.
    const std::string hostile = indexPage({{"\"><script>x()</script>.bak", false, 1, 0}});
    EXPECT_EQ(hostile.find("<script>"), std::string::npos);
    EXPECT_NE(hostile.find("href=\"%22%3E%3Cscript%3Ex()%3C/script%3E.bak\""), std::string::npos) << hostile;
}

TEST(UploadName, LastComponentOfTheDispositionAndSafeNamesOnly) {
    EXPECT_EQ(uploadFileName("Content-Disposition: form-data; name=\"file\"; filename=\"nb1.bak\""),
              "nb1.bak");
    EXPECT_EQ(uploadFileName("Content-Disposition: form-data; name=\"file\"; "
                             "filename=\"C:\\Documents and Settings\\Me\\Desktop\\nb20140305@071502.bak\""),
              "nb20140305@071502.bak");
    EXPECT_EQ(uploadFileName("Content-Disposition: form-data; name=\"file\"; filename=\"../../etc/x.bak\""),
              "x.bak");
    EXPECT_EQ(uploadFileName("Content-Disposition: form-data; name=\"file\"; filename=\"\""), "");
    EXPECT_EQ(uploadFileName("Content-Disposition: form-data; name=\"file\""), "");
    EXPECT_EQ(uploadFileName("Content-Disposition: form-data; name=\"file\"; filename=\"unclosed"), "");

    EXPECT_TRUE(acceptableUploadName("nb20140305@071502.bak"));
    EXPECT_TRUE(acceptableUploadName("Zählerstände 2026.csv"));
    for (const char* bad : {"", ".", "..", ".hidden.bak", "a\tb.bak", "a\x7f.bak"})
        EXPECT_FALSE(acceptableUploadName(bad)) << bad;
}

// The body a browser sends for the upload form: the file part, then the button field.
std::string formBody(const std::string& boundary, const std::string& filename, const std::string& content) {
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + filename +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + content + "\r\n--" + boundary +
           "\r\nContent-Disposition: form-data; name=\"button\"\r\n\r\nCopy\r\n--" + boundary + "--\r\n";
}

class Upload : public ::testing::Test {
protected:
    Upload() { std::filesystem::create_directories(root_); }

    // Sends body in pieces of the given size; answers whether the uploaded callback ran.
    bool post(const std::string& body, std::size_t piece, bool complete = true) {
        bool told = false;
        {
            MyHTTPConnection c(root_, [&] { told = true; });
            EXPECT_TRUE(c.supportsMethod("POST", "/"));
            c.prepareForBodyWithSize(static_cast<std::int64_t>(body.size()));
            for (std::size_t at = 0; at < body.size(); at += piece)
                c.processDataChunk(std::string_view(body).substr(at, piece));
            if (complete) {
                HTTPResponse r = c.httpResponseForMethod("POST", "/", body.size());
                EXPECT_EQ(r.kind, HTTPResponse::Kind::Data);
                EXPECT_NE(r.body.find("<form"), std::string::npos);
            }
        }
        return told;
    }

    test::TempDir dir_;
    std::string root_ = dir_.file("Documents");
};

TEST_F(Upload, StoresTheFileWhateverTheChunks) {
    std::string content;
    for (int i = 0; i < 3000; ++i)
        content += static_cast<char>(i * 7);
    const std::string body =
        formBody("----WebKitFormBoundaryAbC", "C:\\Users\\me\\nb20261101@080000.bak", content);
    for (std::size_t piece :
         {std::size_t{1}, std::size_t{2}, std::size_t{7}, std::size_t{100}, body.size()}) {
        std::filesystem::remove(root_ + "/nb20261101@080000.bak");
        EXPECT_TRUE(post(body, piece)) << piece;
        EXPECT_EQ(slurp(root_ + "/nb20261101@080000.bak"), content) << "pieces of " << piece;
    }
    EXPECT_EQ(namesIn(root_), std::vector<std::string>{"nb20261101@080000.bak"}) << "no temporary file left";
}

TEST_F(Upload, ContentHoldingTheBoundaryIsCutAtItsLastDelimiter) {
    // The rule is kept as it stands: two cuts from the end, the second inside the content.
    const std::string b = "XyZ";
    const std::string body = "--" + b +
                             "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"t.csv\"\r\n\r\n" +
                             "one\r\n--" + b + "two\r\n--" + b + "--\r\n";
    EXPECT_TRUE(post(body, 5));
    EXPECT_EQ(slurp(root_ + "/t.csv"), "one");

    // A file with the boundary inside, sent with the form's button field after it.
    EXPECT_TRUE(post(formBody(b, "u.csv", "a\r\n--XyZ b"), 3));
    EXPECT_EQ(slurp(root_ + "/u.csv"), "a\r\n--XyZ b");
}

TEST_F(Upload, AnEmptyFieldOrABadNameWritesNothing) {
    { std::ofstream(root_ + "/keep.bak") << "old"; }
    EXPECT_FALSE(post(formBody("b", "", ""), 10));
    for (const char* name : {".hidden", "..", "\\..", "a\tb"})
        EXPECT_FALSE(post(formBody("b", name, "data"), 10)) << name;
    EXPECT_EQ(namesIn(root_), std::vector<std::string>{"keep.bak"});

    // Fewer than two header lines: no response at all.
    MyHTTPConnection c(root_, nullptr);
    c.prepareForBodyWithSize(5);
    c.processDataChunk("hello");
    EXPECT_EQ(c.httpResponseForMethod("POST", "/", 5).kind, HTTPResponse::Kind::None);
}

TEST_F(Upload, ACutOffUploadLeavesTheOldFileAndNoTemporary) {
    { std::ofstream(root_ + "/nb20261101@080000.bak") << "the old backup"; }
    const std::string body = formBody("b", "nb20261101@080000.bak", std::string(100000, 'n'));
    EXPECT_FALSE(post(body.substr(0, body.size() / 2), 4096, false));
    EXPECT_EQ(slurp(root_ + "/nb20261101@080000.bak"), "the old backup");
    EXPECT_EQ(namesIn(root_), std::vector<std::string>{"nb20261101@080000.bak"});
}

TEST(TrimUpload, FindsDelimitersAcrossReadBlocks) {
    test::TempDir dir;
    const std::string delimiter = "\r\n--boundary";
    // Sizes around the 1 MiB block so that a delimiter straddles a block edge.
    for (std::size_t contentSize :
         {std::size_t{0}, std::size_t{(1 << 20) - 5}, std::size_t{(1 << 20) + 3}, std::size_t{3 << 20}}) {
        const std::string path = dir.file("t");
        std::string content(contentSize, 'c');
        for (std::size_t i = 0; i < contentSize; i += 4093)
            content[i] = '\r';
        {
            std::ofstream out(path, std::ios::binary | std::ios::trunc);
            out << content << delimiter << "\r\nfield\r\n\r\nCopy" << delimiter << "--\r\n";
        }
        int fd = ::open(path.c_str(), O_RDWR);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(trimUpload(fd, delimiter), contentSize);
        ::close(fd);
        EXPECT_EQ(std::filesystem::file_size(path), contentSize);
    }
}

}  // namespace
}  // namespace numbrel
