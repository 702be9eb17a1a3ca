// libFuzzer target: arbitrary bytes through ReadSaveSet.
#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tintara::fuzz::ReadSaveSet(data, size);
    return 0;
}
