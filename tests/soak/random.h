// Random choices. The same seed gives the same choices.
#ifndef SOAK_RANDOM_H
#define SOAK_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

namespace soak {

class Random {
  public:
    explicit Random(std::uint64_t seed) : generator_{seed} {}

    // A number from 0 to `limit` - 1; `limit` is not 0.
    std::size_t below(std::size_t limit) { return generator_() % limit; }

    // True once in `count` times.
    bool one_in(std::size_t count) { return below(count) == 0; }

    // An element of the container, which is not empty.
    template <typename Container>
    const auto &pick(const Container &container) {
        return *std::next(std::begin(container),
                          static_cast<std::ptrdiff_t>(below(std::size(container))));
    }

  private:
    std::mt19937_64 generator_;
};

} // namespace soak

#endif
