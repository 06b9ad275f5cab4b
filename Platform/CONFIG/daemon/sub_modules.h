// Which sub-module codes there are, and the tables that have a row for each of them.
#ifndef CONFIGD_SUB_MODULES_H
#define CONFIGD_SUB_MODULES_H

#include "netconf_bgp_public.h"

#include <cstddef>
#include <cstdint>

namespace configd {

// The queries. Every other code below BGP_SUB_MAX is that of a setting.
constexpr std::int32_t query_codes[] = {BGP_SUB_RPC_IP_BGP_EVPN, BGP_SUB_RPC_IP_BGP_INFO,
                                        BGP_SUB_RPC_IP_BGP_NEIGHBOR, BGP_SUB_RPC_IP_BGP_SUMMARY,
                                        BGP_SUB_RPC_CLEAR_IP_BGP};

constexpr bool is_sub_module(std::int32_t sub_mod) {
    return sub_mod > 0 && sub_mod < BGP_SUB_MAX;
}

constexpr bool is_query(std::int32_t sub_mod) {
    // NOLINTNEXTLINE(readability-use-anyofallof): std::any_of is no constant expression yet
    for (const std::int32_t query : query_codes) {
        if (query == sub_mod) {
            return true;
        }
    }
    return false;
}

constexpr bool is_setting(std::int32_t sub_mod) {
    return is_sub_module(sub_mod) && !is_query(sub_mod);
}

// The row whose `sub_mod` is this code, or nullptr.
template <typename Row, std::size_t N>
constexpr const Row *row_of(const Row (&table)[N], std::int32_t sub_mod) {
    for (const Row &row : table) {
        if (row.sub_mod == sub_mod) {
            return &row;
        }
    }
    return nullptr;
}

// Whether the table has one row for each code for which `is_wanted` holds, and no other row.
template <typename Row, std::size_t N>
constexpr bool has_one_row_each(const Row (&table)[N], bool (*is_wanted)(std::int32_t sub_mod)) {
    std::size_t wanted = 0;
    for (std::int32_t sub_mod = 1; sub_mod < BGP_SUB_MAX; ++sub_mod) {
        if (!is_wanted(sub_mod)) {
            continue;
        }
        if (row_of(table, sub_mod) == nullptr) {
            return false;
        }
        ++wanted;
    }
    return wanted == N;
}

} // namespace configd

#endif
