// Builds the expected payloads of replies, field by field in wire order.
#ifndef DAEMON_TEST_BYTES_H
#define DAEMON_TEST_BYTES_H

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace bytes {

template <typename Number>
std::string of(Number value) {
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

template <typename... Numbers>
std::string u8(Numbers... values) {
    return (of(static_cast<std::uint8_t>(values)) + ...);
}

inline std::string u16(std::uint16_t value) {
    return of(value);
}

template <typename... Numbers>
std::string u32(Numbers... values) {
    return (of(static_cast<std::uint32_t>(values)) + ...);
}

inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// A text in a field of `size` bytes, and a text with its NUL.
inline std::string text(std::string_view value, std::size_t size) {
    std::string field{value};
    field.resize(size);
    return field;
}
inline std::string text(std::string_view value) {
    return text(value, value.size() + 1);
}

} // namespace bytes

// The number at this offset of a payload.
inline std::uint32_t u32_at(const std::string &payload, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, payload.data() + offset, sizeof value);
    return value;
}

#endif
