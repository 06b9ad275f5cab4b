// How many cases a test tries that chance makes.
#ifndef RANDOM_ROUNDS_H
#define RANDOM_ROUNDS_H

#include <cstdlib>

namespace support {

// All of them; a tenth where the environment has FEW_RANDOM_ROUNDS, because
// something slows the tests down too much, as valgrind does.
inline int random_rounds(int all) {
    return std::getenv("FEW_RANDOM_ROUNDS") == nullptr ? all : all / 10;
}

} // namespace support

#endif
