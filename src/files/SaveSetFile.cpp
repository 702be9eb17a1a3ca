#include "files/SaveSetFile.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace fs = std::filesystem;

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

    void Write(const SaveSetData& header, const RecordFeed& next) {
        if (sqlite3_open_v2(m_temporary.c_str(), &m_db.db,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
            Fail("the temporary file cannot be opened");
        }
        Exec(
            "PRAGMA page_size = 65536; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
            " PRAGMA locking_mode = EXCLUSIVE;"
            "PRAGMA application_id = " +
            std::to_string(kSaveSetApplicationId) +
            "; PRAGMA user_version = " + std::to_string(kSaveSetFormatVersion) + ";");
        Exec("BEGIN;");
        Exec(kSchema);
        WriteHeader(header);
        WriteRecords(header, next);
        Exec("COMMIT;");
        if (m_db.Close() != SQLITE_OK)
            Fail("writing failed");
    }

  private:
    [[noreturn]] void Fail(const std::string& what) {
        if (m_db.db) {
            // A write the system refused (a full disk, a file-size limit) reads as any other
            // file's would.
            const int code = sqlite3_errcode(m_db.db) & 0xff;
            const int error = sqlite3_system_errno(m_db.db);
            if ((code == SQLITE_IOERR || code == SQLITE_FULL) && error != 0)
                FailWrite(m_target, error);
        }
        std::string reason = what;
        if (m_db.db)
            reason += " (" + m_db.Message() + ")";
        throw IoError(m_target.string() + ": the save set cannot be written: " + reason);
    }

    void Exec(const std::string& sql) {
        if (sqlite3_exec(m_db.db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            Fail("writing failed");
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
        if (sqlite3_step(s) != SQLITE_DONE)
            Fail("writing failed");
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
            Checksum checksum = RecordFieldsChecksum(*rec, r);
            bool finite = checksum.CurveToStore(rec->Curves[0], row.curve0.data());
            // A one-angle save set may still carry a second curve (a correlated fandeck writes
            // both positions); an all-zero second curve is what an unwritten one reads as.
            row.secondCurve = header.NumAngles >= 2 || !AllZero(rec->Curves[1]);
            if (row.secondCurve) {
                finite &= checksum.CurveToStore(rec->Curves[1], row.curve1.data());
            } else {
                finite &= AllFinite(rec->Curves[1]);
                checksum.Int(-1);
            }
            if (!finite)
                CheckRecord(*rec, r, m_target);  // refuses it, naming the record
            row.checksum = checksum.Value();
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

    fs::path m_target;
    fs::path m_temporary;
    Database m_db;
};

void Store(const SaveSetData& header, const RecordFeed& next, const fs::path& file,
           Durability durability = Durability::kDurable) {
    CheckHeader(header, file);
    WriteFileAtomicallyByPath(
        file, [&](const fs::path& temporary) { Writer(file, temporary).Write(header, next); },
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
    Database m_db;
    SaveSetData m_header;
    int64_t m_count = 0;
    Statement m_sequence;  // Next's, prepared on first use
    int64_t m_expected = 0;
    bool m_done = false;
    Statement m_single;  // Read's

    explicit Impl(const fs::path& file) : m_file(file) {
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

    // Each column is fetched once as a value and examined through the sqlite3_value calls, which
    // skip the per-call locking of the sqlite3_column ones. The connection is opened without a
    // mutex (multi-thread mode), where SQLite makes no difference between protected and
    // unprotected values, and the value is used before the next step.
    int64_t Integer(sqlite3_stmt* s, int col, const Field& what, int64_t lo, int64_t hi) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        if (sqlite3_value_type(value) != SQLITE_INTEGER)
            Bad(what.Text() + " is not a whole number");
        const int64_t v = sqlite3_value_int64(value);
        if (v < lo || v > hi)
            Bad(what.Text() + " is out of range (" + std::to_string(v) + ")");
        return v;
    }
    int16_t Short(sqlite3_stmt* s, int col, const Field& what) {
        return static_cast<int16_t>(Integer(s, col, what, std::numeric_limits<int16_t>::min(),
                                            std::numeric_limits<int16_t>::max()));
    }
    double Real(sqlite3_stmt* s, int col, const Field& what) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        const int type = sqlite3_value_type(value);
        if (type != SQLITE_FLOAT && type != SQLITE_INTEGER)
            Bad(what.Text() + " is not a number");
        const double v = sqlite3_value_double(value);
        if (!std::isfinite(v))
            Bad(what.Text() + " is not a finite number");
        return v;
    }
    // Assigns in place, so a reused record keeps its strings' capacity.
    void Text(sqlite3_stmt* s, int col, const Field& what, std::string& out) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        if (sqlite3_value_type(value) != SQLITE_TEXT)
            Bad(what.Text() + " is not a text");
        const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(value));
        const int n = sqlite3_value_bytes(value);
        if (p)
            out.assign(p, static_cast<std::size_t>(n));
        else
            out.clear();
    }
    // Reads the curve into `curve`, adding its stored bytes to the record's checksum.
    void CurveColumn(sqlite3_stmt* s, int col, const Field& what, Curve& curve,
                     Checksum& checksum) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        if (sqlite3_value_type(value) != SQLITE_BLOB)
            Bad(what.Text() + " is not a curve");
        const auto* p = static_cast<const unsigned char*>(sqlite3_value_blob(value));
        const int n = sqlite3_value_bytes(value);
        if (n != static_cast<int>(kCurveBytes) || !p) {
            Bad(what.Text() + " holds " + std::to_string(n) + " bytes, not 40 numbers");
        }
        if (!checksum.StoredCurve(p, curve))
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
        d.Version = Short(s.stmt, i++, "the header's version");
        d.FileType = Short(s.stmt, i++, "the header's file type");
        d.NumAngles =
            static_cast<int16_t>(Integer(s.stmt, i++, "the header's angle count", 1, kMaxAngles));
        for (int k = 0; k < 3; ++k) {
            d.AngleTypes[k] = Short(s.stmt, i++, {"angle type", k + 1});
        }
        for (int k = 0; k < 3; ++k) {
            d.Illuminants[k] = Short(s.stmt, i++, {"illuminant", k + 1});
        }
        for (int k = 0; k < 4; ++k) {
            d.CMCFactors[k] = Real(s.stmt, i++, {"CMC factor", k + 1});
        }
        d.ColorSpace = Short(s.stmt, i++, "the header's colour space");
        d.Observer = Short(s.stmt, i++, "the header's observer");
        d.WarningLevel = Real(s.stmt, i++, "the header's warning level");
        Text(s.stmt, i++, "the header's company", d.Company);
        Text(s.stmt, i++, "the header's status", d.Status);
        d.Instrument = Short(s.stmt, i++, "the header's instrument");
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

    // The row `s` stands on, which is record `ordinal`.
    void ReadRow(sqlite3_stmt* s, int64_t ordinal, SaveSetRecord& rec) {
        Text(s, 1, {ordinal, "the name"}, rec.Name);
        Text(s, 2, {ordinal, "the second name"}, rec.Name2);
        Text(s, 3, {ordinal, "the system text"}, rec.System);
        Text(s, 4, {ordinal, "the notes"}, rec.Notes);
        Text(s, 5, {ordinal, "the status"}, rec.Status);
        rec.Instrument = Short(s, 6, {ordinal, "the instrument"});
        rec.Time = static_cast<int32_t>(Integer(s, 7, {ordinal, "the time"},
                                                std::numeric_limits<int32_t>::min(),
                                                std::numeric_limits<int32_t>::max()));
        Checksum checksum = RecordFieldsChecksum(rec, ordinal);
        CurveColumn(s, 8, {ordinal, "the curve at angle position 0"}, rec.Curves[0], checksum);
        if (sqlite3_column_type(s, 9) == SQLITE_NULL) {
            if (m_header.NumAngles >= 2)
                Bad(Field(ordinal, "the curve at angle position 1 is missing").Text());
            rec.Curves[1] = Curve{};
            checksum.Int(-1);
        } else {
            CurveColumn(s, 9, {ordinal, "the curve at angle position 1"}, rec.Curves[1], checksum);
        }
        if (sqlite3_column_int64(s, 10) != checksum.Value()) {
            Bad("the save set is damaged (record " + std::to_string(ordinal) +
                " does not match its checksum)");
        }
    }

    bool Next(SaveSetRecord& rec) {
        if (m_done)
            return false;
        if (!m_sequence.stmt) {
            Prepare(m_sequence,
                    std::string("SELECT ") + kRecordColumns + " FROM records ORDER BY ordinal;");
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

SaveSetReader::SaveSetReader(const fs::path& file) : m_impl(std::make_unique<Impl>(file)) {}
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

SaveSetData LoadSaveSet(const fs::path& file) {
    SaveSetReader reader(file);
    SaveSetData data = reader.Header();
    // One more than the count: the last Next is given a record too, and finds none.
    data.Records.reserve(static_cast<std::size_t>(reader.RecordCount()) + 1);
    while (reader.Next(data.Records.emplace_back())) {
    }
    data.Records.pop_back();
    return data;
}

void StoreSaveSet(const SaveSetData& data, const fs::path& file) {
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
        file);
}

void StoreSaveSet(const SaveSetData& header, const SaveSetRecordSource& next, const fs::path& file,
                  Durability durability) {
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
        file, durability);
}

}  // namespace tintara
