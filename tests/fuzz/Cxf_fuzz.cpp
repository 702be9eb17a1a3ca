// libFuzzer target: arbitrary bytes through ImportCxf.
#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tintara::fuzz::ImportCxfText(data, size);
    return 0;
}
