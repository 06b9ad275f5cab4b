#include "targets.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require(bool holds, const char *why) {
    if (!holds) {
        std::fprintf(stderr, "VIOLATED: %s\n", why);
        std::abort();
    }
}

void prepare() {
    GTEST_FLAG_SET(break_on_failure, true);
    // The plug-in flushes each line that it traces, so even /dev/null would take a system call
    // each.
    cookie_io_functions_t discard{};
    discard.write = [](void * /*cookie*/, const char * /*bytes*/, std::size_t size) {
        return static_cast<ssize_t>(size);
    };
    stdout = fopencookie(nullptr, "w", discard);
    require(stdout != nullptr, "the output can be discarded");
}

} // namespace fuzz
