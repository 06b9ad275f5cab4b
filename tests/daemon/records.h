// Builds the messages that the plug-in sends.
#ifndef DAEMON_TEST_RECORDS_H
#define DAEMON_TEST_RECORDS_H

#include "message.h"

#include <cstring>
#include <string_view>

// Writes a text without a terminator to the start of a field.
template <std::size_t N>
void put(char (&field)[N], std::string_view text) {
    std::memcpy(field, text.data(), text.size() < N ? text.size() : N);
}

// The message that carries this record.
template <typename Record>
configd::Message message_with(std::int32_t sub_mod, const Record &record) {
    char bytes[sizeof record];
    std::memcpy(bytes, &record, sizeof record);
    return configd::make_message(MODULE_ID_BGP, sub_mod, {bytes, sizeof bytes});
}

inline configd::Message as_message(std::int32_t op, std::uint32_t as) {
    return message_with(BGP_SUB_BGP_AS, bgp_as_val{op, as});
}

inline configd::Message router_id_message(std::int32_t op, std::uint32_t bgp_id,
                                          std::string_view router_id) {
    bgp_globle_config record{};
    record.op = op;
    record.bgp_id = bgp_id;
    put(record.router_id, router_id);
    return message_with(BGP_SUB_ROUTER_ID, record);
}

#endif
