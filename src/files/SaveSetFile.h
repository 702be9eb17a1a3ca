// Save sets (*.wsv) on disk: whole-file and record-by-record reading and writing.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>

#include "files/SaveSetData.h"
#include "workspace/WriteFile.h"

namespace tintara {

// A save set is an SQLite 3 database: a one-row `header` table, a `records` table with one row per
// record (0-based `ordinal` = file order) holding one BLOB of 40 little-endian doubles per angle
// position, `PRAGMA application_id` = kSaveSetApplicationId and `PRAGMA user_version` =
// kSaveSetFormatVersion. README.md, "Save-set file format", documents the schema.

inline constexpr int32_t kSaveSetApplicationId = 0x54494E54;  // 'TINT'
inline constexpr int32_t kSaveSetFormatVersion = 1;

// How the records go between the program and the file. SQLite always opens, checks and creates
// the file and reads and writes its header; the records themselves are either read and written
// straight in the database's pages (kPages: about four times faster, the default) or through SQL
// statements (kStatements: the straightforward way, which the tests keep as the reference). Both
// give the same records, checks and messages. kPages takes over only what it fully understands:
// a file in another journal mode, with another table layout or with a page it does not expect is
// read through statements from the record the pages had reached.
enum class RecordPath { kPages, kStatements };

// Reads a whole save set. Throws IoError for a file that is missing or cannot be opened, and
// ParseError (source = the file) for anything that is not a readable save set of this format:
// another kind of file, another SQLite database, a newer format, a damaged database, a header or
// record that breaks the schema (for instance a curve that is not 40 finite doubles). Never reads
// half a file: either every record comes back or an exception does.
SaveSetData LoadSaveSet(const std::filesystem::path& file, RecordPath path = RecordPath::kPages);

// Reads a save set record by record in file order, making every check LoadSaveSet makes (which
// reads through it), with the same exceptions and messages. Memory does not grow with the file.
class SaveSetReader {
  public:
    // Opens the file, checks it is a save set of this format and reads its header.
    explicit SaveSetReader(const std::filesystem::path& file,
                           RecordPath path = RecordPath::kPages);
    ~SaveSetReader();
    SaveSetReader(SaveSetReader&&) noexcept;
    SaveSetReader& operator=(SaveSetReader&&) noexcept;

    // The header fields (Records is empty).
    const SaveSetData& Header() const;
    // The number of records, known without reading them: exact for every file whose records are
    // numbered in sequence, and never more than the file has room for; a file whose numbering
    // jumps is refused by Next and Read when they come to the gap.
    int64_t RecordCount() const;
    // Reads the next record (in ordinal order) into `record`, reusing its strings' capacity;
    // false after the last one. A damaged record throws ParseError naming the file and record.
    bool Next(SaveSetRecord& record);
    // Reads record `ordinal` (0-based) by itself, with the same checks; does not disturb Next's
    // position. Throws Error when there is no such record.
    void Read(int64_t ordinal, SaveSetRecord& record);
    // How many of the records Next gave came straight from the pages (RecordPath::kPages), the
    // rest having been read through statements.
    int64_t RecordsFromPages() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// Writes a whole save set atomically: the data goes to a temporary file in the target's folder,
// which is then renamed over the target, so the target is either the old file or the complete new
// one. Throws IoError (naming the file) when it cannot; the earlier file is then untouched and no
// temporary file is left behind. Data that the format cannot hold (NumAngles outside 1..2, a
// non-finite reflectance) is refused with an Error before anything is written.
void StoreSaveSet(const SaveSetData& data, const std::filesystem::path& file,
                  RecordPath path = RecordPath::kPages);

// Supplies the records of a save set being written, one per call: fills `record` (handed over
// cleared, its strings' capacity kept) and returns true, or returns false when there are no more.
// May throw; the save is then abandoned.
using SaveSetRecordSource = std::function<bool(SaveSetRecord& record)>;

// Writes a save set with the header fields of `header` (its Records are ignored) and the records
// `next` supplies, straight into the temporary file beside `file`, which then replaces it: the
// same refusals, IoError and all-or-nothing replacement as the whole-file StoreSaveSet, with memory
// bounded whatever the record count. A record with a non-finite value is refused with Error; the
// target is not touched and the temporary is removed. A scratch save set (a spill only this
// process reads) is not synced to the disk (see Durability).
void StoreSaveSet(const SaveSetData& header, const SaveSetRecordSource& next,
                  const std::filesystem::path& file, Durability durability = Durability::kDurable,
                  RecordPath path = RecordPath::kPages);

}  // namespace tintara
