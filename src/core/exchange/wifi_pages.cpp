#include "exchange/wifi_pages.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "ui/localize.h"
#include "ui/markup.h"

namespace numbrel {

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
}

void UniqueFd::reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
}

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isControl(unsigned char c) {
    return c < 0x20 || c == 0x7f;
}

// Writes all of bytes, retrying short writes.
bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// A name as a link target: characters that would end the attribute or change the link's meaning are
// percent-encoded; everything else (the names the app writes) stays as it is.
std::string escapeHref(const std::string& name) {
    static const char* const kHex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : name) {
        if (c == '"' || c == '<' || c == '>' || c == '%' || c == '#' || c == '?' || c == '&' || c == '\\' ||
            c == ' ' || isControl(c)) {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

// The platform's default text of a date: "2014-03-05 07:15:02 +0000".
std::string defaultDateText(std::time_t t) {
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[64];
    std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S +0000", &tm);
    return buf;
}

std::atomic<unsigned> uploadCounter{0};

}  // namespace

std::optional<std::string> requestPath(std::string_view target) {
    if (target.empty() || target.front() != '/') return std::nullopt;
    std::string decoded;
    decoded.reserve(target.size());
    for (std::size_t i = 0; i < target.size(); ++i) {
        char c = target[i];
        if (c == '?' || c == '#') break;
        if (c == '%') {
            if (i + 2 >= target.size()) return std::nullopt;
            int hi = hexValue(target[i + 1]), lo = hexValue(target[i + 2]);
            if (hi < 0 || lo < 0) return std::nullopt;
            c = static_cast<char>(hi * 16 + lo);
            i += 2;
        }
        if (isControl(static_cast<unsigned char>(c))) return std::nullopt;
        decoded += c;
    }
    std::vector<std::string> segments;
    std::string segment;
    auto take = [&]() -> bool {
        if (segment == "..") {
            if (segments.empty()) return false;
            segments.pop_back();
        } else if (!segment.empty() && segment != ".") {
            segments.push_back(segment);
        }
        segment.clear();
        return true;
    };
    for (char c : decoded) {
        if (c == '/' || c == '\\') {
            if (!take()) return std::nullopt;
        } else {
            segment += c;
        }
    }
    if (!take()) return std::nullopt;
    std::string path;
    for (const std::string& s : segments)
        path += "/" + s;
    return path.empty() ? "/" : path;
}

UniqueFd openInside(const std::string& root, const std::string& path, bool directory) {
    std::vector<std::string> parts;
    std::size_t start = 1;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos) end = path.size();
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    // O_NONBLOCK: opening a FIFO must not wait for a writer; regular files ignore it.
    const int flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | (directory ? O_DIRECTORY : 0);
    auto checked = [directory](UniqueFd fd) -> UniqueFd {
        struct stat st {};
        if (!fd || ::fstat(fd.get(), &st) != 0) return {};
        if (directory ? !S_ISDIR(st.st_mode) : !S_ISREG(st.st_mode)) return {};
        return fd;
    };
    // A name right in the folder (nearly every request): one open, the folder itself being trusted.
    if (parts.size() == 1 && parts[0] != "." && parts[0] != "..")
        return checked(UniqueFd(::open((root + "/" + parts[0]).c_str(), flags)));
    UniqueFd dir(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!dir) return {};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool last = i + 1 == parts.size();
        if (parts[i] == "." || parts[i] == "..") return {};
        UniqueFd next(::openat(dir.get(), parts[i].c_str(), last ? flags : flags | O_DIRECTORY));
        if (!next) return {};
        dir = std::move(next);
    }
    return checked(std::move(dir));
}

std::vector<DirectoryEntry> listDirectory(int directoryFd) {
    std::vector<DirectoryEntry> entries;
    int fd = ::dup(directoryFd);
    if (fd < 0) return entries;
    DIR* dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return entries;
    }
    ::rewinddir(dir);
    while (dirent* d = ::readdir(dir)) {
        if (d->d_name[0] == '.') continue;
        struct stat st {};
        if (::fstatat(directoryFd, d->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode)) continue;
        entries.push_back(
            {d->d_name, S_ISDIR(st.st_mode), static_cast<std::uint64_t>(st.st_size), st.st_mtime});
    }
    ::closedir(dir);
    return entries;
}

std::string indexPage(const std::vector<DirectoryEntry>& entries) {
    std::string page = "<html><head>";
    page += fill("<title>%@</title>", {tr("Numbrel")});
    page +=
        "<style>html {background-color:#eeeeee} body { background-color:#FFFFFF; "
        "font-family:Tahoma,Arial,Helvetica,sans-serif; font-size:18x; margin-left:15%; margin-right:15%; "
        "border:3px groove #006600; padding:15px; } </style>";
    page += "</head><body>";
    page += "<h1>" + tr("Numbrel") + "</h1>";
    page += "<h2>" + tr("Backups") + "</h2>";
    if (!entries.empty()) {
        page += "<bq>" +
                tr("Download and save these files on your computer in case you need to restore them in "
                   "future. To do this, right click on the file name below and select Download Linked File "
                   "As (Safari), Save Link As (Firefox) or Save Target As (Internet Explorer). Note that by "
                   "default IE will assume this is an HTML file and will replace the .bak file extension "
                   "with .htm. To prevent it from doing this add the .bak extension to the File name "
                   "dialog box, and change Save as type to All Files") +
                ".</bq>";
        page += "<p>";
        for (const DirectoryEntry& e : entries) {
            const std::string name = e.directory ? e.name + "/" : e.name;
            char size[64];
            std::snprintf(size, sizeof size, "%8.1f",
                          static_cast<double>(static_cast<float>(e.size) / 1024.0f));
            page += "<a href=\"" + escapeHref(name) + "\" type=\"application/octet-stream\">" +
                    escapeMarkup(name) + "</a> (" + size + " Kb, " + defaultDateText(e.modified) +
                    ")<br />\n";
        }
        page += "</p>";
    } else {
        page += "<bq>" +
                tr("No backups found. To make a backup select Backup Now from within the application") +
                ".</bq>";
    }
    page += "<h2>" + tr("Import / Restore") + "</h2>";
    page += "<bq>" +
            tr("Choose a backup or CSV file to copy to your device.  Once copied, it can be restored or "
               "imported from within the application itself") +
            ".</bq>";
    page += "<p>";
    page +=
        "<form action=\"\" method=\"post\" enctype=\"multipart/form-data\" name=\"form1\" id=\"form1\">"
        "<label><input type=\"file\" name=\"file\" id=\"file\" /></label>"
        "<label><input type=\"submit\" name=\"button\" id=\"button\" value=\"Copy\" /></label></form>";
    page += "</body></html>";
    return page;
}

std::string uploadFileName(std::string_view line) {
    static constexpr std::string_view kKey = "; filename=";
    std::size_t at = line.rfind(kKey);
    if (at == std::string_view::npos) return "";
    std::string_view value = line.substr(at + kKey.size());
    std::size_t open = value.find('"');
    if (open == std::string_view::npos) return "";
    std::size_t close = value.find('"', open + 1);
    if (close == std::string_view::npos) return "";
    std::string_view name = value.substr(open + 1, close - open - 1);
    // Browsers that send a whole Windows path; and never a folder of ours.
    if (std::size_t slash = name.find_last_of("\\/"); slash != std::string_view::npos)
        name = name.substr(slash + 1);
    return std::string(name);
}

bool acceptableUploadName(std::string_view name) {
    if (name.empty() || name.front() == '.') return false;
    for (unsigned char c : name)
        if (isControl(c)) return false;
    return true;
}

namespace {

// The last position p < end - |delimiter| + 1 where the delimiter starts and ends before end, reading
// back in blocks; -1 when there is none.
std::int64_t lastMatch(int fd, std::uint64_t end, std::string_view delimiter) {
    const std::size_t d = delimiter.size();
    if (d == 0 || end < d) return -1;
    constexpr std::size_t kBlock = 1 << 20;
    std::vector<char> buffer(kBlock + d);
    std::uint64_t blockEnd = end;  // bytes [blockStart, blockEnd) are searched, a match may not pass end
    while (blockEnd >= d) {
        const std::uint64_t blockStart = blockEnd > kBlock + d ? blockEnd - kBlock - d : 0;
        const std::size_t size = static_cast<std::size_t>(blockEnd - blockStart);
        std::size_t got = 0;
        while (got < size) {
            ssize_t n = ::pread(fd, buffer.data() + got, size - got, static_cast<off_t>(blockStart + got));
            if (n <= 0) {
                if (n < 0 && errno == EINTR) continue;
                return -1;
            }
            got += static_cast<std::size_t>(n);
        }
        // Candidates are where the delimiter's first byte is, found back to front by memrchr.
        std::size_t limit = size - d + 1;  // a match starts before this
        while (limit > 0) {
            const void* at = ::memrchr(buffer.data(), delimiter[0], limit);
            if (!at) break;
            const std::size_t p = static_cast<std::size_t>(static_cast<const char*>(at) - buffer.data());
            if (std::memcmp(buffer.data() + p, delimiter.data(), d) == 0)
                return static_cast<std::int64_t>(blockStart + p);
            limit = p;
        }
        if (blockStart == 0) break;
        blockEnd = blockStart + d - 1;  // the next block overlaps so that no match is split
    }
    return -1;
}

}  // namespace

std::uint64_t trimUpload(int fd, std::string_view delimiter) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) return 0;
    std::uint64_t length = static_cast<std::uint64_t>(st.st_size);
    for (int matches = 0; matches < 2; ++matches) {
        std::int64_t at = lastMatch(fd, length, delimiter);
        if (at < 0) break;
        length = static_cast<std::uint64_t>(at);
        if (::ftruncate(fd, static_cast<off_t>(length)) != 0) break;
    }
    return length;
}

MyHTTPConnection::MyHTTPConnection(std::string root, std::function<void()> uploaded)
    : root_(std::move(root)), uploaded_(std::move(uploaded)) {}

MyHTTPConnection::~MyHTTPConnection() {
    dropUpload();
}

bool MyHTTPConnection::supportsMethod(const std::string& method, const std::string& path) const {
    return method == "POST" || HTTPConnection::supportsMethod(method, path);
}

void MyHTTPConnection::dropUpload() {
    file_.reset();
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
    temporary_.clear();
    headerLines_.clear();
    pending_.clear();
    headerParsed_ = false;
    fileName_.clear();
    failed_ = false;
}

void MyHTTPConnection::prepareForBodyWithSize(std::int64_t /*size*/) {
    dropUpload();
}

void MyHTTPConnection::processDataChunk(std::string_view chunk) {
    if (headerParsed_) {
        append(chunk);
        return;
    }
    if (chunk == "\r\n" && pending_.empty() && headerLines_.empty()) return;
    pending_.append(chunk);
    std::size_t start = 0;
    for (;;) {
        std::size_t eol = pending_.find("\r\n", start);
        if (eol == std::string::npos) break;
        std::string line = pending_.substr(start, eol - start);
        start = eol + 2;
        if (line.empty()) {
            headerParsed_ = true;
            if (headerLines_.size() >= 2) fileName_ = uploadFileName(headerLines_[1]);
            beginFile(std::string_view(pending_).substr(start));
            pending_.clear();
            return;
        }
        headerLines_.push_back(std::move(line));
    }
    pending_.erase(0, start);
    // A part header is a few lines; one that does not end is not an upload.
    constexpr std::size_t kMaxHeader = 16 * 1024;
    if (pending_.size() > kMaxHeader || headerLines_.size() > 64) {
        headerParsed_ = true;
        failed_ = true;
        pending_.clear();
    }
}

void MyHTTPConnection::beginFile(std::string_view rest) {
    if (!acceptableUploadName(fileName_)) return;  // nothing is written
    temporary_ = root_ + "/.upload.tmp-" + std::to_string(::getpid()) + "-" + std::to_string(uploadCounter++);
    file_.reset(::open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!file_) {
        temporary_.clear();
        failed_ = true;
        return;
    }
    append(rest);
}

void MyHTTPConnection::append(std::string_view bytes) {
    if (!file_ || failed_ || bytes.empty()) return;
    if (!writeAll(file_.get(), bytes.data(), bytes.size())) failed_ = true;
}

bool MyHTTPConnection::finishUpload() {
    if (!file_ || failed_ || headerLines_.empty()) return false;
    trimUpload(file_.get(), "\r\n" + headerLines_[0]);
    if (::fsync(file_.get()) != 0) return false;
    file_.reset();
    const std::string target = root_ + "/" + fileName_;
    if (::rename(temporary_.c_str(), target.c_str()) != 0) return false;
    temporary_.clear();
    if (int dir = ::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

HTTPResponse MyHTTPConnection::index(const std::string& path) const {
    UniqueFd dir = openInside(root_, path, true);
    return HTTPResponse::data(indexPage(dir ? listDirectory(dir.get()) : std::vector<DirectoryEntry>{}));
}

HTTPResponse MyHTTPConnection::httpResponseForMethod(const std::string& method, const std::string& path,
                                                     std::uint64_t bodyLength) {
    if (method == "POST" && bodyLength != 0) {
        if (headerLines_.size() < 2) {
            dropUpload();
            return {};
        }
        const bool stored = !fileName_.empty() && finishUpload();
        dropUpload();
        if (stored && uploaded_) uploaded_();
        return index(path);
    }
    if (path != "/")
        if (UniqueFd file = openInside(root_, path, false)) {
            HTTPResponse r;
            r.kind = HTTPResponse::Kind::File;
            r.file = std::move(file);
            r.contentType = "application/octet-stream";
            return r;
        }
    return index(path);
}

}  // namespace numbrel
