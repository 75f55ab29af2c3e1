#include "common/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <streambuf>
#include <vector>

namespace common {

namespace {

constexpr const char* kTemporaryPrefix = ".payacclink-";
constexpr const char* kTemporarySuffix = ".tmp";

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// PAYACC_TEST_FAIL_WRITE=N: the N-th write of the process fails as on a full disk, so that
// the tests can reach every failure path of a real run.
bool testFailsThisWrite() {
    static const long failAt = [] {
        const char* env = std::getenv("PAYACC_TEST_FAIL_WRITE");
        return env ? std::atol(env) : 0L;
    }();
    static std::atomic<long> writes{0};
    return failAt > 0 && ++writes == failAt;
}

// Writes all of bytes; returns 0 or the errno of the refusal.
int writeAll(int fd, const char* bytes, size_t size) {
    while (size > 0) {
        if (testFailsThisWrite()) return ENOSPC;
        const ssize_t n = ::write(fd, bytes, size);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        if (n == 0) return EIO;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return 0;
}

std::string folderOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string hiddenName(const std::string& folder) {
    static std::mt19937_64 random{std::random_device{}()};
    char name[80];
    std::snprintf(name, sizeof name, "%s%d-%016llx%s", kTemporaryPrefix, static_cast<int>(::getpid()),
                  static_cast<unsigned long long>(random()), kTemporarySuffix);
    return folder + "/" + name;
}

// Hidden files of ours whose program is gone (killed before it could remove them), on a file
// system without unnamed files. A name whose process still runs is left to it.
void removeLeftovers(const std::string& folder) {
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr) return;
    const size_t prefix = std::strlen(kTemporaryPrefix), suffix = std::strlen(kTemporarySuffix);
    while (const dirent* e = ::readdir(dir)) {
        const std::string name = e->d_name;
        if (name.size() <= prefix + suffix || name.compare(0, prefix, kTemporaryPrefix) != 0 ||
            name.compare(name.size() - suffix, suffix, kTemporarySuffix) != 0)
            continue;
        const long pid = std::atol(name.c_str() + prefix);
        struct stat st {};
        if (pid <= 0 || ::fstatat(::dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(st.st_mode) || st.st_uid != ::geteuid())
            continue;
        if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) ::unlinkat(::dirfd(dir), e->d_name, 0);
    }
    ::closedir(dir);
}

void syncFolder(const std::string& folder) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

}  // namespace

// The stream's buffer: written out in one checked call per 64 KiB. The first refusal is kept
// and every later write dropped, so the caller learns of it at flush or commit.
class OutputFile::Buffer : public std::streambuf {
public:
    explicit Buffer(int fd) : fd_(fd), bytes_(64 * 1024) {
        setp(bytes_.data(), bytes_.data() + bytes_.size());
    }
    int error() const { return error_; }
    bool drain() {
        if (error_ == 0) error_ = writeAll(fd_, pbase(), static_cast<size_t>(pptr() - pbase()));
        setp(bytes_.data(), bytes_.data() + bytes_.size());
        return error_ == 0;
    }

protected:
    int_type overflow(int_type c) override {
        if (!drain()) return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }
    int sync() override { return drain() ? 0 : -1; }

private:
    int fd_;
    int error_ = 0;
    std::vector<char> bytes_;
};

OutputFile::OutputFile(std::string path, Target target) : path_(std::move(path)), target_(target) {
    if (target_ == Target::StandardOutput) {
        // What stdio holds goes first, so the lines keep their order.
        std::fflush(stdout);
        fd_ = STDOUT_FILENO;
    } else {
        if (path_.empty()) throw FileError("cannot write a file without a name");
        struct stat st {
        }, to{};
        if (::lstat(path_.c_str(), &st) == 0) {
            if (target_ == Target::Create) throw FileError(quoted(path_) + " exists already");
            if (S_ISDIR(st.st_mode)) throw FileError("cannot write " + quoted(path_) + ": it is a folder");
            // A file its owner made read-only is not replaced behind their back.
            if (S_ISREG(st.st_mode) && ::access(path_.c_str(), W_OK) != 0) fail(errno);
            // A device or a pipe (/dev/stdout, a named pipe) is written as a stream: there is no
            // file to replace, and replacing the name would break it for everyone.
            if (!S_ISREG(st.st_mode) && ::stat(path_.c_str(), &to) == 0 && !S_ISREG(to.st_mode) &&
                !S_ISDIR(to.st_mode)) {
                device_ = true;
                fd_ = ::open(path_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
                if (fd_ < 0) fail(errno);
            }
        }
        const std::string folder = folderOf(path_);
        if (!device_) fd_ = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
        if (fd_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
            // No unnamed files here: a hidden name, which the next run removes if we are killed.
            removeLeftovers(folder);
            temporary_ = hiddenName(folder);
            fd_ = ::open(temporary_.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, 0600);
            if (fd_ < 0) temporary_.clear();
        }
        if (fd_ < 0) fail(errno);
    }
    buffer_ = std::make_unique<Buffer>(fd_);
    stream_ = std::make_unique<std::ostream>(buffer_.get());
}

OutputFile::~OutputFile() {
    if (target_ != Target::StandardOutput) discard();
}

std::ostream& OutputFile::stream() { return *stream_; }

void OutputFile::fail(int error) {
    if (target_ == Target::StandardOutput)
        throw FileError(std::string("cannot write to standard output: ") + std::strerror(error));
    if (error == EEXIST && target_ == Target::Create) throw FileError(quoted(path_) + " exists already");
    throw FileError("cannot write " + quoted(path_) + ": " + std::strerror(error));
}

void OutputFile::discard() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
    temporary_.clear();
}

void OutputFile::flush() {
    if (buffer_->drain()) return;
    const int error = buffer_->error();
    if (target_ != Target::StandardOutput) discard();
    fail(error);
}

// Gives the new file the target's name: linked from its descriptor when it is unnamed, then
// renamed over the target (or, to create, linked without replacing anything).
void OutputFile::name() {
    if (target_ == Target::Replace) {
        struct stat st {};
        if (::lstat(path_.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
            // A replaced file keeps its mode, and its group where this user may give it.
            if (::fchmod(fd_, st.st_mode & 07777) != 0) fail(errno);
            if (::fchown(fd_, static_cast<uid_t>(-1), st.st_gid) != 0) {
                // Not a member of that group: the file stays in the user's own.
            }
        }
    }
    const std::string self = "/proc/self/fd/" + std::to_string(fd_);
    if (temporary_.empty()) {
        if (target_ == Target::Create) {
            if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path_.c_str(), AT_SYMLINK_FOLLOW) != 0)
                fail(errno);
            named_ = true;
            return;
        }
        // The hidden name exists only between these two calls.
        for (int tries = 0; temporary_.empty(); ++tries) {
            temporary_ = hiddenName(folderOf(path_));
            if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, temporary_.c_str(), AT_SYMLINK_FOLLOW) == 0) break;
            temporary_.clear();
            if (errno != EEXIST || tries > 8) fail(errno);
        }
    }
    const int renamed = target_ == Target::Create ? ::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD,
                                                                path_.c_str(), RENAME_NOREPLACE)
                                                  : ::rename(temporary_.c_str(), path_.c_str());
    if (renamed != 0) {
        const int error = errno;
        ::unlink(temporary_.c_str());
        temporary_.clear();
        fail(error);
    }
    temporary_.clear();
    named_ = true;
}

void OutputFile::publish() {
    if (target_ == Target::StandardOutput || device_ || named_) return;
    try {
        name();
    } catch (...) {
        discard();
        throw;
    }
    syncFolder(folderOf(path_));
}

void OutputFile::commit() {
    flush();
    if (target_ == Target::StandardOutput) return;
    try {
        if (!device_ && ::fsync(fd_) != 0) fail(errno);
        if (!named_ && !device_) name();
        const int fd = fd_;
        fd_ = -1;
        if (::close(fd) != 0) fail(errno);
    } catch (...) {
        // A file named already (published) keeps what it got; an unnamed one goes.
        discard();
        throw;
    }
    syncFolder(folderOf(path_));
}

void appendPrivate(const std::string& path, std::string_view bytes) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) throw FileError("cannot write " + quoted(path) + ": " + std::strerror(errno));
    int error = writeAll(fd, bytes.data(), bytes.size());
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error != 0) throw FileError("cannot write " + quoted(path) + ": " + std::strerror(error));
}

void checkPrivateFolder(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) throw FileError(quoted(path) + ": " + std::strerror(errno));
    if (!S_ISDIR(st.st_mode)) throw FileError(quoted(path) + " is not a folder");
    if (st.st_uid != ::geteuid())
        throw FileError("the folder " + quoted(path) + " belongs to another user (uid " +
                        std::to_string(st.st_uid) + ")");
    if ((st.st_mode & S_IWOTH) != 0) throw FileError("every user may write to the folder " + quoted(path));
    if (::access(path.c_str(), W_OK | X_OK) != 0) throw FileError(quoted(path) + ": " + std::strerror(errno));
}

void makePrivateFolder(const std::string& path) {
    // Each missing folder from the top down, so that none of them is made with wider rights.
    for (size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
        const std::string part = path.substr(0, at);
        if (!part.empty() && ::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST)
            throw FileError("cannot make the folder " + quoted(part) + ": " + std::strerror(errno));
        if (at == std::string::npos) break;
    }
    checkPrivateFolder(path);
}

}  // namespace common
