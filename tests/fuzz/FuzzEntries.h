// The readers the fuzz targets drive, shared with the regression test that replays their findings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tintara::fuzz {

// Each hands `size` bytes to one reader as a whole file. A reader may refuse the input with a
// tintara::Error; anything else (a crash, another exception, a sanitizer report) is a finding.
void ReadSaveSet(const uint8_t* data, std::size_t size);
void ReadCoefficientFile(const uint8_t* data, std::size_t size);
void ReadProfilerIni(const uint8_t* data, std::size_t size);
void ImportCgatsText(const uint8_t* data, std::size_t size);
void ImportCxfText(const uint8_t* data, std::size_t size);

}  // namespace tintara::fuzz
