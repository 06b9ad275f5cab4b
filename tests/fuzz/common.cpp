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
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::perror("/dev/null");
        std::exit(1);
    }
}

} // namespace fuzz
