#include "workspace/WriteFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <ostream>
#include <random>
#include <streambuf>
#include <vector>

#include "workspace/Error.h"

namespace tintara {

namespace fs = std::filesystem;

namespace {

constexpr const char* kTempPrefix = ".tintara-";
constexpr const char* kTempSuffix = ".tmp";
// A temporary whose process still runs may be a write in progress; one older than this is not.
constexpr std::time_t kStaleAgeSeconds = 24 * 60 * 60;

std::string Reason(int error) {
    return std::strerror(error);
}

[[noreturn]] void Fail(const fs::path& target, const std::string& reason) {
    throw IoError("Cannot write " + target.string() + ": " + reason + ".");
}

// A stream buffer over a file descriptor that remembers the first write error, so that a full
// disk or an exceeded file-size limit is reported with its cause.
class DescriptorBuffer : public std::streambuf {
  public:
    explicit DescriptorBuffer(int fd) : m_fd(fd), m_buffer(1 << 16) {
        setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    }
    int Error() const { return m_error; }

  protected:
    int_type overflow(int_type ch) override {
        if (!Drain())
            return traits_type::eof();
        if (!traits_type::eq_int_type(ch, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(ch);
            pbump(1);
        }
        return traits_type::not_eof(ch);
    }
    int sync() override { return Drain() ? 0 : -1; }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        if (n < static_cast<std::streamsize>(m_buffer.size()))
            return std::streambuf::xsputn(s, n);
        // Large pieces go straight to the file.
        if (!Drain() || !WriteAll(s, static_cast<std::size_t>(n)))
            return 0;
        return n;
    }

  private:
    bool Drain() {
        const std::size_t n = static_cast<std::size_t>(pptr() - pbase());
        const bool ok = WriteAll(pbase(), n);
        setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
        return ok;
    }
    bool WriteAll(const char* p, std::size_t n) {
        if (m_error)
            return false;
        while (n > 0) {
            const ssize_t written = ::write(m_fd, p, n);
            if (written < 0) {
                if (errno == EINTR)
                    continue;
                m_error = errno;
                return false;
            }
            p += written;
            n -= static_cast<std::size_t>(written);
        }
        return true;
    }

    int m_fd;
    std::vector<char> m_buffer;
    int m_error = 0;
};

// Follows a chain of symbolic links to the file they name (which need not exist yet).
fs::path ResolveLinks(const fs::path& target) {
    fs::path path = target;
    for (int hop = 0; hop < 40; ++hop) {
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
            return path;
        std::error_code ec;
        const fs::path destination = fs::read_symlink(path, ec);
        if (ec)
            Fail(target, "the link cannot be read (" + ec.message() + ")");
        path = destination.is_absolute() ? destination : path.parent_path() / destination;
    }
    Fail(target, "too many levels of symbolic links");
}

fs::path FolderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

// ".tintara-<pid>-<8 hex>.tmp" -> pid, or -1 when the name is not one of ours.
long TemporaryOwner(const std::string& name) {
    const std::size_t prefix = std::strlen(kTempPrefix);
    const std::size_t suffix = std::strlen(kTempSuffix);
    if (name.size() < prefix + 1 + 1 + 8 + suffix || name.compare(0, prefix, kTempPrefix) != 0 ||
        name.compare(name.size() - suffix, suffix, kTempSuffix) != 0) {
        return -1;
    }
    const std::string middle = name.substr(prefix, name.size() - prefix - suffix);
    const std::size_t dash = middle.find('-');
    if (dash == std::string::npos || dash == 0 || dash > 10 || middle.size() - dash - 1 != 8)
        return -1;
    long pid = 0;
    for (std::size_t i = 0; i < dash; ++i) {
        if (middle[i] < '0' || middle[i] > '9')
            return -1;
        pid = pid * 10 + (middle[i] - '0');
    }
    for (std::size_t i = dash + 1; i < middle.size(); ++i) {
        if (!std::isxdigit(static_cast<unsigned char>(middle[i])))
            return -1;
    }
    return pid;
}

// Removes the temporaries of writes that never finished: their process is gone, or they are
// older than any write could take. Our own process's are left to the write that owns them.
void RemoveStaleTemporaries(const fs::path& folder) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    const long self = static_cast<long>(::getpid());
    const std::time_t now = std::time(nullptr);
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        const long pid = TemporaryOwner(name);
        if (pid <= 0)
            continue;
        const fs::path path = folder / name;
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        const bool processGone =
            pid != self && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
        const bool old = now - st.st_mtime > kStaleAgeSeconds;
        if (processGone || old)
            ::unlink(path.c_str());
    }
    ::closedir(dir);
}

std::string TemporaryName() {
    static std::atomic<unsigned> counter{0};
    static const unsigned seed = std::random_device{}();
    const auto clock =
        static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
    const unsigned mix = (seed ^ clock ^ (counter++ * 0x9e3779b9u)) & 0xffffffffu;
    char hex[9];
    std::snprintf(hex, sizeof hex, "%08x", mix);
    return std::string(kTempPrefix) + std::to_string(::getpid()) + "-" + hex + kTempSuffix;
}

// Leaves a handler someone installed alone; only the default (death) is replaced.
void IgnoreFileSizeSignal() {
    struct sigaction current {};
    if (::sigaction(SIGXFSZ, nullptr, &current) == 0 && current.sa_handler == SIG_DFL)
        std::signal(SIGXFSZ, SIG_IGN);
}

// Owns the temporary file until it has been renamed over the target.
class Temporary {
  public:
    Temporary(const fs::path& folder, const fs::path& target) : m_target(target) {
        for (int attempt = 0; attempt < 100; ++attempt) {
            m_path = folder / TemporaryName();
            m_fd =
                ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
            if (m_fd >= 0)
                return;
            if (errno != EEXIST) {
                const int error = errno;
                m_path.clear();
                if (error == EACCES || error == EPERM || error == EROFS) {
                    Fail(target, "the folder " + folder.string() + " may not be written (" +
                                     Reason(error) + ")");
                }
                Fail(target, Reason(error));
            }
        }
        m_path.clear();
        Fail(target, "no temporary file could be created in " + folder.string());
    }
    ~Temporary() {
        if (m_fd >= 0)
            ::close(m_fd);
        if (!m_path.empty())
            ::unlink(m_path.c_str());
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    int Fd() const { return m_fd; }
    const fs::path& Path() const { return m_path; }

    // Puts `source` itself in the empty temporary's place, as a second name of the same file, so
    // that a failure from here on leaves the source as it was. False, with the empty temporary
    // still there, where that cannot be (another file system, one without hard links).
    bool TakeOver(const fs::path& source) {
        ::close(m_fd);
        m_fd = -1;
        ::unlink(m_path.c_str());
        if (::link(source.c_str(), m_path.c_str()) == 0) {
            m_fd = ::open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
            if (m_fd < 0)
                Fail(m_target, Reason(errno));
            return true;
        }
        m_fd = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (m_fd < 0) {
            const int error = errno;
            m_path.clear();
            Fail(m_target, Reason(error));
        }
        return false;
    }

    // Gives the new file the permissions (and, where allowed, the owner) of the one it replaces.
    void Adopt(const struct stat& old) {
        if (::geteuid() == 0 && (old.st_uid != ::geteuid() || old.st_gid != ::getegid())) {
            [[maybe_unused]] const int ignored = ::fchown(m_fd, old.st_uid, old.st_gid);
        }
        if (::fchmod(m_fd, old.st_mode & 07777) != 0)
            Fail(m_target, "its permissions cannot be kept (" + Reason(errno) + ")");
    }

    void Commit(const fs::path& resolved, Durability durability) {
        if (durability == Durability::kDurable && ::fsync(m_fd) != 0)
            Fail(m_target, Reason(errno));
        const int fd = m_fd;
        m_fd = -1;
        if (::close(fd) != 0)
            Fail(m_target, Reason(errno));
        if (::rename(m_path.c_str(), resolved.c_str()) != 0)
            Fail(m_target, Reason(errno));
        m_path.clear();
    }

  private:
    fs::path m_target;
    fs::path m_path;
    int m_fd = -1;
};

void SyncFolder(const fs::path& folder) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);  // best effort: some file systems refuse to sync a folder
    ::close(fd);
}

}  // namespace

bool IsWriteTemporaryName(const std::string& name) {
    return TemporaryOwner(name) > 0;
}

namespace {

// Everything a replacement does around the writing itself, which `fill` does into the temporary.
// `byPath`: the producer opens the temporary itself, so its owner must be able to read and write it
// while it is filled, whatever the permissions it takes over in the end.
void Replace(const fs::path& target, bool byPath, const std::function<bool(Temporary&)>& fill,
             Durability durability = Durability::kDurable) {
    IgnoreFileSizeSignal();
    if (target.empty())
        throw IoError("Cannot write the file: no file name was given.");
    const fs::path resolved = ResolveLinks(target);
    const fs::path folder = FolderOf(resolved);

    struct stat folderStat {};
    if (::stat(folder.c_str(), &folderStat) != 0 || !S_ISDIR(folderStat.st_mode))
        Fail(target, "the folder " + folder.string() + " does not exist");

    struct stat old {};
    const bool exists = ::stat(resolved.c_str(), &old) == 0;
    if (exists) {
        if (S_ISDIR(old.st_mode))
            Fail(target, "it is a directory");
        if (!S_ISREG(old.st_mode))
            Fail(target, "it is not a regular file");
        // Write protection is honoured even where the user could override it (root).
        if ((old.st_mode & 0222) == 0 || ::access(resolved.c_str(), W_OK) != 0)
            Fail(target, "the file is write-protected");
    }

    RemoveStaleTemporaries(folder);
    Temporary temp(folder, target);
    // The old permissions come first, so a private file's data is never readable by others.
    const bool widened = exists && byPath && (old.st_mode & 0600) != 0600;
    if (exists) {
        struct stat during = old;
        if (widened)
            during.st_mode |= 0600;
        temp.Adopt(during);
    }
    // A fill that put another file in the temporary's place gives that file the old permissions.
    const bool replaced = fill(temp);
    if (widened || (exists && replaced))
        temp.Adopt(old);
    temp.Commit(resolved, durability);
    if (durability == Durability::kDurable)
        SyncFolder(folder);
}

// Copies what is left of `from` to `to`; false with errno set when a read or write fails. The
// kernel copies where it can; where it cannot (another kind of file system, an old kernel), the
// bytes pass through a buffer.
bool CopyDescriptor(int from, int to, bool& readFailed) {
    readFailed = false;
    bool kernelCopy = true;
    std::vector<char> buffer;
    for (;;) {
        if (kernelCopy) {
            const ssize_t n = ::copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
            if (n > 0)
                continue;
            if (n == 0)
                return true;
            if (errno == EINTR)
                continue;
            if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
                return false;  // which side failed is not known: a full disk reads as a write error
            kernelCopy = false;
            buffer.resize(1 << 20);
        }
        const ssize_t n = ::read(from, buffer.data(), buffer.size());
        if (n == 0)
            return true;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            readFailed = true;
            return false;
        }
        for (ssize_t done = 0; done < n;) {
            const ssize_t written =
                ::write(to, buffer.data() + done, static_cast<std::size_t>(n - done));
            if (written < 0) {
                if (errno == EINTR)
                    continue;
                return false;
            }
            done += written;
        }
    }
}

}  // namespace

void FailWrite(const fs::path& target, int error) {
    Fail(target, Reason(error));
}

void WriteFileAtomically(const fs::path& target,
                         const std::function<void(std::ostream&)>& produce) {
    Replace(target, false, [&](Temporary& temp) {
        DescriptorBuffer buffer(temp.Fd());
        std::ostream out(&buffer);
        produce(out);
        out.flush();
        if (buffer.Error())
            Fail(target, Reason(buffer.Error()));
        if (!out)
            Fail(target, "the data could not be written");
        return false;
    });
}

void WriteFileAtomicallyByPath(const fs::path& target,
                               const std::function<void(const fs::path& temporary)>& produce,
                               Durability durability) {
    Replace(
        target, true,
        [&](Temporary& temp) {
            produce(temp.Path());
            return false;
        },
        durability);
}

namespace {

// Copies `source` into the temporary, naming the source when it is the read that fails.
void CopyInto(const fs::path& source, const fs::path& target, Temporary& temp) {
    const int from = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
    if (from < 0)
        Fail(target, source.string() + " cannot be read (" + Reason(errno) + ")");
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{from};
    bool readFailed = false;
    if (!CopyDescriptor(from, temp.Fd(), readFailed)) {
        const int error = errno;
        if (readFailed)
            Fail(target, source.string() + " cannot be read (" + Reason(error) + ")");
        Fail(target, Reason(error));
    }
}

}  // namespace

void CopyFileAtomically(const fs::path& source, const fs::path& target) {
    if (::access(source.c_str(), R_OK) != 0)
        Fail(target, source.string() + " cannot be read (" + Reason(errno) + ")");
    Replace(target, false, [&](Temporary& temp) {
        CopyInto(source, target, temp);
        return false;
    });
}

void MoveFileAtomically(const fs::path& source, const fs::path& target) {
    if (::access(source.c_str(), R_OK) != 0)
        Fail(target, source.string() + " cannot be read (" + Reason(errno) + ")");
    Replace(target, false, [&](Temporary& temp) {
        if (temp.TakeOver(source))
            return true;
        CopyInto(source, target, temp);
        return false;
    });
    ::unlink(source.c_str());
}

void WriteFileAtomically(const fs::path& target, std::string_view bytes) {
    WriteFileAtomically(target, [bytes](std::ostream& out) {
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    });
}

}  // namespace tintara
