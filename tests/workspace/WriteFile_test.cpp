#include "workspace/WriteFile.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "support/ExpectThrow.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

int Temporaries(const fs::path& folder) {
    int n = 0;
    for (const auto& entry : fs::directory_iterator(folder))
        n += IsWriteTemporaryName(entry.path().filename().string()) ? 1 : 0;
    return n;
}

mode_t Mode(const fs::path& p) {
    struct stat st {};
    ::stat(p.c_str(), &st);
    return st.st_mode & 07777;
}

// What WriteFileAtomically says when it refuses, or "" when it wrote.
std::string Refusal(const fs::path& target, const std::string& bytes) {
    try {
        WriteFileAtomically(target, bytes);
    } catch (const IoError& e) {
        return e.what();
    }
    return "";
}

// Runs `body` in a forked child; returns its exit status (128 + signal when a signal ended it).
template <typename Body>
int InChild(Body body) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        int status = 0;
        try {
            status = body();
        } catch (...) {
            status = 99;
        }
        ::_exit(status);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(WriteFileAtomically, ReplacesKeepingPermissionsLinksAndAnyLegalName) {
    const auto dir = test::ScratchDir("WriteFile_Replace");
    const fs::path file = dir / "private.txt";
    WriteFileAtomically(file, "first");
    ::chmod(file.c_str(), 0600);
    WriteFileAtomically(file, "second");
    EXPECT_EQ(test::Slurp(file), "second");
    EXPECT_EQ(Mode(file), 0600u);

    // A link stays a link; the file it points to (through a relative chain) is replaced.
    fs::create_directory(dir / "real");
    WriteFileAtomically(dir / "real" / "data.txt", "old");
    fs::create_symlink("real/data.txt", dir / "link1");
    fs::create_symlink("link1", dir / "link2");
    WriteFileAtomically(dir / "link2", "new");
    EXPECT_TRUE(fs::is_symlink(dir / "link1"));
    EXPECT_TRUE(fs::is_symlink(dir / "link2"));
    EXPECT_EQ(test::Slurp(dir / "real" / "data.txt"), "new");

    // The longest name a folder entry may have, and a stream producer.
    const fs::path longName = dir / std::string(254, 'n');
    WriteFileAtomically(longName, [](std::ostream& out) { out << "long " << 254; });
    EXPECT_EQ(test::Slurp(longName), "long 254");
    EXPECT_EQ(Temporaries(dir), 0);
    EXPECT_EQ(Temporaries(dir / "real"), 0);
}

TEST(WriteFileAtomically, RefusesWhatMayNotBeWrittenAndLeavesItAlone) {
    const auto dir = test::ScratchDir("WriteFile_Refuse");
    const fs::path locked = dir / "locked.ccf";
    WriteFileAtomically(locked, "keep me");
    ::chmod(locked.c_str(), 0444);
    EXPECT_NE(Refusal(locked, "lost").find("write-protected"), std::string::npos);
    EXPECT_EQ(test::Slurp(locked), "keep me");
    EXPECT_EQ(Mode(locked), 0444u);

    fs::create_directory(dir / "folder.wsv");
    EXPECT_NE(Refusal(dir / "folder.wsv", "x").find("is a directory"), std::string::npos);
    EXPECT_NE(Refusal(dir / "nowhere" / "x.txt", "x").find("does not exist"), std::string::npos);
    EXPECT_NE(Refusal("/dev/null", "x").find("not a regular file"), std::string::npos);

    // A producer's failure passes through; the earlier file stays and nothing is left behind.
    EXPECT_THROW(WriteFileAtomically(dir / "locked.ccf.bak",
                                     [](std::ostream& out) {
                                         out << "half";
                                         throw std::runtime_error("the data ran out");
                                     }),
                 std::runtime_error);
    EXPECT_FALSE(fs::exists(dir / "locked.ccf.bak"));
    EXPECT_EQ(Temporaries(dir), 0);
}

TEST(WriteFileAtomically, AFolderTheUserMayNotWriteIsRefused) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to the user nobody";
    const passwd* nobody = ::getpwnam("nobody");
    if (!nobody)
        GTEST_SKIP() << "no user nobody on this machine";
    const auto dir = test::ScratchDir("WriteFile_Folder");
    WriteFileAtomically(dir / "theirs.txt", "root's");
    ::chmod(dir.c_str(), 0755);
    const uid_t uid = nobody->pw_uid;
    const gid_t gid = nobody->pw_gid;
    const int status = InChild([&] {
        if (::setgid(gid) != 0 || ::setuid(uid) != 0)
            return 98;
        const std::string inFolder = Refusal(dir / "new.txt", "x");
        const std::string onFile = Refusal(dir / "theirs.txt", "x");
        return inFolder.find("may not be written") != std::string::npos &&
                       onFile.find("write-protected") != std::string::npos
                   ? 0
                   : 1;
    });
    if (status == 98)
        GTEST_SKIP() << "cannot switch to the user nobody here";
    EXPECT_EQ(status, 0);
    EXPECT_EQ(test::Slurp(dir / "theirs.txt"), "root's");
    EXPECT_EQ(Temporaries(dir), 0);
}

TEST(WriteFileAtomically, AFileSizeLimitIsAMessageNotADeath) {
    const auto dir = test::ScratchDir("WriteFile_Limit");
    const fs::path file = dir / "big.txt";
    WriteFileAtomically(file, "earlier");
    // The child starts with SIGXFSZ at its default (death) to show the routine protects itself.
    const int status = InChild([&] {
        std::signal(SIGXFSZ, SIG_DFL);
        rlimit small{64 * 1024, 64 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &small);
        const std::string what = Refusal(file, std::string(1 << 20, 'x'));
        return what.find("File too large") != std::string::npos &&
                       what.find(file.string()) != std::string::npos
                   ? 0
                   : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(test::Slurp(file), "earlier");
    EXPECT_EQ(Temporaries(dir), 0);
}

TEST(WriteFileAtomically, AFullDiskIsAMessageAndTheEarlierFileStays) {
    const auto dir = test::ScratchDir("WriteFile_Full");
    const fs::path mountPoint = dir / "small";
    fs::create_directory(mountPoint);
    if (::geteuid() != 0 ||
        ::mount("tintara-test", mountPoint.c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "cannot mount a small tmpfs here (needs root and mount rights)";
    }
    const fs::path file = mountPoint / "report.txt";
    WriteFileAtomically(file, "earlier");
    const std::string what = Refusal(file, std::string(1 << 20, 'x'));
    EXPECT_NE(what.find("No space left"), std::string::npos) << what;
    EXPECT_EQ(test::Slurp(file), "earlier");
    EXPECT_EQ(Temporaries(mountPoint), 0);
    ::umount(mountPoint.c_str());
}

// Bytes that no two blocks share, so a block copied twice or skipped shows.
std::string Pattern(std::size_t n) {
    std::string bytes(n, '\0');
    uint32_t x = 2463534242u;
    for (char& c : bytes) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = static_cast<char>(x);
    }
    return bytes;
}

TEST(CopyFileAtomically, CopiesByteForByteAndRefusesAsAnyWriteDoes) {
    const auto dir = test::ScratchDir("WriteFile_Copy");
    const fs::path source = dir / "converted.wsv";
    const fs::path file = dir / "correlated.wsv";
    const std::string bytes = Pattern((3 << 20) + 12345);
    WriteFileAtomically(source, bytes);
    WriteFileAtomically(file, "earlier");
    ::chmod(file.c_str(), 0640);
    CopyFileAtomically(source, file);
    EXPECT_EQ(test::Slurp(file), bytes);
    EXPECT_EQ(Mode(file), 0640u);

    // A source that is gone: both files are named, the earlier copy stays.
    const std::string missing = (dir / "gone.wsv").string();
    EXPECT_THROW_WHAT(CopyFileAtomically(missing, file), IoError,
                      "Cannot write " + file.string() + ": " + missing + " cannot be read");
    EXPECT_EQ(test::Slurp(file), bytes);

    // A file-size limit part way through the copy.
    WriteFileAtomically(file, "earlier");
    const int status = InChild([&] {
        rlimit small{1 << 20, 1 << 20};
        ::setrlimit(RLIMIT_FSIZE, &small);
        try {
            CopyFileAtomically(source, file);
        } catch (const IoError& e) {
            return std::string(e.what()).find("File too large") != std::string::npos ? 0 : 1;
        }
        return 2;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(test::Slurp(file), "earlier");
    EXPECT_EQ(Temporaries(dir), 0);
}

TEST(CopyFileAtomically, AFullDiskIsAMessageAndTheEarlierFileStays) {
    const auto dir = test::ScratchDir("WriteFile_CopyFull");
    const fs::path mountPoint = dir / "small";
    fs::create_directory(mountPoint);
    if (::geteuid() != 0 ||
        ::mount("tintara-test", mountPoint.c_str(), "tmpfs", 0, "size=256k") != 0) {
        GTEST_SKIP() << "cannot mount a small tmpfs here (needs root and mount rights)";
    }
    const fs::path source = dir / "converted.wsv";
    WriteFileAtomically(source, Pattern(1 << 20));
    const fs::path file = mountPoint / "correlated.wsv";
    WriteFileAtomically(file, "earlier");
    EXPECT_THROW_WHAT(CopyFileAtomically(source, file), IoError, "No space left");
    EXPECT_EQ(test::Slurp(file), "earlier");
    EXPECT_EQ(Temporaries(mountPoint), 0);
    ::umount(mountPoint.c_str());
}

ino_t Inode(const fs::path& p) {
    struct stat st {};
    ::stat(p.c_str(), &st);
    return st.st_ino;
}

TEST(MoveFileAtomically, PutsTheFileItselfInPlaceOrRefusesLeavingBothFiles) {
    const auto dir = test::ScratchDir("WriteFile_Move");
    const fs::path source = dir / "converted.wsv";
    const fs::path file = dir / "correlated.wsv";
    const std::string bytes = Pattern((3 << 20) + 777);
    WriteFileAtomically(source, bytes);
    const ino_t inode = Inode(source);
    WriteFileAtomically(file, "earlier");
    ::chmod(file.c_str(), 0640);
    MoveFileAtomically(source, file);
    EXPECT_EQ(test::Slurp(file), bytes);
    EXPECT_EQ(Inode(file), inode);  // the same file, not a copy
    EXPECT_EQ(Mode(file), 0640u);
    EXPECT_FALSE(fs::exists(source));
    EXPECT_EQ(Temporaries(dir), 0);

    // Refused: a write-protected target, a folder that is not there, a source that is gone.
    WriteFileAtomically(source, "the conversion");
    ::chmod(file.c_str(), 0444);
    EXPECT_THROW_WHAT(MoveFileAtomically(source, file), IoError, "write-protected");
    EXPECT_THROW(MoveFileAtomically(source, dir / "nowhere" / "x.wsv"), IoError);
    EXPECT_EQ(test::Slurp(source), "the conversion");
    EXPECT_EQ(test::Slurp(file), bytes);
    const std::string missing = (dir / "gone.wsv").string();
    EXPECT_THROW_WHAT(MoveFileAtomically(missing, dir / "new.wsv"), IoError,
                      missing + " cannot be read");
    EXPECT_EQ(Temporaries(dir), 0);
}

TEST(MoveFileAtomically, FromAnotherFileSystemTheFileIsCopiedThenRemoved) {
    const auto dir = test::ScratchDir("WriteFile_MoveAcross");
    const fs::path shm = "/dev/shm";
    struct stat here {
    }, there{};
    if (::stat(dir.c_str(), &here) != 0 || ::stat(shm.c_str(), &there) != 0 ||
        here.st_dev == there.st_dev || ::access(shm.c_str(), W_OK) != 0) {
        GTEST_SKIP() << "no writable second file system at /dev/shm";
    }
    const fs::path source = shm / ("tintara-move-" + std::to_string(::getpid()) + ".wsv");
    const std::string bytes = Pattern((1 << 20) + 3);
    WriteFileAtomically(source, bytes);
    const fs::path file = dir / "correlated.wsv";
    MoveFileAtomically(source, file);
    EXPECT_EQ(test::Slurp(file), bytes);
    EXPECT_FALSE(fs::exists(source));
    EXPECT_EQ(Temporaries(dir), 0);
}

TEST(WriteFileAtomically, AKilledWriterLeavesTheEarlierFileAndTheNextWriteClearsUp) {
    const auto dir = test::ScratchDir("WriteFile_Killed");
    const fs::path file = dir / "fandeck.wsv";
    WriteFileAtomically(file, "earlier");
    const int status = InChild([&] {
        WriteFileAtomically(file, [](std::ostream& out) {
            out << std::string(1 << 18, 'x');
            out.flush();
            ::raise(SIGKILL);
        });
        return 0;
    });
    EXPECT_EQ(status, 128 + SIGKILL);
    EXPECT_EQ(test::Slurp(file), "earlier");
    EXPECT_EQ(Temporaries(dir), 1);  // the dead process's

    // A temporary of a process still running is left alone unless it is a day old.
    const fs::path live = dir / (".tintara-1-0badc0de.tmp");
    std::ofstream(live) << "init's write";
    WriteFileAtomically(dir / "other.txt", "next");
    EXPECT_EQ(Temporaries(dir), 1);
    EXPECT_TRUE(fs::exists(live));
    fs::last_write_time(live, fs::file_time_type::clock::now() - std::chrono::hours(25));
    WriteFileAtomically(dir / "other.txt", "again");
    EXPECT_EQ(Temporaries(dir), 0);
    EXPECT_EQ(test::Slurp(file), "earlier");
}

TEST(WriteFileAtomically, AProducerByPathWritesTheTemporaryUnderTheSameRules) {
    const auto dir = test::ScratchDir("WriteFile_ByPath");
    const fs::path file = dir / "deck.wsv";
    WriteFileAtomically(file, "earlier");
    // An owner that may not even read its own file: the producer must still open the temporary.
    ::chmod(file.c_str(), 0200);
    WriteFileAtomicallyByPath(file, [&](const fs::path& temporary) {
        EXPECT_EQ(temporary.parent_path(), dir);
        EXPECT_TRUE(IsWriteTemporaryName(temporary.filename().string()));
        EXPECT_EQ(fs::file_size(temporary), 0u);
        EXPECT_EQ(Mode(temporary) & 0600, 0600u);
        std::fstream(temporary, std::ios::in | std::ios::out | std::ios::binary) << "by path";
    });
    EXPECT_EQ(Mode(file), 0200u);
    ::chmod(file.c_str(), 0600);
    EXPECT_EQ(test::Slurp(file), "by path");

    // A producer's failure passes through and takes the half-written temporary with it.
    EXPECT_THROW(WriteFileAtomicallyByPath(file,
                                           [](const fs::path& temporary) {
                                               std::ofstream(temporary) << "half";
                                               throw std::runtime_error("the engine failed");
                                           }),
                 std::runtime_error);
    EXPECT_EQ(test::Slurp(file), "by path");
    // Refused before the producer runs.
    ::chmod(file.c_str(), 0444);
    bool ran = false;
    EXPECT_THROW(WriteFileAtomicallyByPath(file, [&](const fs::path&) { ran = true; }), IoError);
    EXPECT_FALSE(ran);
    EXPECT_EQ(Temporaries(dir), 0);
}

}  // namespace
}  // namespace tintara
