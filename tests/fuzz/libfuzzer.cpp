// The functions that libFuzzer calls; FUZZ_TARGET is the name of the target.
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
