// A target as libFuzzer calls it; FUZZ_TARGET is its name.
#include "targets.h"

// libFuzzer knows the two by these names.
extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    fuzz::prepare();
    return 0;
}
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::FUZZ_TARGET(data, size);
    return 0;
}
