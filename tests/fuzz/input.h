// Reads the bytes of a target's input.
//
// An input means the same on every machine: a number is assembled from its bytes and then stored in
// a record's field in the machine's byte order.
#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

namespace fuzz {

// Numbers that are likely to reveal mistakes with counts and lengths.
inline constexpr std::uint32_t odd_numbers[] = {255,        65001,      65535,     65536,
                                                0x7fffffff, 0x80000000, 0xffffffff};
// A byte below this is the number itself. The next ones select odd numbers, and the last one is
// followed by the number in four bytes, lowest first.
inline constexpr std::uint32_t first_odd_number = 0xf8;

// Reads an input from its start. After its end there are only zeros.
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
    // A byte with the number of bytes that follow, and those of them that exist.
    std::string bytes() {
        const std::uint32_t announced = byte();
        const std::size_t size = std::min<std::size_t>(announced, left());
        std::string taken(next_, next_ + size);
        next_ += size;
        return taken;
    }
    // The same as a C string, which ends at its first NUL.
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
