// CIE tabulated data compiled into the program (generated from data/cie at build time).
#pragma once

namespace tintara::cie {

// CIE 1964 10-degree colour-matching functions, 5 nm steps, 360-830 nm (CIE 15, table T.5).
struct CmfRow {
    double nm, x, y, z;
};
// CIE standard illuminant D65 relative spectral power / 100, 5 nm steps, 300-830 nm (CIE 15, T.1).
struct SpdRow {
    double nm, power;
};
// CIE 13.3 test colour samples, reflectance factor 0..1, 5 nm steps, 360-830 nm (95 values).
struct TestSampleRow {
    const char* name;
    double reflectance[95];
};

extern const CmfRow kCmf1964[];
extern const int kCmf1964Count;
extern const SpdRow kD65[];
extern const int kD65Count;
extern const TestSampleRow kTestColourSamples[];
extern const int kTestColourSampleCount;

}  // namespace tintara::cie
