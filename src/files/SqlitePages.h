// Rows of an SQLite rowid table read and written straight in the database file's pages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace tintara::sqlitepages {

// The layout followed is SQLite's database file format 3 (https://sqlite.org/fileformat2.html):
// big-endian page headers, SQLite's 1-9 byte varints, records made of a header of serial types
// followed by the values, payloads beyond a page's share spilled to overflow pages. Going around
// SQLite's virtual machine saves most of the time a save set of a million records takes to read
// and to write; SQLite itself still opens, checks and creates every file, so these classes only
// ever handle the rows of one table.

// A column value as a record stores it. `type` is one of SQLite's fundamental types
// (SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB, SQLITE_NULL); `bytes` points into
// the scan's buffers and lives until the next row.
struct StoredValue {
    int type = 0;
    int64_t integer = 0;
    double real = 0.0;
    const unsigned char* bytes = nullptr;
    std::size_t size = 0;
};

// The serial type SQLite gives an integer in a record (schema format 4: 0 and 1 take no body
// bytes).
inline uint32_t IntegerSerialType(int64_t value) {
    const uint64_t u = value < 0 ? ~static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    if (u <= 127)
        return (value == 0 || value == 1) ? 8 + static_cast<uint32_t>(value) : 1;
    if (u <= 32767)
        return 2;
    if (u <= 8388607)
        return 3;
    if (u <= 2147483647)
        return 4;
    return u <= 0x7fffffffffffULL ? 5 : 6;
}

// The number of body bytes of a serial type.
inline std::size_t SerialTypeBytes(uint32_t serialType) {
    constexpr unsigned char kFixed[12] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, 0, 0};
    return serialType < 12 ? kFixed[serialType] : (serialType - 12) / 2;
}

// The number of bytes of `value` as an SQLite varint (1-9).
inline int VarintBytes(uint64_t value) {
    int n = 1;
    while (n < 9 && value > (uint64_t{1} << (7 * n)) - 1)
        ++n;
    return n;
}

// Writes `value` as an SQLite varint at `out`; returns the number of bytes.
int PutLongVarint(unsigned char* out, uint64_t value);
inline int PutVarint(unsigned char* out, uint64_t value) {
    if (value <= 0x7f) {
        out[0] = static_cast<unsigned char>(value);
        return 1;
    }
    if (value <= 0x3fff) {  // a curve's serial type, a record's size
        out[0] = static_cast<unsigned char>((value >> 7) | 0x80);
        out[1] = static_cast<unsigned char>(value & 0x7f);
        return 2;
    }
    return PutLongVarint(out, value);
}

// Writes integer `value` as `serialType` (1-6) takes it, big-endian.
inline void PutInteger(unsigned char* out, uint32_t serialType, int64_t value) {
    auto u = static_cast<uint64_t>(value);
    for (std::size_t i = SerialTypeBytes(serialType); i-- > 0;) {
        out[i] = static_cast<unsigned char>(u);
        u >>= 8;
    }
}

// Walks a rowid table's b-tree in rowid order, one page at a time with pread.
//
// Contract: it understands well-formed pages only. Whenever the file, a page or a row is not
// what it expects (another journal mode, a page that breaks the format, an unreadable page, a
// page that is its own ancestor, rowids out of order) Next answers kStopped and stays stopped; the
// caller then carries on through SQLite from the row it had reached, so a file this scan does not
// take reads exactly as SQLite reads it. The caller holds a read transaction on the database for
// as long as it scans, so nobody writes the file meanwhile. Memory: the pages on the way from the
// root to the current leaf, plus one row's payload when the row spills to overflow pages.
class TableScan {
  public:
    // Reads through `fd`, the database file open for reading, which the caller closes after the
    // scan and after SQLite has let go of its locks (closing any descriptor of a file drops the
    // process's POSIX locks on it, SQLite's included).
    explicit TableScan(int fd);
    TableScan(const TableScan&) = delete;
    TableScan& operator=(const TableScan&) = delete;

    // Reads the file header for a scan of the table rooted at `rootPage`; false when the file
    // is not laid out as this scan expects (the scan then stays stopped).
    bool Start(uint32_t rootPage);

    enum class Step { kRow, kEnd, kStopped };
    Step Next();

    int64_t Rowid() const { return m_rowid; }
    // The row's columns, as many as its record holds.
    const std::vector<StoredValue>& Columns() const { return m_columns; }

  private:
    struct Page {
        uint32_t number = 0;
        std::vector<unsigned char> bytes;
        unsigned cells = 0;
        unsigned next = 0;  // the next cell (interior pages: the right-most child once == cells)
    };

    bool ReadPage(uint32_t number, Page& page);
    bool CheckPage(Page& page, bool leaf);
    bool Descend(uint32_t number);
    bool ReadCell(const Page& leaf, unsigned index);
    bool ParseRecord(const unsigned char* payload, std::size_t size);
    Step Stop();

    int m_fd = -1;
    uint32_t m_pageSize = 0;
    uint32_t m_usable = 0;
    uint32_t m_pageCount = 0;
    uint32_t m_root = 0;
    bool m_started = false;
    bool m_stopped = false;
    std::vector<Page> m_path;  // root first; m_path[m_depth - 1] is the current leaf
    std::size_t m_depth = 0;
    Page m_overflow;
    std::vector<unsigned char> m_spilled;
    int64_t m_rowid = 0;
    bool m_anyRow = false;
    std::vector<StoredValue> m_columns;
};

// Fills an empty rowid table with rows given in increasing rowid order, writing whole pages
// after the file's last page with pwrite. Preconditions (checked by CanAppend): SQLite has
// created the database and closed it again, the table's root page is the file's last page and
// holds no rows, the file is in rollback-journal mode with no journal about. Leaves are filled
// as full as the rows allow; Finish writes the interior pages and puts the top one over the root,
// then sets the page count in the file header. The file is a valid SQLite database only after
// Finish; a failure before leaves a file fit only for removal (the caller writes a temporary).
// Write errors throw the IoError FailWrite gives for `target`.
class TableAppend {
  public:
    // Whether the database at `file` meets the preconditions for a table rooted at `rootPage`.
    static bool CanAppend(const std::filesystem::path& file, uint32_t rootPage);

    TableAppend(const std::filesystem::path& file, const std::filesystem::path& target,
                uint32_t rootPage);
    ~TableAppend();
    TableAppend(const TableAppend&) = delete;
    TableAppend& operator=(const TableAppend&) = delete;

    // Makes room for a row of `payloadBytes` (its record: header and values) with `rowid`, which
    // must be greater than the last one's; returns where the caller writes the payload, valid
    // until the next call.
    unsigned char* Row(int64_t rowid, std::size_t payloadBytes);
    void Finish();

  private:
    struct Child {
        uint32_t page;
        int64_t maxRowid;
    };

    void WritePage(uint32_t number, const unsigned char* bytes);
    void WriteAt(const unsigned char* bytes, std::size_t size, int64_t at);
    void FlushLeaf();
    void SpillPending();
    void ClosePage(std::vector<unsigned char>& page, unsigned cells, unsigned contentStart,
                   unsigned char flag) const;

    std::filesystem::path m_target;
    int m_fd = -1;
    uint32_t m_pageSize = 0;
    uint32_t m_usable = 0;
    uint32_t m_root = 0;
    uint32_t m_nextPage = 0;  // the page number the next written page takes
    std::vector<unsigned char> m_leaf;
    unsigned m_cells = 0;
    unsigned m_contentStart = 0;
    int64_t m_lastRowid = 0;
    std::vector<Child> m_leaves;
    // A row that spills: its payload waits here until the caller has written it.
    std::vector<unsigned char> m_pending;
    unsigned char* m_pendingCell = nullptr;  // where its local part and overflow link go
    std::size_t m_pendingLocal = 0;
};

}  // namespace tintara::sqlitepages
