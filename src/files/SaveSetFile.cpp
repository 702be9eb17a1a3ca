#include "files/SaveSetFile.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "files/SqlitePages.h"
#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace fs = std::filesystem;
using sqlitepages::StoredValue;

namespace {

constexpr std::size_t kCurveBytes = kPointCount * sizeof(double);

// ---- curves ----

// A double is infinite or NaN when these exponent bits are all set.
constexpr uint64_t kSpecialExponent = 0x7ff0000000000000ULL;

bool IsSpecial(uint64_t bits) {
    return (bits & kSpecialExponent) == kSpecialExponent;
}

bool AllFinite(const Curve& curve) {
    // No early exit, so that the loop vectorises.
    bool finite = true;
    for (double v : curve)
        finite &= !IsSpecial(std::bit_cast<uint64_t>(v));
    return finite;
}

bool AllZero(const Curve& curve) {
    for (double v : curve) {
        if (v != 0.0)
            return false;
    }
    return true;
}

// ---- RAII over the C interface ----

struct Database {
    sqlite3* db = nullptr;
    ~Database() { Close(); }
    int Close() {
        const int rc = db ? sqlite3_close(db) : SQLITE_OK;
        db = nullptr;
        return rc;
    }
    std::string Message() const { return db ? sqlite3_errmsg(db) : "out of memory"; }
};

struct Statement {
    sqlite3_stmt* stmt = nullptr;
    ~Statement() { sqlite3_finalize(stmt); }
};

struct Descriptor {
    int fd = -1;
    Descriptor() = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd >= 0)
            close(fd);
    }
};

// The schema. `ordinal` is the record's 0-based place in the file; curve_1 is NULL for a record
// without a curve at angle position 1 (only allowed in one-angle save sets).
constexpr const char* kSchema =
    "CREATE TABLE header ("
    " id INTEGER PRIMARY KEY CHECK (id = 1),"
    " version INTEGER NOT NULL, file_type INTEGER NOT NULL, angle_count INTEGER NOT NULL,"
    " angle_type_1 INTEGER NOT NULL, angle_type_2 INTEGER NOT NULL, angle_type_3 INTEGER NOT NULL,"
    " illuminant_1 INTEGER NOT NULL, illuminant_2 INTEGER NOT NULL, illuminant_3 INTEGER NOT NULL,"
    " cmc_1 REAL NOT NULL, cmc_2 REAL NOT NULL, cmc_3 REAL NOT NULL, cmc_4 REAL NOT NULL,"
    " color_space INTEGER NOT NULL, observer INTEGER NOT NULL, warning_level REAL NOT NULL,"
    " company TEXT NOT NULL, status TEXT NOT NULL, instrument INTEGER NOT NULL,"
    " checksum INTEGER NOT NULL);"
    "CREATE TABLE records ("
    " ordinal INTEGER PRIMARY KEY,"
    " name TEXT NOT NULL, name2 TEXT NOT NULL, system TEXT NOT NULL, notes TEXT NOT NULL,"
    " status TEXT NOT NULL, instrument INTEGER NOT NULL, time INTEGER NOT NULL,"
    " curve_0 BLOB NOT NULL, curve_1 BLOB, checksum INTEGER NOT NULL);";

constexpr const char* kHeaderColumns =
    "version, file_type, angle_count, angle_type_1, angle_type_2, angle_type_3, illuminant_1,"
    " illuminant_2, illuminant_3, cmc_1, cmc_2, cmc_3, cmc_4, color_space, observer,"
    " warning_level, company, status, instrument, checksum";

constexpr const char* kRecordColumns =
    "ordinal, name, name2, system, notes, status, instrument, time, curve_0, curve_1, checksum";
constexpr int kRecordColumnCount = 11;

// Corruption check of a header or record: FNV-1a taken over 64-bit little-endian words instead of
// bytes (offset basis 0xcbf29ce484222325, prime 0x100000001b3). Each step is a bijection of the
// running value, so a change confined to one word always changes the result. Texts and curves
// enter as their byte length followed by their bytes, zero-padded to whole words.
class Checksum {
  public:
    void Word(uint64_t w) { m_h = (m_h ^ w) * 0x100000001b3ULL; }
    void Int(int64_t v) { Word(static_cast<uint64_t>(v)); }
    // Zero of either sign counts as +0: an REAL column may hand back -0.0 as 0.0.
    void Real(double v) { Word(v == 0.0 ? 0 : std::bit_cast<uint64_t>(v)); }
    void Bytes(const unsigned char* p, std::size_t n) {
        Word(n);
        std::size_t i = 0;
        for (; i + 8 <= n; i += 8)
            Word(LoadLittleEndian(p + i));
        if (i < n) {
            unsigned char tail[8] = {};
            std::memcpy(tail, p + i, n - i);
            Word(LoadLittleEndian(tail));
        }
    }
    void Text(const std::string& s) {
        Bytes(reinterpret_cast<const unsigned char*>(s.data()), s.size());
    }
    // A stored curve BLOB (kCurveBytes of little-endian doubles), as Bytes takes it, decoded into
    // `curve` on the way; false when a value is infinite or NaN. The copy and the check ride along
    // with the checksum, whose multiplications, one after another, leave the processor time for
    // them.
    bool StoredCurve(const unsigned char* stored, Curve& curve) {
        Word(kCurveBytes);
        uint64_t special = 0;
        for (int i = 0; i < kPointCount; ++i) {
            const uint64_t w = LoadLittleEndian(stored + 8 * i);
            curve[i] = std::bit_cast<double>(w);
            special |= static_cast<uint64_t>(IsSpecial(w));
            Word(w);
        }
        return special == 0;
    }
    // The same for a curve being written: encoded into `stored` as it is taken.
    bool CurveToStore(const Curve& curve, unsigned char* stored) {
        Word(kCurveBytes);
        uint64_t special = 0;
        for (int i = 0; i < kPointCount; ++i) {
            const auto w = std::bit_cast<uint64_t>(curve[i]);
            StoreLittleEndian(stored + 8 * i, w);
            special |= static_cast<uint64_t>(IsSpecial(w));
            Word(w);
        }
        return special == 0;
    }
    int64_t Value() const { return std::bit_cast<int64_t>(m_h); }

  private:
    static uint64_t LoadLittleEndian(const unsigned char* p) {
        uint64_t w = 0;
        std::memcpy(&w, p, sizeof w);
        if constexpr (std::endian::native == std::endian::little) {
            return w;
        } else {
            return __builtin_bswap64(w);
        }
    }
    static void StoreLittleEndian(unsigned char* p, uint64_t w) {
        if constexpr (std::endian::native != std::endian::little)
            w = __builtin_bswap64(w);
        std::memcpy(p, &w, sizeof w);
    }
    uint64_t m_h = 0xcbf29ce484222325ULL;
};

int64_t HeaderChecksum(const SaveSetData& d) {
    Checksum c;
    c.Int(d.Version);
    c.Int(d.FileType);
    c.Int(d.NumAngles);
    for (int16_t t : d.AngleTypes)
        c.Int(t);
    for (int16_t t : d.Illuminants)
        c.Int(t);
    for (double f : d.CMCFactors)
        c.Real(f);
    c.Int(d.ColorSpace);
    c.Int(d.Observer);
    c.Real(d.WarningLevel);
    c.Text(d.Company);
    c.Text(d.Status);
    c.Int(d.Instrument);
    return c.Value();
}

// A record's checksum up to its curves, which follow: each as Bytes takes its stored BLOB
// (StoredCurve, CurveToStore), a missing second curve as the number -1.
Checksum RecordFieldsChecksum(const SaveSetRecord& rec, int64_t ordinal) {
    Checksum c;
    c.Int(ordinal);
    c.Text(rec.Name);
    c.Text(rec.Name2);
    c.Text(rec.System);
    c.Text(rec.Notes);
    c.Text(rec.Status);
    c.Int(rec.Instrument);
    c.Int(rec.Time);
    return c;
}

// ---- writing ----

[[noreturn]] void Refuse(const fs::path& file, const std::string& reason) {
    throw Error(file.string() + ": the save set cannot be written: " + reason);
}

void CheckHeader(const SaveSetData& header, const fs::path& file) {
    if (header.NumAngles < 1 || header.NumAngles > kMaxAngles) {
        Refuse(file,
               "a record holds 1 or 2 angle positions, not " + std::to_string(header.NumAngles));
    }
    for (double f : header.CMCFactors) {
        if (!std::isfinite(f))
            Refuse(file, "a CMC factor is not a number");
    }
    if (!std::isfinite(header.WarningLevel))
        Refuse(file, "the warning level is not a number");
}

void CheckRecord(const SaveSetRecord& rec, int64_t ordinal, const fs::path& file) {
    for (const Curve& c : rec.Curves) {
        if (!AllFinite(c)) {
            Refuse(file, "record " + std::to_string(ordinal) + " (\"" + rec.Name +
                             "\") has a reflectance that is not a finite number");
        }
    }
}

// Gives the next record to write, or nullptr after the last.
using RecordFeed = std::function<const SaveSetRecord*()>;

// Writes the database straight into the temporary file the one file-writing routine hands over,
// so memory stays bounded by SQLite's page cache whatever the record count. Nobody else sees the
// temporary before it is renamed, and a failed save discards it, so there is no journal and no
// syncing here (the routine syncs the file before the rename, unless it is a scratch file).
class Writer {
  public:
    Writer(const fs::path& target, const fs::path& temporary)
        : m_target(target), m_temporary(temporary) {}

    void Write(const SaveSetData& header, const RecordFeed& next, RecordPath path) {
        Open();
        Exec(
            "PRAGMA page_size = 65536; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
            " PRAGMA locking_mode = EXCLUSIVE;"
            "PRAGMA application_id = " +
            std::to_string(kSaveSetApplicationId) +
            "; PRAGMA user_version = " + std::to_string(kSaveSetFormatVersion) + ";");
        Exec("BEGIN;");
        Exec(kSchema);
        WriteHeader(header);
        if (path == RecordPath::kPages) {
            // SQLite makes the file with its header and an empty records table, whose root is
            // the last page; the records then go into the pages after it.
            const uint32_t root = RecordsRoot();
            Exec("COMMIT;");
            Close();
            if (sqlitepages::TableAppend::CanAppend(m_temporary, root)) {
                AppendRecords(header, next, root);
                return;
            }
            Open();
            Exec("BEGIN;");
        }
        WriteRecords(header, next);
        Exec("COMMIT;");
        Close();
    }

  private:
    void Open() {
        if (sqlite3_open_v2(m_temporary.c_str(), &m_db.db,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
            Fail("the temporary file cannot be opened");
        }
    }

    void Close() {
        errno = 0;
        if (m_db.Close() != SQLITE_OK)
            Fail("writing failed", errno);
    }

    uint32_t RecordsRoot() {
        Statement s;
        Prepare(s, "SELECT rootpage FROM sqlite_schema WHERE type = 'table' AND name = 'records';");
        if (sqlite3_step(s.stmt) != SQLITE_ROW)
            Fail("writing failed");
        return static_cast<uint32_t>(sqlite3_column_int64(s.stmt, 0));
    }

    // `lastError` is errno as the failed call left it: SQLite does not record the system's
    // error for a write that fails while a transaction commits.
    [[noreturn]] void Fail(const std::string& what, int lastError = 0) {
        if (m_db.db) {
            // A write the system refused (a full disk, a file-size limit) reads as any other
            // file's would.
            const int code = sqlite3_errcode(m_db.db) & 0xff;
            int error = sqlite3_system_errno(m_db.db);
            if (error == 0)
                error = lastError;
            if ((code == SQLITE_IOERR || code == SQLITE_FULL) && error != 0)
                FailWrite(m_target, error);
        }
        std::string reason = what;
        if (m_db.db)
            reason += " (" + m_db.Message() + ")";
        throw IoError(m_target.string() + ": the save set cannot be written: " + reason);
    }

    void Exec(const std::string& sql) {
        errno = 0;
        if (sqlite3_exec(m_db.db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            Fail("writing failed", errno);
        }
    }

    void Prepare(Statement& s, const std::string& sql) {
        if (sqlite3_prepare_v2(m_db.db, sql.c_str(), -1, &s.stmt, nullptr) != SQLITE_OK) {
            Fail("writing failed");
        }
    }

    void BindText(sqlite3_stmt* s, int i, const std::string& text) {
        sqlite3_bind_text(s, i, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }

    void Step(sqlite3_stmt* s) {
        errno = 0;
        if (sqlite3_step(s) != SQLITE_DONE)
            Fail("writing failed", errno);
        sqlite3_reset(s);
    }

    void WriteHeader(const SaveSetData& d) {
        Statement s;
        Prepare(s, std::string("INSERT INTO header (id, ") + kHeaderColumns +
                       ") VALUES (1,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?);");
        int i = 1;
        sqlite3_bind_int(s.stmt, i++, d.Version);
        sqlite3_bind_int(s.stmt, i++, d.FileType);
        sqlite3_bind_int(s.stmt, i++, d.NumAngles);
        for (int16_t t : d.AngleTypes)
            sqlite3_bind_int(s.stmt, i++, t);
        for (int16_t t : d.Illuminants)
            sqlite3_bind_int(s.stmt, i++, t);
        for (double f : d.CMCFactors)
            sqlite3_bind_double(s.stmt, i++, f);
        sqlite3_bind_int(s.stmt, i++, d.ColorSpace);
        sqlite3_bind_int(s.stmt, i++, d.Observer);
        sqlite3_bind_double(s.stmt, i++, d.WarningLevel);
        BindText(s.stmt, i++, d.Company);
        BindText(s.stmt, i++, d.Status);
        sqlite3_bind_int(s.stmt, i++, d.Instrument);
        sqlite3_bind_int64(s.stmt, i++, HeaderChecksum(d));
        Step(s.stmt);
    }

    // Whether a record's curve at angle position 1 is stored. A one-angle save set may still
    // carry one (a correlated fandeck writes both positions); an all-zero second curve is what
    // an unwritten one reads as.
    static bool HoldsSecondCurve(const SaveSetData& header, const SaveSetRecord& rec) {
        return header.NumAngles >= 2 || !AllZero(rec.Curves[1]);
    }

    // Encodes record `ordinal`'s curves into `curve0` and (when `second`) `curve1`, and returns
    // its checksum; refuses the record, naming it, when a value is not finite.
    int64_t StoreCurves(const SaveSetRecord& rec, int64_t ordinal, bool second,
                        unsigned char* curve0, unsigned char* curve1) const {
        Checksum checksum = RecordFieldsChecksum(rec, ordinal);
        bool finite = checksum.CurveToStore(rec.Curves[0], curve0);
        if (second) {
            finite &= checksum.CurveToStore(rec.Curves[1], curve1);
        } else {
            finite &= AllFinite(rec.Curves[1]);
            checksum.Int(-1);
        }
        if (!finite)
            CheckRecord(rec, ordinal, m_target);  // refuses it, naming the record
        return checksum.Value();
    }

    // A record ready to be inserted: its texts copied (the feed reuses its record), its curves
    // encoded, its checksum taken.
    struct Row {
        int64_t ordinal = 0;
        std::string name, name2, system, notes, status;
        int instrument = 0, time = 0;
        std::array<unsigned char, kCurveBytes> curve0{}, curve1{};
        bool secondCurve = false;
        int64_t checksum = 0;
    };

    // An INSERT of `rows` rows.
    void PrepareInsert(Statement& s, int rows) {
        std::string sql = std::string("INSERT INTO records (") + kRecordColumns + ") VALUES ";
        for (int r = 0; r < rows; ++r)
            sql += r == 0 ? "(?,?,?,?,?,?,?,?,?,?,?)" : ",(?,?,?,?,?,?,?,?,?,?,?)";
        Prepare(s, sql + ";");
    }

    // Inserts rows[0..count) with `s`, an INSERT of exactly `count` rows.
    void Insert(sqlite3_stmt* s, const std::vector<Row>& rows, int count) {
        for (int r = 0; r < count; ++r) {
            const Row& row = rows[static_cast<std::size_t>(r)];
            const int at = r * 11;
            sqlite3_bind_int64(s, at + 1, row.ordinal);
            BindText(s, at + 2, row.name);
            BindText(s, at + 3, row.name2);
            BindText(s, at + 4, row.system);
            BindText(s, at + 5, row.notes);
            BindText(s, at + 6, row.status);
            sqlite3_bind_int(s, at + 7, row.instrument);
            sqlite3_bind_int(s, at + 8, row.time);
            sqlite3_bind_blob(s, at + 9, row.curve0.data(), kCurveBytes, SQLITE_STATIC);
            if (row.secondCurve)
                sqlite3_bind_blob(s, at + 10, row.curve1.data(), kCurveBytes, SQLITE_STATIC);
            else
                sqlite3_bind_null(s, at + 10);
            sqlite3_bind_int64(s, at + 11, row.checksum);
        }
        Step(s);
    }

    // Rows go in eight to a statement: what SQLite does once per statement (opening the table,
    // finishing the statement) is then shared by eight rows, which takes about a quarter off the
    // write. The rows and their order are the same as one at a time.
    static constexpr int kRowsPerInsert = 8;

    void WriteRecords(const SaveSetData& header, const RecordFeed& next) {
        Statement full;
        PrepareInsert(full, kRowsPerInsert);
        std::vector<Row> rows(kRowsPerInsert);
        int pending = 0;
        for (int64_t r = 0;; ++r) {
            const SaveSetRecord* rec = next();
            if (!rec)
                break;
            Row& row = rows[static_cast<std::size_t>(pending)];
            row.ordinal = r;
            row.name = rec->Name;
            row.name2 = rec->Name2;
            row.system = rec->System;
            row.notes = rec->Notes;
            row.status = rec->Status;
            row.instrument = rec->Instrument;
            row.time = rec->Time;
            row.secondCurve = HoldsSecondCurve(header, *rec);
            row.checksum =
                StoreCurves(*rec, r, row.secondCurve, row.curve0.data(), row.curve1.data());
            if (++pending == kRowsPerInsert) {
                Insert(full.stmt, rows, pending);
                pending = 0;
            }
        }
        if (pending > 0) {
            Statement rest;
            PrepareInsert(rest, pending);
            Insert(rest.stmt, rows, pending);
        }
    }

    // The records written straight into the database pages, each encoded as SQLite encodes a
    // row of the records table: the ordinal, an alias of the rowid, stored as NULL; the texts
    // and curves as they are; the integers in the fewest bytes, except the checksum, which
    // always takes eight, so the record's size is known before its curves are encoded and
    // checksummed in place.
    void AppendRecords(const SaveSetData& header, const RecordFeed& next, uint32_t root) {
        using namespace sqlitepages;
        constexpr uint32_t kCurveType = 2 * kCurveBytes + 12;
        constexpr uint32_t kChecksumType = 6;
        TableAppend table(m_temporary, m_target, root);
        for (int64_t r = 0;; ++r) {
            const SaveSetRecord* rec = next();
            if (!rec)
                break;
            const std::string* texts[5] = {&rec->Name, &rec->Name2, &rec->System, &rec->Notes,
                                           &rec->Status};
            const bool secondCurve = HoldsSecondCurve(header, *rec);
            uint32_t types[11];
            types[0] = 0;
            for (int t = 0; t < 5; ++t)
                types[1 + t] = static_cast<uint32_t>(2 * texts[t]->size() + 13);
            types[6] = IntegerSerialType(rec->Instrument);
            types[7] = IntegerSerialType(rec->Time);
            types[8] = kCurveType;
            types[9] = secondCurve ? kCurveType : 0;
            types[10] = kChecksumType;
            std::size_t headerBytes = 1;
            std::size_t bodyBytes = 0;
            for (uint32_t type : types) {
                headerBytes += static_cast<std::size_t>(VarintBytes(type));
                bodyBytes += SerialTypeBytes(type);
            }
            // Eleven serial types take at most 99 bytes, so the header's own size is one byte.
            unsigned char* at = table.Row(r, headerBytes + bodyBytes);
            *at++ = static_cast<unsigned char>(headerBytes);
            for (uint32_t type : types)
                at += PutVarint(at, type);
            for (const std::string* text : texts) {
                std::memcpy(at, text->data(), text->size());
                at += text->size();
            }
            PutInteger(at, types[6], rec->Instrument);
            at += SerialTypeBytes(types[6]);
            PutInteger(at, types[7], rec->Time);
            at += SerialTypeBytes(types[7]);
            const int64_t checksum = StoreCurves(*rec, r, secondCurve, at, at + kCurveBytes);
            at += SerialTypeBytes(types[8]) + SerialTypeBytes(types[9]);
            PutInteger(at, kChecksumType, checksum);
        }
        table.Finish();
    }

    fs::path m_target;
    fs::path m_temporary;
    Database m_db;
};

void Store(const SaveSetData& header, const RecordFeed& next, const fs::path& file,
           Durability durability, RecordPath path) {
    CheckHeader(header, file);
    WriteFileAtomicallyByPath(
        file, [&](const fs::path& temporary) { Writer(file, temporary).Write(header, next, path); },
        durability);
}

// ---- reading ----

// The column a check is about, for the message that names it: a fixed text, a numbered one
// ("angle type 2") or a field of a numbered record. Built for every column of every row, so it
// holds no string: the text is only put together when a check fails.
class Field {
  public:
    Field(const char* name) : m_name(name) {}
    Field(const char* name, int number) : m_name(name), m_number(number) {}
    Field(int64_t record, const char* name) : m_name(name), m_record(record) {}
    std::string Text() const {
        if (m_record >= 0)
            return "record " + std::to_string(m_record) + ": " + m_name;
        if (m_number > 0)
            return m_name + (" " + std::to_string(m_number));
        return m_name;
    }

  private:
    const char* m_name;
    int m_number = 0;
    int64_t m_record = -1;
};

}  // namespace

struct SaveSetReader::Impl {
    fs::path m_file;
    RecordPath m_path;
    // For Next to read the pages itself: the file, opened before SQLite opens it, so that it can
    // be told whether both have the same file, and (declared before the database) closed after
    // SQLite has closed it.
    Descriptor m_pagesFd;
    Database m_db;
    SaveSetData m_header;
    int64_t m_count = 0;
    Statement m_sequence;  // Next's, prepared on first use
    int64_t m_expected = 0;
    bool m_done = false;
    Statement m_single;  // Read's
    std::unique_ptr<sqlitepages::TableScan> m_scan;
    int64_t m_fromPages = 0;

    Impl(const fs::path& file, RecordPath path) : m_file(file), m_path(path) {
        std::error_code ec;
        const auto status = fs::status(m_file, ec);
        if (!fs::exists(status))
            throw IoError(m_file.string() + ": the file does not exist");
        if (fs::is_directory(status)) {
            throw IoError(m_file.string() + ": is a directory, not a save set");
        }
        const auto size = fs::file_size(m_file, ec);
        if (!ec && size == 0)
            Bad("not a save set: the file is empty");
        if (m_path == RecordPath::kPages)
            m_pagesFd.fd = open(m_file.c_str(), O_RDONLY | O_CLOEXEC);
        if (sqlite3_open_v2(m_file.c_str(), &m_db.db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX,
                            nullptr) != SQLITE_OK) {
            throw IoError(m_file.string() + ": the file cannot be opened (" + m_db.Message() + ")");
        }
        const int64_t applicationId = PragmaValue("application_id");
        if (applicationId != kSaveSetApplicationId) {
            Bad("not a save set: an SQLite database of another program");
        }
        const int64_t version = PragmaValue("user_version");
        if (version > kSaveSetFormatVersion) {
            Bad("the save set has format version " + std::to_string(version) +
                ", written by a newer program; this program reads format version " +
                std::to_string(kSaveSetFormatVersion));
        }
        if (version < 1)
            Bad("not a save set: format version " + std::to_string(version));
        ReadHeader();
        CountRecords();
    }

    [[noreturn]] void Bad(const std::string& reason) {
        throw ParseError(m_file.string(), 0, reason);
    }

    // Turns an SQLite failure into the reason the user reads.
    [[noreturn]] void SqlFailure(int rc) {
        const std::string message = m_db.Message();
        switch (rc & 0xff) {
            case SQLITE_NOTADB:
                Bad("not a save set (the file is not a database)");
            case SQLITE_CORRUPT:
                Bad("the save set is damaged (" + message + ")");
            case SQLITE_IOERR:
            case SQLITE_CANTOPEN:
            case SQLITE_PERM:
                throw IoError(m_file.string() + ": the file cannot be read (" + message + ")");
            default:
                Bad("not a readable save set (" + message + ")");
        }
    }

    void Prepare(Statement& s, const std::string& sql) {
        const int rc = sqlite3_prepare_v2(m_db.db, sql.c_str(), -1, &s.stmt, nullptr);
        if (rc != SQLITE_OK)
            SqlFailure(rc);
    }

    int64_t PragmaValue(const char* name) {
        Statement s;
        Prepare(s, std::string("PRAGMA ") + name + ";");
        const int rc = sqlite3_step(s.stmt);
        if (rc != SQLITE_ROW)
            SqlFailure(rc);
        return sqlite3_column_int64(s.stmt, 0);
    }

    // A column of the row `s` stands on, as the checks below take it. The value is fetched once
    // and examined through the sqlite3_value calls, which skip the per-call locking of the
    // sqlite3_column ones: the connection is opened without a mutex (multi-thread mode), where
    // SQLite makes no difference between protected and unprotected values, and the value is used
    // before the next step.
    static StoredValue Column(sqlite3_stmt* s, int col) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        StoredValue v;
        v.type = sqlite3_value_type(value);
        switch (v.type) {
            case SQLITE_INTEGER:
                v.integer = sqlite3_value_int64(value);
                break;
            case SQLITE_FLOAT:
                v.real = sqlite3_value_double(value);
                break;
            case SQLITE_TEXT:
                v.bytes = sqlite3_value_text(value);
                v.size = static_cast<std::size_t>(sqlite3_value_bytes(value));
                break;
            case SQLITE_BLOB:
                v.bytes = static_cast<const unsigned char*>(sqlite3_value_blob(value));
                v.size = static_cast<std::size_t>(sqlite3_value_bytes(value));
                break;
            default:
                break;
        }
        return v;
    }

    int64_t Integer(const StoredValue& v, const Field& what, int64_t lo, int64_t hi) {
        if (v.type != SQLITE_INTEGER)
            Bad(what.Text() + " is not a whole number");
        if (v.integer < lo || v.integer > hi)
            Bad(what.Text() + " is out of range (" + std::to_string(v.integer) + ")");
        return v.integer;
    }
    int16_t Short(const StoredValue& v, const Field& what) {
        return static_cast<int16_t>(Integer(v, what, std::numeric_limits<int16_t>::min(),
                                            std::numeric_limits<int16_t>::max()));
    }
    double Real(const StoredValue& v, const Field& what) {
        if (v.type != SQLITE_FLOAT && v.type != SQLITE_INTEGER)
            Bad(what.Text() + " is not a number");
        const double d = v.type == SQLITE_FLOAT ? v.real : static_cast<double>(v.integer);
        if (!std::isfinite(d))
            Bad(what.Text() + " is not a finite number");
        return d;
    }
    // Assigns in place, so a reused record keeps its strings' capacity.
    void Text(const StoredValue& v, const Field& what, std::string& out) {
        if (v.type != SQLITE_TEXT)
            Bad(what.Text() + " is not a text");
        if (v.bytes)
            out.assign(reinterpret_cast<const char*>(v.bytes), v.size);
        else
            out.clear();
    }
    // Reads the curve into `curve`, adding its stored bytes to the record's checksum.
    void CurveColumn(const StoredValue& v, const Field& what, Curve& curve, Checksum& checksum) {
        if (v.type != SQLITE_BLOB)
            Bad(what.Text() + " is not a curve");
        if (v.size != kCurveBytes || !v.bytes) {
            Bad(what.Text() + " holds " + std::to_string(v.size) + " bytes, not 40 numbers");
        }
        if (!checksum.StoredCurve(v.bytes, curve))
            Bad(what.Text() + " holds a value that is not a finite number");
    }

    void ReadHeader() {
        SaveSetData& d = m_header;
        Statement s;
        Prepare(s, std::string("SELECT ") + kHeaderColumns + " FROM header;");
        int rc = sqlite3_step(s.stmt);
        if (rc == SQLITE_DONE)
            Bad("the save set has no header");
        if (rc != SQLITE_ROW)
            SqlFailure(rc);
        int i = 0;
        d.Version = Short(Column(s.stmt, i++), "the header's version");
        d.FileType = Short(Column(s.stmt, i++), "the header's file type");
        d.NumAngles = static_cast<int16_t>(
            Integer(Column(s.stmt, i++), "the header's angle count", 1, kMaxAngles));
        for (int k = 0; k < 3; ++k) {
            d.AngleTypes[k] = Short(Column(s.stmt, i++), {"angle type", k + 1});
        }
        for (int k = 0; k < 3; ++k) {
            d.Illuminants[k] = Short(Column(s.stmt, i++), {"illuminant", k + 1});
        }
        for (int k = 0; k < 4; ++k) {
            d.CMCFactors[k] = Real(Column(s.stmt, i++), {"CMC factor", k + 1});
        }
        d.ColorSpace = Short(Column(s.stmt, i++), "the header's colour space");
        d.Observer = Short(Column(s.stmt, i++), "the header's observer");
        d.WarningLevel = Real(Column(s.stmt, i++), "the header's warning level");
        Text(Column(s.stmt, i++), "the header's company", d.Company);
        Text(Column(s.stmt, i++), "the header's status", d.Status);
        d.Instrument = Short(Column(s.stmt, i++), "the header's instrument");
        if (sqlite3_column_int64(s.stmt, i++) != HeaderChecksum(d)) {
            Bad("the save set is damaged (the header does not match its checksum)");
        }
        rc = sqlite3_step(s.stmt);
        if (rc == SQLITE_ROW)
            Bad("the save set has more than one header");
        if (rc != SQLITE_DONE)
            SqlFailure(rc);
    }

    // The highest ordinal plus one, a rowid lookup rather than a count. A damaged file may number
    // its records with gaps, but it cannot hold more records than its size has room for curves,
    // so the count never goes beyond that (readers size their buffers by it).
    void CountRecords() {
        Statement s;
        Prepare(s, "SELECT max(ordinal) FROM records;");
        const int rc = sqlite3_step(s.stmt);
        if (rc != SQLITE_ROW)
            SqlFailure(rc);
        if (sqlite3_column_type(s.stmt, 0) == SQLITE_NULL)
            return;
        const int64_t top = sqlite3_column_int64(s.stmt, 0);
        std::error_code ec;
        const auto bytes = fs::file_size(m_file, ec);
        const int64_t room = ec ? 0 : static_cast<int64_t>(bytes / kCurveBytes);
        m_count = std::clamp<int64_t>(top + 1, 0, room);
    }

    [[noreturn]] void MissingRecord(int64_t ordinal) {
        Bad("the records are not numbered in sequence (record " + std::to_string(ordinal) +
            " is missing)");
    }

    // Record `ordinal`, from its columns in the order of kRecordColumns (the first, the
    // ordinal, is not looked at).
    void ReadRow(const StoredValue* c, int64_t storedChecksum, int64_t ordinal,
                 SaveSetRecord& rec) {
        Text(c[1], {ordinal, "the name"}, rec.Name);
        Text(c[2], {ordinal, "the second name"}, rec.Name2);
        Text(c[3], {ordinal, "the system text"}, rec.System);
        Text(c[4], {ordinal, "the notes"}, rec.Notes);
        Text(c[5], {ordinal, "the status"}, rec.Status);
        rec.Instrument = Short(c[6], {ordinal, "the instrument"});
        rec.Time = static_cast<int32_t>(Integer(c[7], {ordinal, "the time"},
                                                std::numeric_limits<int32_t>::min(),
                                                std::numeric_limits<int32_t>::max()));
        Checksum checksum = RecordFieldsChecksum(rec, ordinal);
        CurveColumn(c[8], {ordinal, "the curve at angle position 0"}, rec.Curves[0], checksum);
        if (c[9].type == SQLITE_NULL) {
            if (m_header.NumAngles >= 2)
                Bad(Field(ordinal, "the curve at angle position 1 is missing").Text());
            rec.Curves[1] = Curve{};
            checksum.Int(-1);
        } else {
            CurveColumn(c[9], {ordinal, "the curve at angle position 1"}, rec.Curves[1], checksum);
        }
        if (storedChecksum != checksum.Value()) {
            Bad("the save set is damaged (record " + std::to_string(ordinal) +
                " does not match its checksum)");
        }
    }

    void ReadRow(sqlite3_stmt* s, int64_t ordinal, SaveSetRecord& rec) {
        // The checksum column is only compared, as whatever integer SQLite makes of it.
        StoredValue c[kRecordColumnCount];
        for (int i = 1; i + 1 < kRecordColumnCount; ++i)
            c[i] = Column(s, i);
        ReadRow(c, sqlite3_column_int64(s, kRecordColumnCount - 1), ordinal, rec);
    }

    // Starts reading the records from the pages, when the file is the one SQLite has open and
    // its records table has the layout this program writes. A read transaction keeps writers
    // out while the pages are read.
    void StartScan() {
        if (m_pagesFd.fd < 0)
            return;
        auto scan = std::make_unique<sqlitepages::TableScan>(m_pagesFd.fd);
        if (sqlite3_exec(m_db.db, "BEGIN;", nullptr, nullptr, nullptr) != SQLITE_OK)
            return;
        Statement root;
        Statement columns;
        if (sqlite3_prepare_v2(m_db.db,
                               "SELECT rootpage FROM sqlite_schema WHERE type = 'table' AND name = "
                               "'records';",
                               -1, &root.stmt, nullptr) != SQLITE_OK ||
            sqlite3_step(root.stmt) != SQLITE_ROW ||
            sqlite3_prepare_v2(m_db.db,
                               "SELECT group_concat(name, ', '), sum(pk) FROM "
                               "(SELECT name, pk FROM pragma_table_info('records'));",
                               -1, &columns.stmt, nullptr) != SQLITE_OK ||
            sqlite3_step(columns.stmt) != SQLITE_ROW) {
            return;
        }
        const auto* names = sqlite3_column_text(columns.stmt, 0);
        struct stat opened {};
        struct stat named {};
        if (!names || std::strcmp(reinterpret_cast<const char*>(names), kRecordColumns) != 0 ||
            sqlite3_column_int64(columns.stmt, 1) != 1 || fstat(m_pagesFd.fd, &opened) != 0 ||
            stat(m_file.c_str(), &named) != 0 || opened.st_dev != named.st_dev ||
            opened.st_ino != named.st_ino) {
            return;
        }
        if (scan->Start(static_cast<uint32_t>(sqlite3_column_int64(root.stmt, 0))))
            m_scan = std::move(scan);
    }

    // The row the scan stands on, when it is record m_expected as this program writes it: all
    // eleven columns, the ordinal the rowid (so NULL in the record), the checksum an integer.
    bool ScannedRowIsPlain() const {
        const auto& c = m_scan->Columns();
        return m_scan->Rowid() == m_expected && c.size() == kRecordColumnCount &&
               c[0].type == SQLITE_NULL && c[kRecordColumnCount - 1].type == SQLITE_INTEGER;
    }

    bool Next(SaveSetRecord& rec) {
        if (m_done)
            return false;
        if (m_path == RecordPath::kPages && !m_sequence.stmt) {
            if (!m_scan)
                StartScan();
            if (m_scan) {
                const auto step = m_scan->Next();
                if (step == sqlitepages::TableScan::Step::kEnd) {
                    m_done = true;
                    m_scan.reset();
                    sqlite3_exec(m_db.db, "COMMIT;", nullptr, nullptr, nullptr);
                    return false;
                }
                if (step == sqlitepages::TableScan::Step::kRow && ScannedRowIsPlain()) {
                    const auto& c = m_scan->Columns();
                    ReadRow(c.data(), c[kRecordColumnCount - 1].integer, m_expected, rec);
                    ++m_expected;
                    ++m_fromPages;
                    return true;
                }
            }
            // SQL statements carry on from the record the pages reached.
            m_scan.reset();
        }
        if (!m_sequence.stmt) {
            if (m_expected == 0) {
                Prepare(m_sequence, std::string("SELECT ") + kRecordColumns +
                                        " FROM records ORDER BY ordinal;");
            } else {
                Prepare(m_sequence, std::string("SELECT ") + kRecordColumns +
                                        " FROM records WHERE ordinal >= ? ORDER BY ordinal;");
                sqlite3_bind_int64(m_sequence.stmt, 1, m_expected);
            }
        }
        const int rc = sqlite3_step(m_sequence.stmt);
        if (rc == SQLITE_DONE) {
            m_done = true;
            return false;
        }
        if (rc != SQLITE_ROW)
            SqlFailure(rc);
        if (sqlite3_column_int64(m_sequence.stmt, 0) != m_expected)
            MissingRecord(m_expected);
        ReadRow(m_sequence.stmt, m_expected, rec);
        ++m_expected;
        return true;
    }

    void Read(int64_t ordinal, SaveSetRecord& rec) {
        if (ordinal < 0 || ordinal >= m_count) {
            throw Error(m_file.string() + ": record " + std::to_string(ordinal) +
                        " does not exist (the save set holds " + std::to_string(m_count) +
                        " records, numbered from 0)");
        }
        if (!m_single.stmt) {
            Prepare(m_single,
                    std::string("SELECT ") + kRecordColumns + " FROM records WHERE ordinal = ?;");
        }
        sqlite3_reset(m_single.stmt);
        sqlite3_bind_int64(m_single.stmt, 1, ordinal);
        const int rc = sqlite3_step(m_single.stmt);
        if (rc == SQLITE_DONE)
            MissingRecord(ordinal);
        if (rc != SQLITE_ROW)
            SqlFailure(rc);
        ReadRow(m_single.stmt, ordinal, rec);
        sqlite3_reset(m_single.stmt);
    }
};

SaveSetReader::SaveSetReader(const fs::path& file, RecordPath path)
    : m_impl(std::make_unique<Impl>(file, path)) {}
SaveSetReader::~SaveSetReader() = default;
SaveSetReader::SaveSetReader(SaveSetReader&&) noexcept = default;
SaveSetReader& SaveSetReader::operator=(SaveSetReader&&) noexcept = default;

const SaveSetData& SaveSetReader::Header() const {
    return m_impl->m_header;
}

int64_t SaveSetReader::RecordCount() const {
    return m_impl->m_count;
}

bool SaveSetReader::Next(SaveSetRecord& record) {
    return m_impl->Next(record);
}

void SaveSetReader::Read(int64_t ordinal, SaveSetRecord& record) {
    m_impl->Read(ordinal, record);
}

int64_t SaveSetReader::RecordsFromPages() const {
    return m_impl->m_fromPages;
}

SaveSetData LoadSaveSet(const fs::path& file, RecordPath path) {
    SaveSetReader reader(file, path);
    SaveSetData data = reader.Header();
    // One more than the count: the last Next is given a record too, and finds none.
    data.Records.reserve(static_cast<std::size_t>(reader.RecordCount()) + 1);
    while (reader.Next(data.Records.emplace_back())) {
    }
    data.Records.pop_back();
    return data;
}

void StoreSaveSet(const SaveSetData& data, const fs::path& file, RecordPath path) {
    // Everything is checked before the file is touched.
    CheckHeader(data, file);
    for (std::size_t r = 0; r < data.Records.size(); ++r)
        CheckRecord(data.Records[r], static_cast<int64_t>(r), file);
    std::size_t at = 0;
    Store(
        data,
        [&]() -> const SaveSetRecord* {
            return at < data.Records.size() ? &data.Records[at++] : nullptr;
        },
        file, Durability::kDurable, path);
}

void StoreSaveSet(const SaveSetData& header, const SaveSetRecordSource& next, const fs::path& file,
                  Durability durability, RecordPath path) {
    SaveSetRecord record;
    Store(
        header,
        [&]() -> const SaveSetRecord* {
            record.Name.clear();
            record.Name2.clear();
            record.System.clear();
            record.Notes.clear();
            record.Status.clear();
            record.Instrument = 0;
            record.Time = 0;
            record.Curves = {};
            return next(record) ? &record : nullptr;
        },
        file, durability, path);
}

}  // namespace tintara
