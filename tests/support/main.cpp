// The main function of every test program: enters new namespaces, then runs the tests.
#include "namespaces.h"

#include <gtest/gtest.h>

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    // Listing the tests needs no namespaces.
    if (!testing::GTEST_FLAG(list_tests)) {
        support::enter_namespaces();
    }
    return RUN_ALL_TESTS();
}
