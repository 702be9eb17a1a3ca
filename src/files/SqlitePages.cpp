#include "files/SqlitePages.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "workspace/WriteFile.h"

namespace tintara::sqlitepages {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFileHeaderBytes = 100;
constexpr unsigned char kInteriorTable = 0x05;
constexpr unsigned char kLeafTable = 0x0D;
constexpr std::size_t kMaxDepth = 40;      // far deeper than any b-tree of 2^32 pages
constexpr std::size_t kMaxColumns = 2000;  // SQLite's own limit on a table's columns

uint32_t Get16(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) << 8 | p[1];
}
uint32_t Get32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[2]) << 8 | p[3];
}
void Put16(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 8);
    p[1] = static_cast<unsigned char>(v);
}
void Put32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

// Reads a varint from [p, end); the number of bytes, or 0 when it runs past `end`.
[[gnu::always_inline]] inline int GetVarint(const unsigned char* p, const unsigned char* end,
                                            uint64_t& value) {
    if (p < end && p[0] < 0x80) {
        value = p[0];
        return 1;
    }
    if (p + 1 < end && p[1] < 0x80) {
        value = (uint64_t{p[0] & 0x7fu} << 7) | p[1];
        return 2;
    }
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) {
        if (p + i >= end)
            return 0;
        v = (v << 7) | (p[i] & 0x7f);
        if ((p[i] & 0x80) == 0) {
            value = v;
            return i + 1;
        }
    }
    if (p + 8 >= end)
        return 0;
    value = (v << 8) | p[8];
    return 9;
}

// The part of a payload of `payload` bytes a table leaf keeps on its page, the rest going to
// overflow pages (the file format's rule, with U the usable page size).
std::size_t LocalPayload(std::size_t payload, uint32_t usable) {
    const std::size_t maxLocal = usable - 35;
    if (payload <= maxLocal)
        return payload;
    const std::size_t minLocal = (usable - 12) * 32 / 255 - 23;
    const std::size_t k = minLocal + (payload - minLocal) % (usable - 4);
    return k <= maxLocal ? k : minLocal;
}

// Page size and usable size from a file header, 0 when they break the format.
bool PageSizes(const unsigned char* header, uint32_t& pageSize, uint32_t& usable) {
    static const char kMagic[] = "SQLite format 3";
    if (std::memcmp(header, kMagic, sizeof kMagic) != 0)
        return false;
    const uint32_t raw = Get16(header + 16);
    pageSize = raw == 1 ? 65536 : raw;
    if (pageSize < 512 || pageSize > 65536 || !std::has_single_bit(pageSize))
        return false;
    usable = pageSize - header[20];
    // Rollback journal (not WAL), and the fixed payload fractions every file has.
    return usable >= 480 && header[18] == 1 && header[19] == 1 && header[21] == 64 &&
           header[22] == 32 && header[23] == 32;
}

bool ReadFully(int fd, unsigned char* out, std::size_t bytes, off_t at) {
    while (bytes > 0) {
        const ssize_t got = pread(fd, out, bytes, at);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        out += got;
        bytes -= static_cast<std::size_t>(got);
        at += got;
    }
    return true;
}

}  // namespace

int PutLongVarint(unsigned char* out, uint64_t value) {
    if (value > 0x00ffffffffffffffULL) {
        // Nine bytes: eight of seven bits, the last of all eight.
        out[8] = static_cast<unsigned char>(value);
        value >>= 8;
        for (int i = 7; i >= 0; --i) {
            out[i] = static_cast<unsigned char>((value & 0x7f) | 0x80);
            value >>= 7;
        }
        return 9;
    }
    unsigned char reversed[9];
    int n = 0;
    do {
        reversed[n++] = static_cast<unsigned char>((value & 0x7f) | 0x80);
        value >>= 7;
    } while (value != 0);
    reversed[0] &= 0x7f;
    for (int i = 0; i < n; ++i)
        out[i] = reversed[n - 1 - i];
    return n;
}

// ---- TableScan ----

TableScan::TableScan(int fd) : m_fd(fd) {
    m_stopped = true;
}

bool TableScan::Start(uint32_t rootPage) {
    m_root = rootPage;
    m_stopped = true;
    unsigned char header[kFileHeaderBytes];
    struct stat st {};
    if (m_fd < 0 || !ReadFully(m_fd, header, sizeof header, 0) || fstat(m_fd, &st) != 0 ||
        !PageSizes(header, m_pageSize, m_usable) || Get32(header + 56) != SQLITE_UTF8) {
        return false;
    }
    uint64_t pages = static_cast<uint64_t>(st.st_size) / m_pageSize;
    // The page count in the header holds when the header says it does (SQLite's rule); pages
    // past it are not part of the database.
    if (Get32(header + 24) == Get32(header + 92) && Get32(header + 28) != 0)
        pages = std::min<uint64_t>(pages, Get32(header + 28));
    m_pageCount = static_cast<uint32_t>(std::min<uint64_t>(pages, UINT32_MAX));
    if (m_root < 2 || m_root > m_pageCount)
        return false;
    m_stopped = false;
    return true;
}

TableScan::Step TableScan::Stop() {
    m_stopped = true;
    return Step::kStopped;
}

// Page 1 (the schema, behind the file header) is never a page of a user's table, so every page
// read here has its b-tree header at byte 0.
bool TableScan::ReadPage(uint32_t number, Page& page) {
    if (number < 2 || number > m_pageCount)
        return false;
    if (page.bytes.size() != m_pageSize)
        page.bytes.resize(m_pageSize);
    if (!ReadFully(m_fd, page.bytes.data(), m_pageSize,
                   static_cast<off_t>(number - 1) * static_cast<off_t>(m_pageSize))) {
        return false;
    }
    page.number = number;
    page.next = 0;
    return true;
}

// SQLite's own checks of a page before it uses it: a known kind, the cell pointers clear of the
// content area, the free blocks in order inside the page.
bool TableScan::CheckPage(Page& page, bool leaf) {
    const unsigned char* p = page.bytes.data();
    page.cells = Get16(p + 3);
    uint32_t contentStart = Get16(p + 5);
    if (contentStart == 0)
        contentStart = 65536;
    const uint32_t pointersEnd = (leaf ? 8 : 12) + 2 * page.cells;
    if (pointersEnd > contentStart || contentStart > m_usable)
        return false;
    uint32_t block = Get16(p + 1);
    while (block != 0) {
        if (block < contentStart || block + 4 > m_usable)
            return false;
        const uint32_t next = Get16(p + block);
        const uint32_t size = Get16(p + block + 2);
        if (block + size > m_usable || (next != 0 && next <= block + size))
            return false;
        block = next;
    }
    return true;
}

// Pushes page `number` and its left-most descendants down to a leaf. The pages' buffers stay
// allocated from one descent to the next.
bool TableScan::Descend(uint32_t number) {
    for (;;) {
        if (m_depth >= kMaxDepth)
            return false;
        for (std::size_t d = 0; d < m_depth; ++d) {
            if (m_path[d].number == number)
                return false;
        }
        if (m_depth == m_path.size())
            m_path.emplace_back();
        Page& page = m_path[m_depth++];
        if (!ReadPage(number, page))
            return false;
        const unsigned char flag = page.bytes[0];
        if (flag == kLeafTable)
            return CheckPage(page, true);
        if (flag != kInteriorTable || !CheckPage(page, false))
            return false;
        // The first child: cell 0's, or the right-most when there are no cells.
        if (page.cells == 0) {
            number = Get32(page.bytes.data() + 8);
        } else {
            const uint32_t cell = Get16(page.bytes.data() + 12);
            if (cell + 4 > m_usable)
                return false;
            number = Get32(page.bytes.data() + cell);
        }
        page.next = 1;
    }
}

TableScan::Step TableScan::Next() {
    if (m_stopped)
        return Step::kStopped;
    if (!m_started) {
        m_started = true;
        if (!Descend(m_root))
            return Stop();
    }
    for (;;) {
        Page& leaf = m_path[m_depth - 1];
        if (leaf.next < leaf.cells) {
            if (!ReadCell(leaf, leaf.next++))
                return Stop();
            return Step::kRow;
        }
        // Up to the nearest page with a child left, then down its next child.
        --m_depth;
        while (m_depth > 0 && m_path[m_depth - 1].next > m_path[m_depth - 1].cells)
            --m_depth;
        if (m_depth == 0)
            return Step::kEnd;
        Page& parent = m_path[m_depth - 1];
        const unsigned char* p = parent.bytes.data();
        uint32_t child;
        if (parent.next == parent.cells) {
            child = Get32(p + 8);
        } else {
            const uint32_t cell = Get16(p + 12 + 2 * parent.next);
            if (cell + 4 > m_usable)
                return Stop();
            child = Get32(p + cell);
        }
        ++parent.next;
        if (!Descend(child))
            return Stop();
    }
}

bool TableScan::ReadCell(const Page& leaf, unsigned index) {
    const unsigned char* page = leaf.bytes.data();
    const unsigned char* end = page + m_usable;
    const uint32_t at = Get16(page + 8 + 2 * index);
    if (at < 8 + 2 * leaf.cells || at >= m_usable)
        return false;
    const unsigned char* cell = page + at;
    uint64_t payload = 0;
    uint64_t rowid = 0;
    int n = GetVarint(cell, end, payload);
    if (n == 0)
        return false;
    const int r = GetVarint(cell + n, end, rowid);
    if (r == 0 || payload > 0x7fffffff)
        return false;
    cell += n + r;
    // Rowids rise through the whole table.
    if (m_anyRow && static_cast<int64_t>(rowid) <= m_rowid)
        return false;
    m_anyRow = true;
    m_rowid = static_cast<int64_t>(rowid);
    const std::size_t local = LocalPayload(payload, m_usable);
    const bool spills = local < payload;
    if (cell + local + (spills ? 4 : 0) > end)
        return false;
    // A chain of overflow pages is no longer than the file: the claimed size is checked before
    // room is made for it.
    if (spills && (payload - local) / (m_usable - 4) >= m_pageCount)
        return false;
    if (!spills)
        return ParseRecord(cell, payload);

    // A row longer than its page's share: the rest follows a chain of overflow pages, each
    // holding a link and usable - 4 bytes.
    m_spilled.resize(payload);
    std::memcpy(m_spilled.data(), cell, local);
    std::size_t have = local;
    uint32_t next = Get32(cell + local);
    for (uint32_t hops = 0; have < payload; ++hops) {
        if (next == 0 || hops >= m_pageCount || !ReadPage(next, m_overflow))
            return false;
        const std::size_t take = std::min<std::size_t>(payload - have, m_usable - 4);
        std::memcpy(m_spilled.data() + have, m_overflow.bytes.data() + 4, take);
        have += take;
        next = Get32(m_overflow.bytes.data());
    }
    return ParseRecord(m_spilled.data(), payload);
}

bool TableScan::ParseRecord(const unsigned char* payload, std::size_t size) {
    const unsigned char* end = payload + size;
    uint64_t headerBytes = 0;
    int n = GetVarint(payload, end, headerBytes);
    if (n == 0 || headerBytes > size || headerBytes < static_cast<uint64_t>(n))
        return false;
    const unsigned char* type = payload + n;
    const unsigned char* typesEnd = payload + headerBytes;
    const unsigned char* body = typesEnd;
    m_columns.clear();
    while (type < typesEnd) {
        uint64_t serial = 0;
        n = GetVarint(type, typesEnd, serial);
        if (n == 0 || serial == 10 || serial == 11 || serial > 0xffffffffULL)
            return false;
        type += n;
        const std::size_t bytes = SerialTypeBytes(static_cast<uint32_t>(serial));
        if (bytes > static_cast<std::size_t>(end - body))
            return false;
        if (m_columns.size() == kMaxColumns)
            return false;
        StoredValue& v = m_columns.emplace_back();
        if (serial == 0) {
            v.type = SQLITE_NULL;
        } else if (serial <= 6) {
            // Big-endian two's complement of 1-8 bytes.
            uint64_t u = (body[0] & 0x80) ? ~uint64_t{0} : 0;
            for (std::size_t i = 0; i < bytes; ++i)
                u = (u << 8) | body[i];
            v.type = SQLITE_INTEGER;
            v.integer = static_cast<int64_t>(u);
        } else if (serial == 7) {
            uint64_t u = 0;
            for (int i = 0; i < 8; ++i)
                u = (u << 8) | body[i];
            v.real = std::bit_cast<double>(u);
            // SQLite reads a stored NaN as NULL.
            v.type = std::isnan(v.real) ? SQLITE_NULL : SQLITE_FLOAT;
        } else if (serial <= 9) {
            v.type = SQLITE_INTEGER;
            v.integer = static_cast<int64_t>(serial - 8);
        } else {
            v.type = (serial & 1) ? SQLITE_TEXT : SQLITE_BLOB;
            v.bytes = body;
            v.size = bytes;
        }
        body += bytes;
    }
    return true;
}

// ---- TableAppend ----

bool TableAppend::CanAppend(const fs::path& file, uint32_t rootPage) {
    std::error_code ec;
    for (const char* suffix : {"-journal", "-wal"}) {
        if (fs::exists(fs::path(file.string() + suffix), ec) || ec)
            return false;
    }
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    unsigned char header[kFileHeaderBytes];
    struct stat st {};
    uint32_t pageSize = 0;
    uint32_t usable = 0;
    bool ok = ReadFully(fd, header, sizeof header, 0) && fstat(fd, &st) == 0 &&
              PageSizes(header, pageSize, usable) && Get32(header + 44) == 4 &&
              Get32(header + 56) == SQLITE_UTF8 && Get32(header + 24) == Get32(header + 92) &&
              Get32(header + 28) == rootPage && Get32(header + 32) == 0 &&
              Get32(header + 36) == 0 && Get32(header + 52) == 0 &&
              static_cast<uint64_t>(st.st_size) == uint64_t{rootPage} * pageSize;
    if (ok) {
        unsigned char root[8];
        ok = ReadFully(fd, root, sizeof root, static_cast<off_t>(rootPage - 1) * pageSize) &&
             root[0] == kLeafTable && Get16(root + 3) == 0;
    }
    close(fd);
    return ok;
}

TableAppend::TableAppend(const fs::path& file, const fs::path& target, uint32_t rootPage)
    : m_target(target), m_root(rootPage), m_nextPage(rootPage + 1) {
    m_fd = open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (m_fd < 0)
        FailWrite(m_target, errno);
    unsigned char header[kFileHeaderBytes];
    if (!ReadFully(m_fd, header, sizeof header, 0) || !PageSizes(header, m_pageSize, m_usable))
        FailWrite(m_target, EIO);
    m_leaf.assign(m_pageSize, 0);
    m_contentStart = m_usable;
}

TableAppend::~TableAppend() {
    if (m_fd >= 0)
        close(m_fd);
}

void TableAppend::WritePage(uint32_t number, const unsigned char* bytes) {
    WriteAt(bytes, m_pageSize, static_cast<off_t>(number - 1) * static_cast<off_t>(m_pageSize));
}

void TableAppend::WriteAt(const unsigned char* bytes, std::size_t left, int64_t at) {
    while (left > 0) {
        const ssize_t put = pwrite(m_fd, bytes, left, at);
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0)
            FailWrite(m_target, errno);
        if (put == 0)
            FailWrite(m_target, ENOSPC);
        bytes += put;
        left -= static_cast<std::size_t>(put);
        at += put;
    }
}

// Fills in a page's b-tree header and clears the gap between its cell pointers and its cells, so
// the page holds nothing but what it says.
void TableAppend::ClosePage(std::vector<unsigned char>& page, unsigned cells, unsigned contentStart,
                            unsigned char flag) const {
    unsigned char* p = page.data();
    const unsigned headerBytes = flag == kLeafTable ? 8 : 12;
    p[0] = flag;
    Put16(p + 1, 0);
    Put16(p + 3, cells);
    Put16(p + 5, contentStart == 65536 ? 0 : contentStart);
    p[7] = 0;
    const unsigned pointersEnd = headerBytes + 2 * cells;
    std::memset(p + pointersEnd, 0, contentStart - pointersEnd);
}

void TableAppend::FlushLeaf() {
    if (m_cells == 0)
        return;
    ClosePage(m_leaf, m_cells, m_contentStart, kLeafTable);
    WritePage(m_nextPage, m_leaf.data());
    m_leaves.push_back({m_nextPage, m_lastRowid});
    ++m_nextPage;
    m_cells = 0;
    m_contentStart = m_usable;
}

unsigned char* TableAppend::Row(int64_t rowid, std::size_t payloadBytes) {
    SpillPending();
    const std::size_t local = LocalPayload(payloadBytes, m_usable);
    const bool spills = local < payloadBytes;
    const int head = VarintBytes(payloadBytes) + VarintBytes(static_cast<uint64_t>(rowid));
    const std::size_t cellBytes = head + local + (spills ? 4 : 0);
    if (8 + 2 * (m_cells + 1) + cellBytes > m_contentStart)
        FlushLeaf();
    m_contentStart -= static_cast<unsigned>(cellBytes);
    Put16(m_leaf.data() + 8 + 2 * m_cells, m_contentStart);
    ++m_cells;
    unsigned char* cell = m_leaf.data() + m_contentStart;
    int n = PutVarint(cell, payloadBytes);
    n += PutVarint(cell + n, static_cast<uint64_t>(rowid));
    m_lastRowid = rowid;
    if (!spills)
        return cell + n;
    m_pending.resize(payloadBytes);
    m_pendingCell = cell + n;
    m_pendingLocal = local;
    return m_pending.data();
}

void TableAppend::SpillPending() {
    if (!m_pendingCell)
        return;
    std::memcpy(m_pendingCell, m_pending.data(), m_pendingLocal);
    Put32(m_pendingCell + m_pendingLocal, m_nextPage);
    std::vector<unsigned char> page(m_pageSize, 0);
    std::size_t done = m_pendingLocal;
    while (done < m_pending.size()) {
        const std::size_t take = std::min<std::size_t>(m_pending.size() - done, m_usable - 4);
        const bool more = done + take < m_pending.size();
        std::fill(page.begin(), page.end(), 0);
        Put32(page.data(), more ? m_nextPage + 1 : 0);
        std::memcpy(page.data() + 4, m_pending.data() + done, take);
        WritePage(m_nextPage++, page.data());
        done += take;
    }
    m_pendingCell = nullptr;
}

void TableAppend::Finish() {
    SpillPending();
    if (m_leaves.empty()) {
        // Everything fits the root (or there is nothing): the root stays a leaf.
        if (m_cells > 0) {
            ClosePage(m_leaf, m_cells, m_contentStart, kLeafTable);
            WritePage(m_root, m_leaf.data());
        }
    } else {
        FlushLeaf();
        // Interior levels, bottom up. Each page takes as many children as the worst-case keys
        // allow, shared evenly, so no page is left with a lone right-most child; the level that
        // fits one page goes over the root.
        std::vector<Child> children = m_leaves;
        const std::size_t perPage = (m_usable - 12) / (2 + 4 + 9) + 1;
        std::vector<unsigned char> page(m_pageSize, 0);
        for (;;) {
            const std::size_t pages = (children.size() + perPage - 1) / perPage;
            std::vector<Child> parents;
            std::size_t from = 0;
            for (std::size_t i = 0; i < pages; ++i) {
                const std::size_t count =
                    children.size() / pages + (i < children.size() % pages ? 1 : 0);
                unsigned contentStart = m_usable;
                unsigned char* p = page.data();
                for (std::size_t c = 0; c + 1 < count; ++c) {
                    const Child& child = children[from + c];
                    unsigned char cell[13];
                    Put32(cell, child.page);
                    const int n = 4 + PutVarint(cell + 4, static_cast<uint64_t>(child.maxRowid));
                    contentStart -= static_cast<unsigned>(n);
                    std::memcpy(p + contentStart, cell, static_cast<std::size_t>(n));
                    Put16(p + 12 + 2 * c, contentStart);
                }
                const Child& last = children[from + count - 1];
                ClosePage(page, static_cast<unsigned>(count - 1), contentStart, kInteriorTable);
                Put32(p + 8, last.page);
                const uint32_t number = pages == 1 ? m_root : m_nextPage++;
                WritePage(number, p);
                parents.push_back({number, last.maxRowid});
                from += count;
            }
            if (pages == 1)
                break;
            children = std::move(parents);
        }
    }
    // The page count in the file header, which SQLite trusts (the change counter and the
    // version-valid-for number SQLite left equal).
    unsigned char count[4];
    Put32(count, m_nextPage - 1);
    WriteAt(count, sizeof count, 28);
    const int fd = m_fd;
    m_fd = -1;
    if (close(fd) != 0)
        FailWrite(m_target, errno);
}

}  // namespace tintara::sqlitepages
