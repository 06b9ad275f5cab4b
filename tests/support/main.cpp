// Every test program: its own network, processes and files first, then the tests.
#include "namespaces.h"

#include <gtest/gtest.h>

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    // Listing the tests needs none.
    if (!testing::GTEST_FLAG(list_tests)) {
        support::enter_namespaces();
    }
    return RUN_ALL_TESTS();
}
