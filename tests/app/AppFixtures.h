// Small save sets for the command tests: tile sets and fandecks with chosen status and instrument.
#pragma once

#include <cmath>
#include <filesystem>
#include <string>

#include "files/SaveSetData.h"
#include "files/SaveSetLibrary.h"

namespace tintara::test {

// A smooth reflectance curve (percent) for sample k: a sloped base with a bump whose centre and
// height move with k, so that every tile differs in lightness and hue. Tile 0 is the lightest and
// tile 1 the darkest, as the reference-tile table expects.
inline Curve SampleCurve(int k) {
    Curve curve{};
    const double level = k == 0 ? 86.0 : k == 1 ? 2.0 : 8.0 + 2.2 * k;
    const double centre = 400.0 + 11.0 * (k % 31);
    for (int p = 0; p < kPointCount; ++p) {
        const double nm = 360.0 + 10.0 * p;
        const double bump = 0.25 * level * std::exp(-std::pow((nm - centre) / 60.0, 2.0));
        curve[p] = std::min(98.0, level * (0.85 + 0.15 * (nm - 360.0) / 390.0) + bump);
    }
    return curve;
}

// A Target's reading of the same sample: photometric offset and gain, and a mild nonlinearity.
inline Curve TargetReading(const Curve& master) {
    Curve curve{};
    for (int p = 0; p < kPointCount; ++p) {
        const double x = master[p];
        curve[p] = 0.4 + 1.015 * x - 0.0002 * x * x;
    }
    return curve;
}

struct SetOptions {
    int records = 32;
    std::string status = "PBII01";  // 3rd character geometry, 4th UV
    int16_t instrument = 177;       // Macbeth Color i7
    bool target = false;            // readings through TargetReading
    std::string company = "Fixture Lab";
    std::string tileSetSerial = "AV\t2024\r";  // with control characters
    std::string serial = "SN-42";
    std::string operatorName = "Pat";
    int16_t angles = 2;
    std::string namePrefix = "Tile ";
};

inline SaveSetData MakeSet(const SetOptions& options) {
    SaveSetData data;
    data.NumAngles = options.angles;
    data.Company = options.company;
    data.Status = options.status;
    data.Instrument = options.instrument;
    for (int k = 0; k < options.records; ++k) {
        SaveSetRecord record;
        record.Name = options.namePrefix + std::to_string(k + 1);
        record.Name2 = options.tileSetSerial;
        record.System = options.serial;
        record.Notes = options.operatorName;
        record.Status = options.status;
        record.Instrument = options.instrument;
        const Curve master = SampleCurve(k);
        const Curve sci = options.target ? TargetReading(master) : master;
        record.Curves[0] = sci;
        if (options.angles > 1) {
            // Specular excluded reads a little lower.
            for (int p = 0; p < kPointCount; ++p)
                record.Curves[1][p] = sci[p] * 0.97;
        }
        data.Records.push_back(record);
    }
    return data;
}

inline std::filesystem::path WriteSet(const std::filesystem::path& folder, const std::string& name,
                                      const SetOptions& options) {
    const auto file = folder / name;
    StoreSaveSet(MakeSet(options), file);
    return file;
}

}  // namespace tintara::test
