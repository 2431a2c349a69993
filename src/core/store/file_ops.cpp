#include "store/file_ops.h"

#include <algorithm>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace numbrel {

namespace {

class RealFileOps final : public FileOps {
public:
    int openForWrite(const std::string& path, int& fd) override {
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        return fd < 0 ? errno : 0;
    }
    int write(int fd, const char* data, std::size_t size, std::size_t& written) override {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) return errno;
        written = static_cast<std::size_t>(n);
        return 0;
    }
    int fsync(int fd) override { return ::fsync(fd) == 0 ? 0 : errno; }
    int close(int fd) override { return ::close(fd) == 0 ? 0 : errno; }
    int rename(const std::string& from, const std::string& to) override {
        return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    }
    int unlink(const std::string& path) override { return ::unlink(path.c_str()) == 0 ? 0 : errno; }
    int fsyncDirectory(const std::string& dir) override {
        int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) return errno;
        int rc = ::fsync(fd) == 0 ? 0 : errno;
        ::close(fd);
        return rc;
    }
    int makeDirectories(const std::string& dir) override {
        std::error_code ec;
        std::filesystem::create_directories(dir, ec);
        return ec ? ec.value() : 0;
    }
};

std::string describe(const char* what, const std::string& path, int err) {
    return std::string(what) + " " + path + ": " + std::strerror(err);
}

}  // namespace

FileOps& FileOps::real() {
    static RealFileOps ops;
    return ops;
}

std::string parentDirectory(const std::string& path) {
    std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

std::optional<std::string> writeFileAtomically(FileOps& ops, const std::string& path,
                                               std::string_view bytes) {
    static std::atomic<unsigned> counter{0};
    const std::string dir = parentDirectory(path);
    if (int err = ops.makeDirectories(dir)) return describe("cannot create folder", dir, err);
    const std::string temp = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);

    int fd = -1;
    if (int err = ops.openForWrite(temp, fd)) return describe("cannot create", temp, err);
    auto abandon = [&](const char* what, int err) {
        if (fd >= 0) ops.close(fd);
        ops.unlink(temp);
        return describe(what, temp, err);
    };
    std::size_t done = 0;
    while (done < bytes.size()) {
        std::size_t written = 0;
        int err = ops.write(fd, bytes.data() + done, bytes.size() - done, written);
        if (err == EINTR) continue;
        if (err) return abandon("cannot write", err);
        if (written == 0) return abandon("cannot write", ENOSPC);
        done += written;
    }
    if (int err = ops.fsync(fd)) return abandon("cannot flush", err);
    int closeErr = ops.close(fd);
    fd = -1;
    if (closeErr) return abandon("cannot close", closeErr);
    if (int err = ops.rename(temp, path)) {
        ops.unlink(temp);
        return describe("cannot replace", path, err);
    }
    // The new file is in place; a failed folder sync only weakens durability across a power cut,
    // so it is not reported as a failed save.
    ops.fsyncDirectory(dir);
    return std::nullopt;
}

std::optional<std::string> readWholeFile(const std::string& path, std::string& error, std::size_t limit) {
    error.clear();
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno != ENOENT) error = describe("cannot open", path, errno);
        return std::nullopt;
    }
    std::string bytes;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && st.st_size > 0)
        bytes.reserve(std::min(static_cast<std::size_t>(st.st_size), limit));
    char buf[1 << 16];
    while (bytes.size() < limit) {
        ssize_t n = ::read(fd, buf, std::min(sizeof buf, limit - bytes.size()));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            error = describe("cannot read", path, errno);
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0) break;
        bytes.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return bytes;
}

std::optional<std::string> copyIntoFolder(const std::string& from, const std::string& directory) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_regular_file(from, ec)) return from + " is not a file that can be copied";
    const fs::path target = fs::path(directory) / fs::path(from).filename();
    if (fs::equivalent(from, target, ec)) return std::nullopt;  // already there
    fs::create_directories(directory, ec);
    return copyThroughTemporary(from, directory, target.filename().string());
}

IncomingFile::IncomingFile(std::string directory, std::string name)
    : directory_(std::move(directory)), name_(std::move(name)) {
    static std::atomic<unsigned> counter{0};
    temp_ =
        directory_ + "/." + name_ + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
}

IncomingFile::~IncomingFile() {
    if (committed_) return;
    std::error_code ec;
    std::filesystem::remove(temp_, ec);
}

std::optional<std::string> IncomingFile::commit() {
    const int fd = ::open(temp_.c_str(), O_RDONLY | O_CLOEXEC);
    const bool synced = fd >= 0 && ::fsync(fd) == 0;
    const int err = errno;
    if (fd >= 0) ::close(fd);
    const std::string path = directory_ + "/" + name_;
    if (!synced || ::rename(temp_.c_str(), path.c_str()) != 0)
        return describe("cannot replace", path, synced ? errno : err);
    committed_ = true;
    return std::nullopt;
}

std::optional<std::string> receiveThroughTemporary(
    const std::string& toDirectory, const std::string& name,
    const std::function<std::optional<std::string>(const std::string& temp)>& fill) {
    IncomingFile incoming(toDirectory, name);
    if (std::optional<std::string> failed = fill(incoming.temporaryPath())) return failed;
    return incoming.commit();
}

std::optional<std::string> copyThroughTemporary(const std::string& from, const std::string& toDirectory,
                                                const std::string& name,
                                                const std::function<bool(const std::string& temp)>& accept,
                                                const std::string& refusal) {
    return receiveThroughTemporary(
        toDirectory, name, [&](const std::string& temp) -> std::optional<std::string> {
            namespace fs = std::filesystem;
            std::error_code ec;
            if (!fs::copy_file(from, temp, fs::copy_options::overwrite_existing, ec))
                return "cannot copy " + from + ": " + ec.message();
            if (accept && !accept(temp)) return refusal;
            return std::nullopt;
        });
}

bool fileHolds(const std::string& path, std::string_view bytes) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || static_cast<std::uint64_t>(st.st_size) != bytes.size())
        return false;
    std::string error;
    std::optional<std::string> content = readWholeFile(path, error, bytes.size() + 1);
    return content && *content == bytes;
}

int removeStaleTemporaries(const std::string& directory) {
    std::error_code ec;
    int removed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ec)) {
        const std::string name = entry.path().filename().string();
        auto at = name.rfind(".tmp-");
        if (at == std::string::npos) continue;
        // ".tmp-" PID "-" N, nothing else.
        std::string_view rest = std::string_view(name).substr(at + 5);
        auto dash = rest.find('-');
        if (dash == std::string_view::npos || dash == 0 || dash + 1 == rest.size()) continue;
        std::string_view pid = rest.substr(0, dash), n = rest.substr(dash + 1);
        auto digits = [](std::string_view t) {
            return std::all_of(t.begin(), t.end(), [](char c) { return c >= '0' && c <= '9'; });
        };
        if (!digits(pid) || !digits(n) || pid.size() > 9) continue;
        const pid_t owner = static_cast<pid_t>(std::stol(std::string(pid)));
        if (owner == ::getpid() || ::kill(owner, 0) == 0 || errno != ESRCH) continue;  // still saving
        if (::unlink(entry.path().c_str()) == 0) ++removed;
    }
    return removed;
}

}  // namespace numbrel
