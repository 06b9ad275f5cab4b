// The functions that libFuzzer and the sanitizer call; FUZZ_TARGET is the name of the target.
#include "targets.h"

extern "C" {

// They know these functions by these names.
int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    fuzz::prepare();
    return 0;
}
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::FUZZ_TARGET(data, size);
    return 0;
}

// An input makes hundreds of short-lived allocations. To store the stack of each, and to touch new
// memory for each, takes longer than everything else. fuzz_replay shows the stacks of a finding.
const char *__asan_default_options() {
    return "malloc_context_size=1:quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
}

} // extern "C"
