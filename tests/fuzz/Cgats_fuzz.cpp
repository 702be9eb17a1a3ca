// libFuzzer target: arbitrary bytes through ImportCgatsText.
#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tintara::fuzz::ImportCgatsText(data, size);
    return 0;
}
