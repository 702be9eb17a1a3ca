#include "files/SaveSetLibrary.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <system_error>

#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kCurveBytes = kPointCount * sizeof(double);

// ---- little-endian curve BLOBs ----

void EncodeCurve(const Curve& curve, unsigned char* out) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(out, curve.data(), kCurveBytes);
    } else {
        for (int i = 0; i < kPointCount; ++i) {
            const auto bits = std::bit_cast<uint64_t>(curve[i]);
            for (int b = 0; b < 8; ++b)
                out[i * 8 + b] = static_cast<unsigned char>(bits >> (8 * b));
        }
    }
}

void DecodeCurve(const unsigned char* in, Curve& curve) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(curve.data(), in, kCurveBytes);
    } else {
        for (int i = 0; i < kPointCount; ++i) {
            uint64_t bits = 0;
            for (int b = 0; b < 8; ++b)
                bits |= static_cast<uint64_t>(in[i * 8 + b]) << (8 * b);
            curve[i] = std::bit_cast<double>(bits);
        }
    }
}

bool AllFinite(const Curve& curve) {
    // A value is infinite or NaN when its exponent bits are all set; no early exit, so that the
    // loop vectorises (every curve read is checked).
    constexpr uint64_t kExponent = 0x7ff0000000000000ULL;
    bool finite = true;
    for (double v : curve)
        finite &= (std::bit_cast<uint64_t>(v) & kExponent) != kExponent;
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

// `curve0`, `curve1`: the stored curve BLOBs of kCurveBytes (curve1 null when it is NULL).
int64_t RecordChecksum(const SaveSetRecord& rec, int64_t ordinal, const unsigned char* curve0,
                       const unsigned char* curve1) {
    Checksum c;
    c.Int(ordinal);
    c.Text(rec.Name);
    c.Text(rec.Name2);
    c.Text(rec.System);
    c.Text(rec.Notes);
    c.Text(rec.Status);
    c.Int(rec.Instrument);
    c.Int(rec.Time);
    c.Bytes(curve0, kCurveBytes);
    if (curve1) {
        c.Bytes(curve1, kCurveBytes);
    } else {
        c.Int(-1);
    }
    return c.Value();
}

// `secondCurve`: whether curve_1 is stored (not NULL).
int64_t RecordChecksum(const SaveSetRecord& rec, int64_t ordinal, bool secondCurve) {
    unsigned char bytes[2][kCurveBytes];
    EncodeCurve(rec.Curves[0], bytes[0]);
    if (secondCurve)
        EncodeCurve(rec.Curves[1], bytes[1]);
    return RecordChecksum(rec, ordinal, bytes[0], secondCurve ? bytes[1] : nullptr);
}

// ---- writing ----

// Builds the database in memory and hands its bytes to the one file-writing routine, which
// gives the save its all-or-nothing replacement of the target.
class Writer {
  public:
    explicit Writer(const fs::path& target) : m_target(target) {}

    void Write(const SaveSetData& data) {
        // A private database in memory: nothing to roll back, so no journal.
        if (sqlite3_open_v2(":memory:", &m_db.db,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                            nullptr) != SQLITE_OK) {
            Fail("out of memory");
        }
        Exec(
            "PRAGMA page_size = 65536; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
            " PRAGMA locking_mode = EXCLUSIVE;"
            "PRAGMA application_id = " +
            std::to_string(kSaveSetApplicationId) +
            "; PRAGMA user_version = " + std::to_string(kSaveSetFormatVersion) + ";");
        Exec("BEGIN;");
        Exec(kSchema);
        WriteHeader(data);
        WriteRecords(data);
        Exec("COMMIT;");
        sqlite3_int64 size = 0;
        unsigned char* bytes = sqlite3_serialize(m_db.db, "main", &size, 0);
        if (!bytes)
            Fail("out of memory");
        const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> owned(bytes, sqlite3_free);
        m_db.Close();
        WriteFileAtomically(m_target, std::string_view(reinterpret_cast<const char*>(bytes),
                                                       static_cast<std::size_t>(size)));
    }

  private:
    [[noreturn]] void Fail(const std::string& what) {
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

    void WriteRecords(const SaveSetData& d) {
        Statement s;
        Prepare(s, std::string("INSERT INTO records (") + kRecordColumns +
                       ") VALUES (?,?,?,?,?,?,?,?,?,?,?);");
        std::array<unsigned char, kCurveBytes> blob0{}, blob1{};
        for (std::size_t r = 0; r < d.Records.size(); ++r) {
            const SaveSetRecord& rec = d.Records[r];
            sqlite3_bind_int64(s.stmt, 1, static_cast<sqlite3_int64>(r));
            BindText(s.stmt, 2, rec.Name);
            BindText(s.stmt, 3, rec.Name2);
            BindText(s.stmt, 4, rec.System);
            BindText(s.stmt, 5, rec.Notes);
            BindText(s.stmt, 6, rec.Status);
            sqlite3_bind_int(s.stmt, 7, rec.Instrument);
            sqlite3_bind_int(s.stmt, 8, rec.Time);
            EncodeCurve(rec.Curves[0], blob0.data());
            sqlite3_bind_blob(s.stmt, 9, blob0.data(), kCurveBytes, SQLITE_STATIC);
            // A one-angle save set may still carry a second curve (a correlated fandeck writes
            // both positions); an all-zero second curve is what an unwritten one reads as.
            const bool secondCurve = d.NumAngles >= 2 || !AllZero(rec.Curves[1]);
            if (secondCurve) {
                EncodeCurve(rec.Curves[1], blob1.data());
                sqlite3_bind_blob(s.stmt, 10, blob1.data(), kCurveBytes, SQLITE_STATIC);
            } else {
                sqlite3_bind_null(s.stmt, 10);
            }
            sqlite3_bind_int64(s.stmt, 11,
                               RecordChecksum(rec, static_cast<int64_t>(r), secondCurve));
            Step(s.stmt);
        }
    }

    fs::path m_target;
    Database m_db;
};

void Validate(const SaveSetData& data, const fs::path& file) {
    auto refuse = [&](const std::string& reason) {
        throw Error(file.string() + ": the save set cannot be written: " + reason);
    };
    if (data.NumAngles < 1 || data.NumAngles > kMaxAngles) {
        refuse("a record holds 1 or 2 angle positions, not " + std::to_string(data.NumAngles));
    }
    for (double f : data.CMCFactors) {
        if (!std::isfinite(f))
            refuse("a CMC factor is not a number");
    }
    if (!std::isfinite(data.WarningLevel))
        refuse("the warning level is not a number");
    for (std::size_t r = 0; r < data.Records.size(); ++r) {
        for (const Curve& c : data.Records[r].Curves) {
            if (!AllFinite(c)) {
                refuse("record " + std::to_string(r) + " (\"" + data.Records[r].Name +
                       "\") has a reflectance that is not a finite number");
            }
        }
    }
}

// ---- reading ----

// The column a check is about, for the message that names it: a fixed text, or a field of a
// numbered record. The record's text is only put together when a check fails, not per row.
class Field {
  public:
    Field(const char* text) : m_name(text) {}
    Field(std::string text) : m_text(std::move(text)) {}
    Field(int64_t record, const char* name) : m_record(record), m_name(name) {}
    std::string Text() const {
        if (m_record >= 0)
            return "record " + std::to_string(m_record) + ": " + m_name;
        return m_name ? std::string(m_name) : m_text;
    }

  private:
    int64_t m_record = -1;
    const char* m_name = nullptr;
    std::string m_text;
};

class Reader {
  public:
    explicit Reader(const fs::path& file) : m_file(file) {}

    SaveSetData Read() {
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

        SaveSetData data;
        ReadHeader(data);
        ReadRecords(data);
        return data;
    }

  private:
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
    std::string Text(sqlite3_stmt* s, int col, const Field& what) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        if (sqlite3_value_type(value) != SQLITE_TEXT)
            Bad(what.Text() + " is not a text");
        const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(value));
        const int n = sqlite3_value_bytes(value);
        return p ? std::string(p, static_cast<std::size_t>(n)) : std::string();
    }
    // Returns the stored bytes, valid until the next step.
    const unsigned char* CurveColumn(sqlite3_stmt* s, int col, const Field& what, Curve& curve) {
        sqlite3_value* value = sqlite3_column_value(s, col);
        if (sqlite3_value_type(value) != SQLITE_BLOB)
            Bad(what.Text() + " is not a curve");
        const auto* p = static_cast<const unsigned char*>(sqlite3_value_blob(value));
        const int n = sqlite3_value_bytes(value);
        if (n != static_cast<int>(kCurveBytes) || !p) {
            Bad(what.Text() + " holds " + std::to_string(n) + " bytes, not 40 numbers");
        }
        DecodeCurve(p, curve);
        if (!AllFinite(curve))
            Bad(what.Text() + " holds a value that is not a finite number");
        return p;
    }

    void ReadHeader(SaveSetData& d) {
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
            d.AngleTypes[k] = Short(s.stmt, i++, "angle type " + std::to_string(k + 1));
        }
        for (int k = 0; k < 3; ++k) {
            d.Illuminants[k] = Short(s.stmt, i++, "illuminant " + std::to_string(k + 1));
        }
        for (int k = 0; k < 4; ++k) {
            d.CMCFactors[k] = Real(s.stmt, i++, "CMC factor " + std::to_string(k + 1));
        }
        d.ColorSpace = Short(s.stmt, i++, "the header's colour space");
        d.Observer = Short(s.stmt, i++, "the header's observer");
        d.WarningLevel = Real(s.stmt, i++, "the header's warning level");
        d.Company = Text(s.stmt, i++, "the header's company");
        d.Status = Text(s.stmt, i++, "the header's status");
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

    void ReadRecords(SaveSetData& d) {
        {
            // The highest ordinal is a cheap upper bound for the record count (a rowid lookup).
            Statement s;
            Prepare(s, "SELECT max(ordinal) FROM records;");
            const int rc = sqlite3_step(s.stmt);
            if (rc != SQLITE_ROW)
                SqlFailure(rc);
            // A damaged file may number its records with gaps; it cannot hold more records
            // than its size has room for curves, so never reserve beyond that.
            const int64_t top = sqlite3_column_int64(s.stmt, 0);
            std::error_code ec;
            const auto bytes = fs::file_size(m_file, ec);
            const int64_t room = ec ? 0 : static_cast<int64_t>(bytes / kCurveBytes);
            if (top >= 0)
                d.Records.reserve(static_cast<std::size_t>(std::min(top, room)) + 1);
        }
        Statement s;
        Prepare(s, std::string("SELECT ") + kRecordColumns + " FROM records ORDER BY ordinal;");
        int rc;
        int64_t expected = 0;
        while ((rc = sqlite3_step(s.stmt)) == SQLITE_ROW) {
            const int64_t ordinal = sqlite3_column_int64(s.stmt, 0);
            if (ordinal != expected) {
                Bad("the records are not numbered in sequence (record " + std::to_string(expected) +
                    " is missing)");
            }
            SaveSetRecord& rec = d.Records.emplace_back();
            rec.Name = Text(s.stmt, 1, {expected, "the name"});
            rec.Name2 = Text(s.stmt, 2, {expected, "the second name"});
            rec.System = Text(s.stmt, 3, {expected, "the system text"});
            rec.Notes = Text(s.stmt, 4, {expected, "the notes"});
            rec.Status = Text(s.stmt, 5, {expected, "the status"});
            rec.Instrument = Short(s.stmt, 6, {expected, "the instrument"});
            rec.Time = static_cast<int32_t>(Integer(s.stmt, 7, {expected, "the time"},
                                                    std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
            const unsigned char* curve0 =
                CurveColumn(s.stmt, 8, {expected, "the curve at angle position 0"}, rec.Curves[0]);
            const unsigned char* curve1 = nullptr;
            const bool secondCurve = sqlite3_column_type(s.stmt, 9) != SQLITE_NULL;
            if (!secondCurve) {
                if (d.NumAngles >= 2)
                    Bad(Field(expected, "the curve at angle position 1 is missing").Text());
            } else {
                curve1 = CurveColumn(s.stmt, 9, {expected, "the curve at angle position 1"},
                                     rec.Curves[1]);
            }
            if (sqlite3_column_int64(s.stmt, 10) != RecordChecksum(rec, ordinal, curve0, curve1)) {
                Bad("the save set is damaged (record " + std::to_string(expected) +
                    " does not match its checksum)");
            }
            ++expected;
        }
        if (rc != SQLITE_DONE)
            SqlFailure(rc);
    }

    fs::path m_file;
    Database m_db;
};

}  // namespace

SaveSetData LoadSaveSet(const fs::path& file) {
    return Reader(file).Read();
}

void StoreSaveSet(const SaveSetData& data, const fs::path& file) {
    Validate(data, file);
    Writer(file).Write(data);
}

// ---- SaveSetLibrary ---------------------------------------------------------------------------

void SaveSetLibrary::Log(const char* operation) {
    if (m_callLog)
        m_callLog->emplace_back(operation);
}

int16_t SaveSetLibrary::Fail(std::string reason) {
    m_ioError = std::move(reason);
    return 0;
}

int16_t SaveSetLibrary::Succeed() {
    return 1;
}

bool SaveSetLibrary::RequireOpen(const char* operation) {
    if (m_open)
        return true;
    Fail(std::string(operation) + ": no save set is open");
    return false;
}

bool SaveSetLibrary::RequireRecord(const char* operation) {
    if (!RequireOpen(operation))
        return false;
    if (m_current >= 0)
        return true;
    Fail(std::string(operation) + ": no record is current (SS_RecallRecord comes first)");
    return false;
}

const SaveSetRecord* SaveSetLibrary::Current() const {
    return m_current >= 0 ? &m_data.Records[static_cast<std::size_t>(m_current)] : nullptr;
}

// ---- reading ----

int16_t SaveSetLibrary::SS_Open(const std::string& fileName) {
    Log("SS_Open");
    m_open = false;
    m_data = SaveSetData{};
    m_current = -1;
    m_fileName.clear();
    if (fileName.empty())
        return Fail("SS_Open: no file name given");
    try {
        m_data = LoadSaveSet(fileName);
    } catch (const std::exception& e) {
        m_data = SaveSetData{};
        return Fail(e.what());
    }
    m_open = true;
    m_fileName = fileName;
    m_ioError.clear();
    return Succeed();
}

int32_t SaveSetLibrary::SS_GetNumRecords() {
    Log("SS_GetNumRecords");
    if (!RequireOpen("SS_GetNumRecords"))
        return 0;
    return static_cast<int32_t>(m_data.Records.size());
}

int16_t SaveSetLibrary::SS_GetNumAngles() {
    Log("SS_GetNumAngles");
    if (!RequireOpen("SS_GetNumAngles"))
        return 0;
    return m_data.NumAngles;
}

int16_t SaveSetLibrary::SS_GetAngleTypes(std::array<int16_t, 3>& angleTypes) {
    Log("SS_GetAngleTypes");
    if (!RequireOpen("SS_GetAngleTypes"))
        return 0;
    angleTypes = m_data.AngleTypes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetStatus(std::string& status) {
    Log("SS_GetStatus");
    status.clear();
    if (!RequireOpen("SS_GetStatus"))
        return 0;
    const SaveSetRecord* rec = Current();
    status = (rec && !rec->Status.empty()) ? rec->Status : m_data.Status;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetCompany(std::string& company) {
    Log("SS_GetCompany");
    company.clear();
    if (!RequireOpen("SS_GetCompany"))
        return 0;
    company = m_data.Company;
    return Succeed();
}

int16_t SaveSetLibrary::SS_RecallRecord(int32_t record) {
    Log("SS_RecallRecord");
    if (!RequireOpen("SS_RecallRecord"))
        return 0;
    const auto count = static_cast<int64_t>(m_data.Records.size());
    if (record < 0 || record >= count) {
        return Fail("SS_RecallRecord: record " + std::to_string(record) +
                    " does not exist (the save set holds " + std::to_string(count) +
                    " records, numbered from 0)");
    }
    m_current = record;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetName(std::string& name) {
    Log("SS_GetName");
    name.clear();
    if (!RequireRecord("SS_GetName"))
        return 0;
    name = Current()->Name;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetName2(std::string& name2) {
    Log("SS_GetName2");
    name2.clear();
    if (!RequireRecord("SS_GetName2"))
        return 0;
    name2 = Current()->Name2;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetSystem(std::string& system) {
    Log("SS_GetSystem");
    system.clear();
    if (!RequireRecord("SS_GetSystem"))
        return 0;
    system = Current()->System;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetNotes(std::string& notes) {
    Log("SS_GetNotes");
    notes.clear();
    if (!RequireRecord("SS_GetNotes"))
        return 0;
    notes = Current()->Notes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetInstrument() {
    Log("SS_GetInstrument");
    if (!RequireOpen("SS_GetInstrument"))
        return 0;
    const SaveSetRecord* rec = Current();
    return rec ? rec->Instrument : m_data.Instrument;
}

int16_t SaveSetLibrary::SS_GetReflectance(int16_t angle, double* values, int16_t count) {
    Log("SS_GetReflectance");
    if (!RequireRecord("SS_GetReflectance"))
        return 0;
    if (angle < 0 || angle >= kMaxAngles) {
        return Fail("SS_GetReflectance: angle position " + std::to_string(angle) +
                    " does not exist (0 or 1)");
    }
    if (!values || count < 1 || count > kPointCount) {
        return Fail("SS_GetReflectance: a curve has 1 to 40 points, not " + std::to_string(count));
    }
    const Curve& curve = Current()->Curves[static_cast<std::size_t>(angle)];
    std::copy_n(curve.begin(), count, values);
    return Succeed();
}

int16_t SaveSetLibrary::SS_Close() {
    Log("SS_Close");
    if (!m_open)
        return 0;
    m_open = false;
    m_data = SaveSetData{};
    m_current = -1;
    m_building = SaveSetRecord{};
    m_fileName.clear();
    return Succeed();
}

// ---- writing ----

int16_t SaveSetLibrary::SS_SetVersion(int16_t version) {
    Log("SS_SetVersion");
    m_nextVersion = version;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetFileType(int16_t fileType) {
    Log("SS_SetFileType");
    m_nextFileType = fileType;
    return Succeed();
}

int16_t SaveSetLibrary::SS_New(int16_t numAngles, const std::string& extension) {
    Log("SS_New");
    if (numAngles < 1 || numAngles > kMaxAngles) {
        return Fail("SS_New: a record holds 1 or 2 angle positions, not " +
                    std::to_string(numAngles));
    }
    m_data = SaveSetData{};
    m_data.Version = m_nextVersion;
    m_data.FileType = m_nextFileType;
    m_data.NumAngles = numAngles;
    m_extension = extension;
    m_building = SaveSetRecord{};
    m_current = -1;
    m_fileName.clear();
    m_open = true;
    m_ioError.clear();
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetAngleTypes(const std::array<int16_t, 3>& angleTypes) {
    Log("SS_SetAngleTypes");
    if (!RequireOpen("SS_SetAngleTypes"))
        return 0;
    m_data.AngleTypes = angleTypes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetIlluminants(const std::array<int16_t, 3>& illuminants) {
    Log("SS_SetIlluminants");
    if (!RequireOpen("SS_SetIlluminants"))
        return 0;
    m_data.Illuminants = illuminants;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetCMCFactors(const std::array<double, 4>& factors) {
    Log("SS_SetCMCFactors");
    if (!RequireOpen("SS_SetCMCFactors"))
        return 0;
    for (double f : factors) {
        if (!std::isfinite(f))
            return Fail("SS_SetCMCFactors: a factor is not a number");
    }
    m_data.CMCFactors = factors;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetColorSpace(int16_t colorSpace) {
    Log("SS_SetColorSpace");
    if (!RequireOpen("SS_SetColorSpace"))
        return 0;
    m_data.ColorSpace = colorSpace;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetObserver(int16_t observer) {
    Log("SS_SetObserver");
    if (!RequireOpen("SS_SetObserver"))
        return 0;
    m_data.Observer = observer;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetWarningLevel(double level) {
    Log("SS_SetWarningLevel");
    if (!RequireOpen("SS_SetWarningLevel"))
        return 0;
    if (!std::isfinite(level))
        return Fail("SS_SetWarningLevel: the level is not a number");
    m_data.WarningLevel = level;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetCompany(const std::string& company) {
    Log("SS_SetCompany");
    if (!RequireOpen("SS_SetCompany"))
        return 0;
    m_data.Company = company;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetStatus(const std::string& status) {
    Log("SS_SetStatus");
    if (!RequireOpen("SS_SetStatus"))
        return 0;
    m_data.Status = status;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetInstrument(int16_t instrument) {
    Log("SS_SetInstrument");
    if (!RequireOpen("SS_SetInstrument"))
        return 0;
    m_data.Instrument = instrument;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetName(const std::string& name) {
    Log("SS_SetName");
    if (!RequireOpen("SS_SetName"))
        return 0;
    m_building.Name = name;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetName2(const std::string& name2) {
    Log("SS_SetName2");
    if (!RequireOpen("SS_SetName2"))
        return 0;
    m_building.Name2 = name2;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetSystem(const std::string& system) {
    Log("SS_SetSystem");
    if (!RequireOpen("SS_SetSystem"))
        return 0;
    m_building.System = system;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetTime(int32_t time) {
    Log("SS_SetTime");
    if (!RequireOpen("SS_SetTime"))
        return 0;
    m_building.Time = time;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetNotes(const std::string& notes) {
    Log("SS_SetNotes");
    if (!RequireOpen("SS_SetNotes"))
        return 0;
    m_building.Notes = notes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetReflectance(int16_t angle, const double* values, int16_t count) {
    Log("SS_SetReflectance");
    if (!RequireOpen("SS_SetReflectance"))
        return 0;
    if (angle < 0 || angle >= kMaxAngles) {
        return Fail("SS_SetReflectance: angle position " + std::to_string(angle) +
                    " does not exist (0 or 1)");
    }
    if (!values || count < 1 || count > kPointCount) {
        return Fail("SS_SetReflectance: a curve has 1 to 40 points, not " + std::to_string(count));
    }
    for (int i = 0; i < count; ++i) {
        if (!std::isfinite(values[i])) {
            return Fail("SS_SetReflectance: point " + std::to_string(i) +
                        " is not a finite number");
        }
    }
    Curve& curve = m_building.Curves[static_cast<std::size_t>(angle)];
    std::copy_n(values, count, curve.begin());
    return Succeed();
}

int16_t SaveSetLibrary::SS_AddRecord() {
    Log("SS_AddRecord");
    if (!RequireOpen("SS_AddRecord"))
        return 0;
    m_building.Instrument = m_data.Instrument;
    m_building.Status = m_data.Status;
    m_data.Records.push_back(std::move(m_building));
    m_building = SaveSetRecord{};
    return Succeed();
}

int16_t SaveSetLibrary::SS_Save(const std::string& fileName) {
    Log("SS_Save");
    if (!RequireOpen("SS_Save"))
        return 0;
    if (fileName.empty())
        return Fail("SS_Save: no file name given");
    try {
        StoreSaveSet(m_data, fileName);
    } catch (const std::exception& e) {
        return Fail(e.what());
    }
    return Succeed();
}

// ---- the rest of the library's fields ----

int16_t SaveSetLibrary::SS_SetTempPath(const std::string& path) {
    Log("SS_SetTempPath");
    m_tempPath = path;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetColorSpace() {
    Log("SS_GetColorSpace");
    return m_open ? m_data.ColorSpace : 0;
}

int16_t SaveSetLibrary::SS_GetObserver() {
    Log("SS_GetObserver");
    return m_open ? m_data.Observer : 0;
}

double SaveSetLibrary::SS_GetWarningLevel() {
    Log("SS_GetWarningLevel");
    return m_open ? m_data.WarningLevel : 0.0;
}

int16_t SaveSetLibrary::SS_SetAddress(const std::string& address) {
    Log("SS_SetAddress");
    m_address = address;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetIlluminants(std::array<int16_t, 3>& illuminants) {
    Log("SS_GetIlluminants");
    if (!RequireOpen("SS_GetIlluminants"))
        return 0;
    illuminants = m_data.Illuminants;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetEllipseType(int16_t ellipseType) {
    Log("SS_SetEllipseType");
    m_ellipseType = ellipseType;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetPFCriteria(int16_t criteria) {
    Log("SS_SetPFCriteria");
    m_pfCriteria = criteria;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetCMCFactors(std::array<double, 4>& factors) {
    Log("SS_GetCMCFactors");
    if (!RequireOpen("SS_GetCMCFactors"))
        return 0;
    factors = m_data.CMCFactors;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetBoxToler(const std::array<double, 3>& tolerances) {
    Log("SS_SetBoxToler");
    m_boxToler = tolerances;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetEllipseToler(const std::array<double, 3>& tolerances) {
    Log("SS_SetEllipseToler");
    m_ellipseToler = tolerances;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetPercentUV(double percent) {
    Log("SS_SetPercentUV");
    m_percentUV = percent;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetTemperature(double temperature) {
    Log("SS_SetTemperature");
    m_temperature = temperature;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetPercentGloss(double percent) {
    Log("SS_SetPercentGloss");
    m_percentGloss = percent;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetYardage(double yardage) {
    Log("SS_SetYardage");
    m_yardage = yardage;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetJobNote(const std::string& note) {
    Log("SS_SetJobNote");
    m_jobNote = note;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetXYZlib(const std::string& library) {
    Log("SS_SetXYZlib");
    m_xyzLib = library;
    return Succeed();
}

int16_t SaveSetLibrary::SS_EnableDebugMessages(bool enable) {
    Log("SS_EnableDebugMessages");
    m_debugMessages = enable;
    return Succeed();
}

}  // namespace tintara
