// A save set held in memory: what the save-set library stores and the interchange paths produce.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "workspace/GlobalVariables.h"

namespace tintara {

// Most angle positions a record holds (SCI at 0, SCE at 1).
inline constexpr int kMaxAngles = 2;

using Curve = std::array<double, kPointCount>;  // reflectance, percent, 360..750 nm by 10 nm

// One record (a tile or a sample). Curves beyond the save set's NumAngles are unused (zero).
struct SaveSetRecord {
    std::string Name;
    std::string Name2;
    std::string System;
    std::string Notes;
    std::string Status;
    int16_t Instrument = 0;
    int32_t Time = 0;
    std::array<Curve, kMaxAngles> Curves{};
    bool operator==(const SaveSetRecord&) const = default;
};

// A whole save set: header fields and records in file order.
struct SaveSetData {
    int16_t Version = 5;
    int16_t FileType = 0;
    int16_t NumAngles = 1;  // 1 or 2
    std::array<int16_t, 3> AngleTypes{};
    std::array<int16_t, 3> Illuminants{};
    std::array<double, 4> CMCFactors{1.0, 1.0, 1.0, 1.0};
    int16_t ColorSpace = 1;
    int16_t Observer = 1;
    double WarningLevel = 0.75;
    std::string Company;
    std::string Status;
    int16_t Instrument = 0;
    std::vector<SaveSetRecord> Records;
    bool operator==(const SaveSetData&) const = default;
};

}  // namespace tintara
