#include "values.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace configd {
namespace {

// The text as a number, if it is entirely one and at most `largest`.
std::optional<std::uint32_t> number_from(std::string_view text, std::uint32_t largest) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_whole = error == std::errc{} && end == text.data() + text.size();
    return is_whole && number <= largest ? std::optional{number} : std::nullopt;
}

bool is_address(int family, const std::string &text) {
    in6_addr address{}; // large enough for both families
    return ::inet_pton(family, text.c_str(), &address) == 1;
}

} // namespace

bool is_router_id(const std::string &text) {
    return is_address(AF_INET, text) && text != "0.0.0.0";
}

bool is_prefix(const std::string &text) {
    const std::size_t slash = text.find('/');
    const std::string address = text.substr(0, slash);
    const bool is_v4 = is_address(AF_INET, address);
    if (!is_v4 && !is_address(AF_INET6, address)) {
        return false;
    }
    return slash == std::string::npos ||
           number_from(std::string_view(text).substr(slash + 1), is_v4 ? 32 : 128).has_value();
}

std::optional<std::uint32_t> as_number(const std::string &text) {
    const std::size_t dot = text.find('.');
    const std::size_t behind = dot == std::string::npos ? 0 : dot + 1;
    const auto high =
        behind == 0 ? 0 : number_from(std::string_view(text).substr(0, dot), UINT16_MAX);
    const auto low =
        number_from(std::string_view(text).substr(behind), behind == 0 ? UINT32_MAX : UINT16_MAX);
    if (!high || !low || (*high == 0 && *low == 0)) {
        return std::nullopt;
    }
    return *high << 16 | *low;
}

} // namespace configd
