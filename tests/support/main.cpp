// Every test program: its own network first, then the tests.
#include "private_network.h"

#include <gtest/gtest.h>

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    // Listing the tests needs no network.
    if (!testing::GTEST_FLAG(list_tests)) {
        support::enter_private_network();
    }
    return RUN_ALL_TESTS();
}
