// Builds the expected payloads of replies, field by field in wire order.
#ifndef DAEMON_TEST_BYTES_H
#define DAEMON_TEST_BYTES_H

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

class Bytes {
  public:
    Bytes &u8(std::uint8_t value) { return number(value); }
    Bytes &u16(std::uint16_t value) { return number(value); }
    Bytes &u32(std::uint32_t value) { return number(value); }

    // A text in a field of `size` bytes.
    Bytes &text(std::string_view value, std::size_t size) {
        std::string field{value};
        field.resize(size);
        bytes_ += field;
        return *this;
    }

    // A text with its NUL.
    Bytes &string(std::string_view value) { return text(value, value.size() + 1); }

    Bytes &zeros(std::size_t count) { return text({}, count); }

    // Appends other bytes.
    Bytes &then(const Bytes &other) {
        bytes_ += other.bytes_;
        return *this;
    }

    const std::string &str() const { return bytes_; }

  private:
    template <typename Number>
    Bytes &number(Number value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        bytes_.append(bytes, sizeof bytes);
        return *this;
    }

    std::string bytes_;
};

// The number at this offset of a payload.
inline std::uint32_t u32_at(const std::string &payload, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, payload.data() + offset, sizeof value);
    return value;
}

#endif
