// libFuzzer target: arbitrary bytes through ReadCoefficientFile.
#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tintara::fuzz::ReadCoefficientFile(data, size);
    return 0;
}
