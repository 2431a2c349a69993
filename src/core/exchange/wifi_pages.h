// The Wi-Fi transfer pages: the index page of the Documents folder with its upload form, files sent
// from the folder, and uploads received into it. MyHTTPConnection is what the transfer server asks for
// each request; the rest are its parts, open to tests.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/http_connection.h"

namespace numbrel {

// A request target's path made safe: percent-decoded, split at "/" and "\", "." and empty segments
// dropped, ".." taken back within the folder. nullopt for a target that is not a path ("*", an
// absolute URL), climbs out of the folder, or holds a NUL or another control character.
std::optional<std::string> requestPath(std::string_view target);

// Opens path (a requestPath) inside root without following a symbolic link anywhere below root: a
// regular file, or a directory when directory is set. Not found, anything else, or a link: no fd.
UniqueFd openInside(const std::string& root, const std::string& path, bool directory);

struct DirectoryEntry {
    std::string name;
    bool directory = false;
    std::uint64_t size = 0;
    std::time_t modified = 0;
};
// The entries of a folder in the order the file system lists them: regular files and folders, not
// links, not names beginning with "." (files still being received).
std::vector<DirectoryEntry> listDirectory(int directoryFd);

// The index page for a listing, with the upload form.
std::string indexPage(const std::vector<DirectoryEntry>& entries);

// The file name of an upload from its part's Content-Disposition line: after the last
// "; filename=", between the first pair of double quotes, the last component after "\" or "/".
std::string uploadFileName(std::string_view dispositionLine);
// Whether an upload may be stored under a name: not empty, ".", "..", not starting with ".", no
// control characters.
bool acceptableUploadName(std::string_view name);

// Cuts an upload's file at the delimiter (CR LF and the boundary line), searching back from its end:
// at the closing boundary, then at the one before the form's last field. Answers the new length.
std::uint64_t trimUpload(int fd, std::string_view delimiter);

class MyHTTPConnection : public HTTPConnection {
public:
    // root is the Documents folder; uploaded runs (on the server's thread) when a file has arrived.
    MyHTTPConnection(std::string root, std::function<void()> uploaded);
    ~MyHTTPConnection() override;

    bool supportsMethod(const std::string& method, const std::string& path) const override;
    void prepareForBodyWithSize(std::int64_t size) override;
    void processDataChunk(std::string_view chunk) override;
    HTTPResponse httpResponseForMethod(const std::string& method, const std::string& path,
                                       std::uint64_t bodyLength) override;

private:
    HTTPResponse index(const std::string& path) const;
    void beginFile(std::string_view rest);
    void append(std::string_view bytes);
    bool finishUpload();
    void dropUpload();

    std::string root_;
    std::function<void()> uploaded_;
    // Upload state of the request.
    std::vector<std::string> headerLines_;
    std::string pending_;  // part-header bytes not yet split into lines
    bool headerParsed_ = false;
    std::string fileName_;
    std::string temporary_;  // where the bytes go until the request is complete
    UniqueFd file_;
    bool failed_ = false;  // a write failed: the rest is dropped and nothing replaces a file
};

}  // namespace numbrel
