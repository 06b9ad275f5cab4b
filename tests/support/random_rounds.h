// The number of random cases of a test.
#ifndef RANDOM_ROUNDS_H
#define RANDOM_ROUNDS_H

#include <cstdlib>

namespace support {

// `rounds`, or a tenth if FEW_RANDOM_ROUNDS is in the environment, because
// something such as valgrind makes the tests slow.
inline int random_rounds(int all) {
    return std::getenv("FEW_RANDOM_ROUNDS") == nullptr ? all : all / 10;
}

} // namespace support

#endif
