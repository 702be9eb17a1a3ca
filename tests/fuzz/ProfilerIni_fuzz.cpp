// libFuzzer target: arbitrary bytes through ReadProfilerIni.
#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tintara::fuzz::ReadProfilerIni(data, size);
    return 0;
}
