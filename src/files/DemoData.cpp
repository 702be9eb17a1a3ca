// Demo tile sets and fandecks: smooth, plausible reflectance curves and a model of how a second
// instrument reads them differently.
#include "files/DemoData.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <system_error>

#include "engine/CieTables.h"
#include "files/SaveSetLibrary.h"
#include "workspace/Error.h"

namespace tintara {

// ---- random numbers
// ------------------------------------------------------------------------------

uint64_t Rng::Next() {
    uint64_t z = (m_state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

double Rng::Uniform() {
    return static_cast<double>(Next() >> 11) * 0x1.0p-53;
}

double Rng::Normal() {
    double sum = 0.0;
    for (int i = 0; i < 12; ++i) {
        sum += Uniform();
    }
    return sum - 6.0;
}

// ---- the instrument-difference model
// -------------------------------------------------------------

namespace {

constexpr double kStepNm = 10.0;

// The curve's value at a position given in points (0 = 360 nm), linear between points, the end
// values beyond the ends.
double At(const Curve& c, double position) {
    if (position <= 0.0)
        return c.front();
    if (position >= kPointCount - 1)
        return c.back();
    const int i = static_cast<int>(position);
    const double t = position - i;
    return t == 0.0 ? c[i] : c[i] + t * (c[i + 1] - c[i]);
}

}  // namespace

Curve ApplyInstrumentDifference(const Curve& master, const InstrumentDifferenceModel& m, Rng& rng) {
    Curve shifted;
    for (int i = 0; i < kPointCount; ++i) {
        shifted[i] =
            m.WavelengthShiftNm == 0.0 ? master[i] : At(master, i - m.WavelengthShiftNm / kStepNm);
    }
    Curve out;
    for (int i = 0; i < kPointCount; ++i) {
        double r = shifted[i];
        if (m.Bandwidth != 0.0) {
            const double left = shifted[std::max(i - 1, 0)];
            const double right = shifted[std::min(i + 1, kPointCount - 1)];
            r = (1.0 - 2.0 * m.Bandwidth) * r + m.Bandwidth * (left + right);
        }
        r += m.Nonlinearity * r * (100.0 - r) / 100.0;
        r = m.Gain * r + m.Offset;
        const double noise = rng.Normal();
        out[i] = r + m.NoiseSd * noise;
    }
    return out;
}

// ---- spectra
// -------------------------------------------------------------------------------------

namespace {

double Nm(int i) {
    return 360.0 + kStepNm * i;
}

// A smooth step from 0 to 1 around x = 0; a square root is its only non-trivial operation, and
// IEEE 754 rounds that exactly, so the curves do not depend on the maths library.
double Step(double x) {
    return 0.5 + 0.5 * x / std::sqrt(1.0 + x * x);
}
// A smooth bell of height 1 at x = 0.
double Bell(double x) {
    const double d = 1.0 + x * x;
    return 1.0 / (d * d);
}

enum class Shape { Flat, Rise, Fall, Band, Notch, Cie };

// A reflectance curve in percent: between `low` and `high`, shaped around `centre` (nm) over
// `width` (nm); Flat tilts linearly from low at 360 nm to high at 750 nm; Cie is low + high x the
// CIE test colour sample `cie` (0-based).
struct Recipe {
    const char* name;
    Shape shape;
    double low, high, centre, width;
    int cie;
};

double CieSample(int index, double nm) {
    // 5 nm table from 360 nm: our 10 nm points are every second entry.
    const int k = static_cast<int>((nm - 360.0) / 5.0 + 0.5);
    return cie::kTestColourSamples[index].reflectance[k];
}

Curve MakeCurve(const Recipe& r) {
    Curve c;
    for (int i = 0; i < kPointCount; ++i) {
        const double nm = Nm(i);
        const double x = r.width > 0 ? (nm - r.centre) / r.width : 0.0;
        double v = 0.0;
        switch (r.shape) {
            case Shape::Flat:
                v = r.low + (r.high - r.low) * (nm - 360.0) / 390.0;
                break;
            case Shape::Rise:
                v = r.low + (r.high - r.low) * Step(x);
                break;
            case Shape::Fall:
                v = r.low + (r.high - r.low) * (1.0 - Step(x));
                break;
            case Shape::Band:
                v = r.low + (r.high - r.low) * Bell(x);
                break;
            case Shape::Notch:
                v = r.high - (r.high - r.low) * Bell(x);
                break;
            case Shape::Cie:
                v = r.low + r.high * CieSample(r.cie, nm);
                break;
        }
        c[i] = std::clamp(v, 0.3, 95.0);
    }
    return c;
}

// The 32 tiles. Tile 0 gain (white), 1 offset (black), 2 / 4 / 8 linearity A / B / C (greys).
const Recipe kTiles[32] = {
    {"White", Shape::Rise, 80.0, 88.2, 395, 22, 0},
    {"Black", Shape::Flat, 0.95, 1.25, 0, 0, 0},
    {"Dark Grey", Shape::Flat, 9.6, 10.4, 0, 0, 0},
    {"Deep Pink", Shape::Notch, 12, 70, 540, 45, 0},
    {"Mid Grey", Shape::Flat, 29.2, 30.8, 0, 0, 0},
    {"Red", Shape::Rise, 4.5, 78, 600, 14, 0},
    {"Orange", Shape::Rise, 5, 82, 575, 14, 0},
    {"Bright Yellow", Shape::Rise, 6, 84, 505, 16, 0},
    {"Pale Grey", Shape::Flat, 59.0, 61.5, 0, 0, 0},
    {"Green", Shape::Band, 5, 48, 525, 45, 0},
    {"Diff Green", Shape::Band, 15, 55, 545, 50, 0},
    {"Cyan", Shape::Fall, 6, 70, 540, 22, 0},
    {"Deep Blue", Shape::Band, 3.5, 42, 455, 45, 0},
    {"Violet", Shape::Notch, 6, 45, 560, 60, 0},
    {"Magenta", Shape::Notch, 5, 75, 545, 45, 0},
    {"Brown", Shape::Rise, 4, 30, 600, 30, 0},
    {"Olive", Shape::Band, 5, 25, 570, 60, 0},
    {"Teal", Shape::Band, 6, 35, 500, 40, 0},
    {"Sky Blue", Shape::Fall, 25, 72, 560, 40, 0},
    {"Lemon", Shape::Rise, 15, 88, 480, 15, 0},
    {"Salmon", Shape::Rise, 30, 85, 580, 25, 0},
    {"Lilac", Shape::Notch, 45, 75, 550, 50, 0},
    {"Mint", Shape::Band, 50, 80, 520, 60, 0},
    {"Peach", Shape::Rise, 45, 86, 560, 35, 0},
    {"Rose", Shape::Notch, 35, 82, 530, 45, 0},
    {"Navy", Shape::Band, 2.5, 14, 450, 40, 0},
    {"Maroon", Shape::Rise, 3, 28, 620, 20, 0},
    {"Forest", Shape::Band, 3.5, 18, 530, 40, 0},
    {"Skin", Shape::Cie, 1.0, 95.0, 0, 0, 12},          // CIE TCS13
    {"Leaf", Shape::Cie, 1.0, 95.0, 0, 0, 13},          // CIE TCS14
    {"Strong Yellow", Shape::Cie, 1.0, 95.0, 0, 0, 9},  // CIE TCS10
    {"Strong Green", Shape::Cie, 1.0, 95.0, 0, 0, 10},  // CIE TCS11
};

// A fandeck colour drawn at random: one of the shapes with random parameters, or a CIE test
// colour sample tinted with white.
Curve RandomColour(Rng& rng) {
    Recipe r{"", Shape::Flat, 0, 0, 0, 0, 0};
    const int kind = static_cast<int>(rng.Next() % 6);
    r.low = rng.Uniform(1.5, 45.0);
    r.high = rng.Uniform(r.low + 8.0, std::min(92.0, r.low + 80.0));
    r.centre = rng.Uniform(430.0, 640.0);
    // Pigments absorb over broad bands: edges rise over some 40-110 nm, bands are 50-120 nm wide.
    const bool band = kind == 2 || kind == 3;
    r.width = band ? rng.Uniform(40.0, 90.0) : rng.Uniform(15.0, 40.0);
    constexpr Shape kShaped[4] = {Shape::Rise, Shape::Fall, Shape::Band, Shape::Notch};
    if (kind < 4) {
        r.shape = kShaped[kind];
    } else if (kind == 4) {
        r.shape = Shape::Flat;
        r.low = rng.Uniform(2.0, 85.0);
        r.high = r.low * rng.Uniform(0.97, 1.04);
    } else {
        const int sample = static_cast<int>(rng.Next() % 14);
        const double strength = rng.Uniform(60.0, 110.0);
        const double tint = rng.Uniform(0.0, 0.5);
        Curve c;
        for (int i = 0; i < kPointCount; ++i) {
            const double v = (1.0 - tint) * strength * CieSample(sample, Nm(i)) + tint * 85.0;
            c[i] = std::clamp(v, 0.3, 95.0);
        }
        return c;
    }
    return MakeCurve(r);
}

// SCE lacks the specular component that SCI holds, never more than half the SCI reading.
Curve SpecularExcluded(const Curve& sci, double gloss) {
    Curve sce;
    for (int i = 0; i < kPointCount; ++i) {
        sce[i] = sci[i] - std::min(gloss, 0.5 * sci[i]);
    }
    return sce;
}

SaveSetData EmptySet(const DemoParameters& p, int16_t instrument) {
    SaveSetData s;
    s.NumAngles = 2;
    s.Company = p.Company;
    s.Status = p.Status;
    s.Instrument = instrument;
    return s;
}

SaveSetRecord MakeRecord(const std::string& name, const std::string& name2,
                         const std::string& system, const DemoParameters& p, int16_t instrument,
                         const Curve& sci, const Curve& sce) {
    SaveSetRecord rec;
    rec.Name = name;
    rec.Name2 = name2;
    rec.System = system;
    rec.Notes = p.Operator;
    rec.Status = p.Status;
    rec.Instrument = instrument;
    rec.Curves[0] = sci;
    rec.Curves[1] = sce;
    return rec;
}

}  // namespace

DemoSaveSets MakeDemoData(const DemoParameters& p) {
    DemoSaveSets d{EmptySet(p, p.MasterInstrument), EmptySet(p, p.TargetInstrument),
                   EmptySet(p, p.MasterInstrument), EmptySet(p, p.TargetInstrument)};
    // Independent streams, so that changing the fandeck size leaves the tiles alone.
    Rng tileNoise(p.Seed ^ 0x54494C4553ULL);
    Rng fandeckColours(p.Seed ^ 0x46414E44ULL);
    Rng fandeckNoise(p.Seed ^ 0x4E4F495345ULL);

    for (const Recipe& r : kTiles) {
        const Curve sci = MakeCurve(r);
        const Curve sce = SpecularExcluded(sci, p.TileGloss);
        d.MasterTiles.Records.push_back(
            MakeRecord(r.name, p.TileSetSerial, p.MasterSerial, p, p.MasterInstrument, sci, sce));
        const Curve tSci = ApplyInstrumentDifference(sci, p.Target, tileNoise);
        const Curve tSce = ApplyInstrumentDifference(sce, p.Target, tileNoise);
        d.TargetTiles.Records.push_back(
            MakeRecord(r.name, p.TileSetSerial, p.TargetSerial, p, p.TargetInstrument, tSci, tSce));
    }

    d.MasterFandeck.Records.reserve(p.FandeckSamples);
    d.TargetFandeck.Records.reserve(p.FandeckSamples);
    for (int k = 0; k < p.FandeckSamples; ++k) {
        char name[32];
        std::snprintf(name, sizeof name, "FD %04d", k + 1);
        const Curve sci = RandomColour(fandeckColours);
        const double gloss = fandeckColours.Uniform(p.FandeckGlossLow, p.FandeckGlossHigh);
        const Curve sce = SpecularExcluded(sci, gloss);
        d.MasterFandeck.Records.push_back(
            MakeRecord(name, p.FandeckName, p.MasterSerial, p, p.MasterInstrument, sci, sce));
        const Curve tSci = ApplyInstrumentDifference(sci, p.Target, fandeckNoise);
        const Curve tSce = ApplyInstrumentDifference(sce, p.Target, fandeckNoise);
        d.TargetFandeck.Records.push_back(
            MakeRecord(name, p.FandeckName, p.TargetSerial, p, p.TargetInstrument, tSci, tSce));
    }
    return d;
}

std::vector<std::filesystem::path> WriteDemoData(const std::filesystem::path& dir,
                                                 const DemoParameters& parameters) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec)
        throw IoError(dir.string() + ": the folder could not be made (" + ec.message() + ")");
    const DemoSaveSets d = MakeDemoData(parameters);
    const std::vector<std::filesystem::path> files = {
        dir / "master-tiles.wsv", dir / "target-tiles.wsv", dir / "master-fandeck.wsv",
        dir / "target-fandeck.wsv"};
    StoreSaveSet(d.MasterTiles, files[0]);
    StoreSaveSet(d.TargetTiles, files[1]);
    StoreSaveSet(d.MasterFandeck, files[2]);
    StoreSaveSet(d.TargetFandeck, files[3]);
    return files;
}

}  // namespace tintara
