// Demo data made by the program itself: a tile set and a fandeck read on a Master and a Target.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "files/SaveSetData.h"

namespace tintara {

// splitmix64 (Steele, Lea and Flood, 2014): one 64-bit word of state and nothing but integer
// arithmetic, so a seed gives the same numbers with every compiler and standard library. The
// standard distributions are avoided on purpose: their output is not specified.
class Rng {
  public:
    explicit Rng(uint64_t seed) : m_state(seed) {}
    uint64_t Next();
    // Uniform in [0, 1), 53 random bits.
    double Uniform();
    // Uniform in [low, high).
    double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
    // Approximately standard normal: the sum of 12 uniforms minus 6 (Irwin-Hall; mean 0, variance
    // 1, tails cut at +-6). Only additions, so it is bit-identical everywhere.
    double Normal();

  private:
    uint64_t m_state;
};

// Systematic differences of a Target instrument from the Master. ApplyInstrumentDifference turns a
// Master reading r (percent, 360..750 nm by 10 nm) into the Target's reading, in this order:
//  1. wavelength scale: the curve moves WavelengthShiftNm towards longer wavelengths,
//     r1(l) = r(l - WavelengthShiftNm), interpolated linearly between the 10 nm points, the end
//     values repeated beyond the ends;
//  2. band pass: a wider band, as a 3-point smoothing r2[i] = (1 - 2b) r1[i] + b (r1[i-1] +
//     r1[i+1]) with b = Bandwidth (0 .. 1/3) and the end points repeated;
//  3. photometric nonlinearity: r3 = r2 + Nonlinearity * r2 * (100 - r2) / 100, which leaves 0 and
//     100 % alone and is largest at 50 %;
//  4. gain: r4 = Gain * r3;
//  5. offset: r5 = r4 + Offset (percent);
//  6. noise: r5 + NoiseSd * Normal() at each point (40 draws from the caller's Rng, always made, so
//     a model with NoiseSd 0 leaves the stream where a noisy one would).
// With every parameter at its default the result is the Master curve itself. No clipping.
struct InstrumentDifferenceModel {
    double Offset = 0.0;             // percent
    double Gain = 1.0;               // factor
    double WavelengthShiftNm = 0.0;  // nm, positive = towards longer wavelengths
    double Bandwidth = 0.0;          // smoothing weight of each neighbour
    double Nonlinearity = 0.0;       // k of r + k r (100 - r) / 100
    double NoiseSd = 0.0;            // percent, standard deviation per point
};

Curve ApplyInstrumentDifference(const Curve& master, const InstrumentDifferenceModel& model,
                                Rng& rng);

// Every setting of the demo data, in one place.
struct DemoParameters {
    uint64_t Seed = 0x7161'7261'2024'0001ULL;
    int FandeckSamples = 1200;
    // The Target's differences from the Master, for both geometries.
    InstrumentDifferenceModel Target{0.30, 0.985, 1.2, 0.06, 0.02, 0.015};
    // Specular component (percent) that SCI holds and SCE lacks: glossy ceramic tiles, and the
    // range drawn for each fandeck sample. SCE = SCI - min(gloss, SCI / 2), so it stays >= 0.
    double TileGloss = 4.0;
    double FandeckGlossLow = 0.8, FandeckGlossHigh = 3.0;
    // Header texts. Status: "R" reflectance, "C" calibrated, "B" both geometries (SCI at angle
    // position 0, SCE at 1), "I" UV included, then two unused places.
    int16_t MasterInstrument = 186;  // X-Rite Ci7800
    int16_t TargetInstrument = 179;  // X-Rite Ci64uv
    std::string Status = "RCBIXX";
    std::string Company = "Tintara Demo Laboratory";
    std::string MasterSerial = "CI7800-100234";
    std::string TargetSerial = "CI64UV-200871";
    std::string TileSetSerial = "CTS32-0457";
    std::string FandeckName = "Demo Fandeck 2024";
    std::string Operator = "Demo Operator";
};

// The four save sets of the demo: a 32-tile set and a fandeck, each read on the Master and on the
// Target, two angle positions (SCI at 0, SCE at 1). Tile 0 is a white near 88 % (the gain tile of
// a 32-tile set), tile 1 a black near 1 % (the offset tile), tiles 2, 4 and 8 greys near 10, 30
// and 60 % (the linearity tiles, so the five linearity points rise in lightness), the rest
// saturated colours and pastels. The same parameters give the same bytes on every run.
struct DemoSaveSets {
    SaveSetData MasterTiles, TargetTiles, MasterFandeck, TargetFandeck;
};
DemoSaveSets MakeDemoData(const DemoParameters& parameters = {});

// Writes master-tiles.wsv, target-tiles.wsv, master-fandeck.wsv and target-fandeck.wsv into dir
// (created when missing) and returns their paths in that order. Throws IoError.
std::vector<std::filesystem::path> WriteDemoData(const std::filesystem::path& dir,
                                                 const DemoParameters& parameters = {});

}  // namespace tintara
