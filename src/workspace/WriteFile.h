// The one routine through which every file the program writes reaches the disk.
#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace tintara {

// Replaces `target` with what `produce` writes, so that the target is always either the earlier
// file or the complete new one, whatever happens (a failure, a full disk, a file-size limit, the
// process killed):
//  - the data goes to a temporary file in the target's folder, named ".tintara-<pid>-<8 hex>.tmp"
//    (short, so any legal target name works), opened O_EXCL | O_NOFOLLOW, so it never writes
//    through a link someone placed there; the data is fsync'ed, the temporary renamed over the
//    target and the folder fsync'ed;
//  - a target that is a symbolic link stays a link: the file it points to is replaced;
//  - a replaced file keeps its permission bits (and, where allowed, its owner);
//  - a target the user may not write (no write permission, or write-protected for everyone) is
//    refused and left byte for byte as it was; so is a folder;
//  - on any failure, an exception from `produce` included, the temporary file is removed;
//  - temporaries that a killed process left in the folder (their pid no longer running, or older
//    than a day) are removed first.
// SIGXFSZ is set to be ignored (unless the program handles it), so an exceeded file-size limit is a
// write error (EFBIG) reported like any other instead of killing the process. Throws IoError
// "Cannot write <target>: <reason>." naming the target, never the temporary; exceptions thrown by
// `produce` pass through unchanged.
void WriteFileAtomically(const std::filesystem::path& target,
                         const std::function<void(std::ostream&)>& produce);
void WriteFileAtomically(const std::filesystem::path& target, std::string_view bytes);

// How far a replacement goes to put the file on the disk. Durable (every file the user names) syncs
// the data and the folder, so the new file survives a power cut once the call returns. Scratch is
// for a file only this process reads and removes again (a spill in the temporary folder): nothing
// is synced, which saves the disk writes of a file that is often gone before the system would
// write it back; a crash loses such a file anyway. Everything else holds for both.
enum class Durability { kDurable, kScratch };

// The same replacement for a producer that writes by file name (a database engine opening the
// file itself): `produce` is handed the path of the temporary, which exists and is empty, writes
// the complete file there and closes it before returning. The routine cannot see the producer's
// write errors, so the producer throws for them (FailWrite gives the routine's own message).
// Everything else above holds as it stands.
void WriteFileAtomicallyByPath(const std::filesystem::path& target,
                               const std::function<void(const std::filesystem::path&)>& produce,
                               Durability durability = Durability::kDurable);

// The same replacement with a byte-for-byte copy of `source`, the system copying the blocks
// itself where it can (copy_file_range: no pass through this process's memory; on file systems
// that share blocks, no copy at all). Throws IoError naming the target and the source when the
// source cannot be read.
void CopyFileAtomically(const std::filesystem::path& source, const std::filesystem::path& target);

// The same replacement with `source` itself, which is gone afterwards: for a file that is not
// needed any more once it is in place (a conversion the program is about to drop). On the
// target's file system the file is given the target's name rather than copied (its data is
// synced first, as any new file's; so is the folder); elsewhere it is copied as above and then
// removed. The replacement holds as for the copy; a failure leaves both files as they were.
void MoveFileAtomically(const std::filesystem::path& source, const std::filesystem::path& target);

// Throws the IoError the routine throws for a write to `target` that failed with errno `error`.
[[noreturn]] void FailWrite(const std::filesystem::path& target, int error);

// Whether `name` (a bare file name) is one of the temporaries WriteFileAtomically creates.
bool IsWriteTemporaryName(const std::string& name);

}  // namespace tintara
