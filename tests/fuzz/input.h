// What a target makes of its input's bytes.
//
// Inputs are the same on every machine: a number is put together from its bytes
// and only then becomes a field of a record, in the order that the machine has.
#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

namespace fuzz {

// Numbers that counts and lengths are likely to be mistaken about.
inline constexpr std::uint32_t odd_numbers[] = {255,        65001,      65535,     65536,
                                                0x7fffffff, 0x80000000, 0xffffffff};
// A byte below this is the number itself, the next ones stand for the odd
// numbers, and the last one says that four bytes follow, the lowest first.
inline constexpr std::uint32_t first_odd_number = 0xf8;

// Reads an input from its start. Behind its end it is all zeros.
class Input {
  public:
    Input(const std::uint8_t *data, std::size_t size) : next_(data), end_(data + size) {}

    bool empty() const { return next_ == end_; }

    std::uint32_t byte() { return empty() ? 0 : *next_++; }
    std::uint32_t half() {
        const std::uint32_t low = byte();
        return low | byte() << 8;
    }
    std::uint32_t number() {
        const std::uint32_t first = byte();
        if (first < first_odd_number) {
            return first;
        }
        if (first < 0xff) {
            return odd_numbers[first - first_odd_number];
        }
        const std::uint32_t low = half();
        return low | half() << 16;
    }
    // A byte that says how many follow, and those that are there of them.
    std::string bytes() {
        const std::uint32_t announced = byte();
        const std::size_t size = std::min<std::size_t>(announced, left());
        std::string taken(next_, next_ + size);
        next_ += size;
        return taken;
    }
    // The same as a text of C: it ends at its first NUL.
    std::string text() {
        const std::string taken = bytes();
        return taken.substr(0, taken.find('\0'));
    }
    template <typename Item, std::size_t count>
    const Item &pick(const Item (&items)[count]) {
        return items[byte() % count];
    }

  private:
    std::size_t left() const { return static_cast<std::size_t>(end_ - next_); }

    const std::uint8_t *next_;
    const std::uint8_t *end_;
};

} // namespace fuzz

#endif
