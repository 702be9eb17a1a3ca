// The workspace: the one shared state that readers fill, the engine transforms and displays read.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workspace/Matrix.h"

namespace tintara {

// Spectral axis of every measured curve: 40 points, 360..750 nm in 10 nm steps.
inline constexpr int kPointCount = 40;
// Fine spectra: 391 points, 360..750 nm in 1 nm steps.
inline constexpr int kFinePointCount = 391;
// Entries of the instrument catalogue.
inline constexpr int kInstrumentCount = 43;
// Values per sample and geometry in SampleDeltas: DL, Da, Db, DE uncorrected, then corrected.
inline constexpr int kDeltasPerGeometry = 8;
// Columns of SampleDeltas: the SCI group (0..7) then the SCE group (8..15).
inline constexpr int kSampleDeltaColumns = 2 * kDeltasPerGeometry;
// The host's 16-bit True, kept where a Boolean travels through an integer (LastResult).
inline constexpr int16_t kTrue = -1;
inline constexpr int16_t kFalse = 0;

// A file's last-write time as the eight words of a Windows SYSTEMTIME, in the structure's order.
struct SystemTime {
    int16_t wYear = 0;
    int16_t wMonth = 0;
    int16_t wDayOfWeek = 0;
    int16_t wDay = 0;
    int16_t wHour = 0;
    int16_t wMinute = 0;
    int16_t wSecond = 0;
    int16_t wMilliseconds = 0;
    bool operator==(const SystemTime&) const = default;
};

// One stored coefficient block of a coefficient file, indexed by spectral point 0..39 (point 0 is
// never written or read). Slopes and intercepts are (point, segment j = 0..5), of which segments
// 1..5 are stored; levels are (point, j = 0..4), of which 1..4 are stored (0 is unused).
struct CoefficientBank {
    std::array<double, kPointCount> Offset{};
    std::array<double, kPointCount> Gain{};
    std::array<double, kPointCount> GainTileReflectance{};
    std::array<std::array<double, 6>, kPointCount> Slopes{};
    std::array<std::array<double, 6>, kPointCount> Intercepts{};
    std::array<std::array<double, 5>, kPointCount> Levels{};
    std::array<std::array<double, 3>, kPointCount> Wavelength{};
    // The block's lines as read from a file (20 or 21 per point), empty for a computed bank. A
    // merge writes them back as they stand, so a stored "-.000" never becomes ".000".
    std::vector<std::string> Lines;
    bool operator==(const CoefficientBank&) const = default;
};

// Header fields of one instrument's tile set, as a coefficient file stores them.
struct InstrumentHeader {
    int16_t InstrumentID = 0;
    std::string Status;
    std::string TileSetSerial;
    std::string Date;
    SystemTime FileTime;
    std::string Company;
    std::string Serial;
    std::string Operator;
    bool operator==(const InstrumentHeader&) const = default;
};

// The shared workspace. One object per application, owned by it and passed by reference; nothing
// in the program keeps it in a global. Field names are the system's own. Per-tile arrays run over
// tiles 0..TileCount inclusive: index TileCount is one extra slot that no record fills (its
// reflectances are zero) and that takes part in every loop over the tiles. Reflectances are in
// percent (0..100) as save sets hold them; colour differences are in the units of ColorSpace.
struct GlobalVariables {
    GlobalVariables();

    // ---- tile-set size and reference tiles ----
    int16_t TileCount = 0;
    int16_t GainTile = 0;
    int16_t OffsetTile = 0;
    int16_t LinearityTileA = 0;
    int16_t LinearityTileB = 0;
    int16_t LinearityTileC = 0;

    // ---- measured and corrected reflectances, (tile, point) ----
    Matrix MasterReflectance;
    Matrix TargetReflectance;
    Matrix TargetSpareReflectance;
    Matrix TargetAfterOffset;
    Matrix TargetAfterGain;
    Matrix TargetAfterLinearity;
    Matrix TargetAfterWavelength;

    // ---- fine spectra, (tile, 0..390) ----
    Matrix MasterFineSpectrum;
    Matrix TargetFineSpectrum;
    Matrix GainFineSpectrum;
    Matrix OffsetFineSpectrum;
    Matrix LinearityFineSpectrum;
    Matrix WavelengthFineSpectrum;
    std::vector<double> FineSpectrum;

    // ---- work buffers of the colour-difference routine ----
    std::array<double, kPointCount> MasterWorkSpectrum{};
    std::array<double, kPointCount> SampleWorkSpectrum{};
    std::vector<double> DEResult;
    std::vector<double> DeltaArrayA;
    std::vector<double> DeltaArrayB;

    // ---- coefficients (fixed size) ----
    std::array<double, kPointCount> OffsetCoefficients{};
    std::array<double, kPointCount> GainCoefficients{};
    std::array<double, kPointCount> LinearityCoefficients{};
    std::array<std::array<double, 3>, kPointCount> WavelengthCoefficients{};
    std::array<std::array<double, 10>, kPointCount> LinearityPoints{};
    std::array<std::array<double, 6>, kPointCount> LinearitySlopes{};
    std::array<std::array<double, 6>, kPointCount> LinearityIntercepts{};
    CoefficientBank Bank1Data;  // SCI
    CoefficientBank Bank2Data;  // SCE

    // ---- colour-difference tables ----
    Matrix RawDE;  // (tile, 0..3): DL, Da, Db, DE
    std::vector<double> OffsetDE;
    std::vector<double> GainDE;
    std::vector<double> LinearityDE;
    std::vector<double> WavelengthDE;
    Matrix FinalDE;  // (tile, 0..3)
    std::vector<std::string> TileNames;

    // ---- header data, one set per instrument ----
    std::string MasterType, TargetType;
    int16_t MasterInstrumentID = 0, TargetInstrumentID = 0;
    std::string MasterStatus = "XXXXXX", TargetStatus = "XXXXXX";
    std::string MasterCompany, TargetCompany;
    std::string MasterSerial, TargetSerial;
    std::string MasterOperator, TargetOperator;
    std::string MasterTileSetSerial, TargetTileSetSerial;
    std::string MasterDate, TargetDate;
    SystemTime MasterFileTime, TargetFileTime;

    // The header as last read from a coefficient file (the "file" copy the writer checks against).
    InstrumentHeader FileMasterHeader, FileTargetHeader;

    // ---- settings and choices ----
    bool GeometryChoice = true;  // true: SCI, false: SCE
    bool SCICoefficientsPresent = false;
    bool SCECoefficientsPresent = false;
    int16_t ColorSpace = 0;  // 0 CIELAB, 2 Hunter Lab
    double SingleSampleTolerance = 0.5;
    double AverageTolerance = 0.5;
    bool UseCentroid = true;

    // ---- files and load flags ----
    std::string MasterSaveSetFile, TargetSaveSetFile, CorrelatedSaveSetFile, CoefficientFile;
    bool MasterTileSetLoaded = false;
    bool TargetTileSetLoaded = false;
    bool MasterSaveSetLoaded = false;
    bool TargetSaveSetLoaded = false;
    bool CorrelatedSaveSetLoaded = false;
    bool CoefficientsLoaded = false;
    bool CoefficientsGenerated = false;

    // ---- further shared state ----
    int16_t LastResult = 0;
    bool MasterTilesSelected = false;
    bool TargetTilesSelected = false;
    bool CoefficientsCalculated = false;
    bool ProfileStatusError = false;
    bool ShowPhaseProgress = false;
    std::optional<std::chrono::system_clock::time_point> SCIProfileDate, SCEProfileDate;
    std::string RecordCompany, RecordTileSetSerial, RecordSerial, RecordOperator;
    // 32-bit (the original was 16-bit) so that fandecks of 100,000 records fit.
    int32_t FandeckRecordCount = 0;
    int16_t FandeckAngleCount = 0;
    // Each fandeck's own identity, kept apart from the tile sets' header fields so that reading
    // a fandeck never changes the tile sets' instrument or status, and a conversion is never
    // mistaken for one of another file. A fandeck's curves are not held: they are read from its
    // file again whenever they are used, so the identity stamps the file as it was read.
    struct FandeckIdentity {
        std::string File;  // the file the fandeck was read from; empty before any read
        int16_t InstrumentID = 0;
        std::string Type;
        std::string Status = "XXXXXX";
        int16_t AngleCount = 0;
        int32_t RecordCount = 0;
        // The save set's company and its last record's texts, as a tile set's header fields.
        std::string Company, Serial, Operator, TileSet;
        // Header fields a correlated copy of the fandeck carries over.
        std::array<int16_t, 3> AngleTypes{}, Illuminants{};
        std::array<double, 4> CMCFactors{1.0, 1.0, 1.0, 1.0};
        // First record whose second angle position holds a value other than zero; -1 when none
        // does (a one-angle fandeck, or a second position left empty).
        int64_t FirstSecondPositionRecord = -1;
        // Size in bytes and last-write time (file-clock ticks) of File when it was read; a file
        // that no longer matches is refused rather than read as if it were the same.
        std::uintmax_t FileSize = 0;
        int64_t FileWriteTime = 0;
    };
    FandeckIdentity MasterFandeck, TargetFandeck;
    // The Target fandeck file that the last conversion was made from.
    std::string ConvertedFandeckFile;
    // The save set in the temporary folder that holds that conversion (the correlated fandeck as
    // it is saved), and its record count; empty and 0 when there is none.
    std::string ConvertedCurvesFile;
    int32_t ConvertedRecordCount = 0;
    bool ConversionDone = false;
    bool CorrelatedFandeckReady = false;
    int32_t SampleCount = 0;
    std::vector<std::string> SampleNames;
    Matrix
        SampleDeltas;  // (sample 0..SampleCount, kSampleDeltaColumns); row SampleCount = averages
    bool PerformanceDataReady = false;
    bool PerformanceShowsSCI = false;
    bool GridShowsSCI = false;
    bool WindowInitialised = false;
    int16_t TwipsPerPixel = 15;
    bool WizardRunning = false;
    bool WizardProceed = false;
    std::string WizardTitle;
    std::array<int16_t, kInstrumentCount> InstrumentIDs{};
    std::array<std::string, kInstrumentCount> InstrumentNames{};

    // Re-dimensions every per-tile array for tiles 0..tileCount (zero-filled), and sets TileCount.
    void DimensionTileArrays(int16_t tileCount);
    // Sets the reference tiles from the tile-set size (16, 28, 32 or 48); returns false, setting
    // nothing, for any other size.
    bool SetReferenceTiles(int16_t tileCount);
    // The workspace reset: DE tables and tile names cleared for tiles 0..TileCount, offsets 0,
    // gains and linearity 1, wavelength weights (0, 1, 0), both status texts "XXXXXX".
    void InitializeVariables();
};

// The fixed reference-tile table by tile-set size.
struct ReferenceTiles {
    int16_t GainTile, OffsetTile, LinearityTileA, LinearityTileB, LinearityTileC;
};
std::optional<ReferenceTiles> ReferenceTilesFor(int tileCount);

}  // namespace tintara
