#include "fuzz/FuzzEntries.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "engine/Tolerances.h"
#include "files/CCFReadWrite.h"
#include "files/Cgats.h"
#include "files/Cxf.h"
#include "files/SaveSetLibrary.h"
#include "workspace/Error.h"

namespace tintara::fuzz {

namespace {

std::istringstream Stream(const uint8_t* data, std::size_t size) {
    return std::istringstream(std::string(reinterpret_cast<const char*>(data), size));
}

// A refusal must say something and must not carry a megabyte of the input.
void CheckMessage(const Error& e) {
    const std::string message = e.what();
    if (message.empty() || message.size() > 4096)
        throw std::logic_error("a refusal message is empty or too long");
}

// Runs a reader; a refusal is fine as long as its message is.
template <typename Read>
void Refusable(Read read) {
    try {
        read();
    } catch (const Error& e) {
        CheckMessage(e);
    }
}

// The save-set reader works on files (SQLite); one private file per process, on a memory file
// system where there is one.
const std::filesystem::path& ScratchFile() {
    static const std::filesystem::path file = [] {
        const std::filesystem::path shm = "/dev/shm";
        std::error_code ec;
        const auto folder =
            std::filesystem::is_directory(shm, ec) ? shm : std::filesystem::temp_directory_path();
        return folder / ("tintara-fuzz-" + std::to_string(::getpid()) + ".wsv");
    }();
    static const bool removedAtExit = [] {
        std::atexit([] { std::remove(ScratchFile().c_str()); });
        return true;
    }();
    (void)removedAtExit;
    return file;
}

}  // namespace

void ReadSaveSet(const uint8_t* data, std::size_t size) {
    {
        std::ofstream out(ScratchFile(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    Refusable([] {
        const SaveSetData set = LoadSaveSet(ScratchFile());
        for (const auto& record : set.Records) {
            for (const auto& curve : record.Curves) {
                for (double v : curve) {
                    if (!std::isfinite(v))
                        throw std::logic_error("a save set read back a non-finite value");
                }
            }
        }
    });
    // Whatever SQL statements read, the pages read the same: they hand anything they do not
    // understand to the statements. (SQLite may refuse damage the pages step around.)
    std::optional<SaveSetData> statements;
    try {
        statements = LoadSaveSet(ScratchFile(), RecordPath::kStatements);
    } catch (const Error&) {
    }
    if (statements) {
        std::optional<SaveSetData> pages;
        try {
            pages = LoadSaveSet(ScratchFile());
        } catch (const Error&) {
        }
        if (!pages || !(*pages == *statements))
            throw std::logic_error("the pages and the statements read a save set differently");
    }
}

void ReadCoefficientFile(const uint8_t* data, std::size_t size) {
    auto in = Stream(data, size);
    Refusable([&] { ParseCoefficientFile(in, "fuzz.ccf"); });
}

void ReadProfilerIni(const uint8_t* data, std::size_t size) {
    auto in = Stream(data, size);
    const ToleranceReadResult result = ReadTolerances(in, "Profiler.ini");
    if (!ToleranceInRange(result.Settings.SingleSampleTolerance) ||
        !ToleranceInRange(result.Settings.AverageTolerance) ||
        (result.Settings.ColorSpace != 0 && result.Settings.ColorSpace != 2)) {
        throw std::logic_error("the tolerance reader let an out-of-range setting through");
    }
    if (result.Detail.size() > 4096)
        throw std::logic_error("the tolerance reader's detail is too long");
}

void ImportCgatsText(const uint8_t* data, std::size_t size) {
    auto in = Stream(data, size);
    Refusable([&] { ImportCgats(in, "fuzz.cgats"); });
}

void ImportCxfText(const uint8_t* data, std::size_t size) {
    auto in = Stream(data, size);
    Refusable([&] { ImportCxf(in, "fuzz.cxf"); });
}

}  // namespace tintara::fuzz
