// Replies where the plug-in reads them: in the transport's buffer.
#ifndef FUZZ_REPLY_ROOM_H
#define FUZZ_REPLY_ROOM_H

#include "netconf_public.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// A header and the bytes after it.
struct ReplyContent {
    std::int32_t module, sub_mod, data_len;
    std::string payload;   // from the payload's start
    std::string tail = {}; // up to the buffer's very end
    std::size_t zeros = 0; // after the payload
};

// Writes a reply into the transport's buffer and returns it. The rest of the buffer
// holds letters, as with a reply that fills it: code that reads past the reply
// soon finds invalid counts, and texts that do not end before the tail.
netconf_data_struc *put_reply(const ReplyContent &content);

// The readable bytes of the payload.
inline constexpr std::size_t payload_size = BUF_SIZE_MAX - sizeof(netconf_data_struc);

} // namespace fuzz

#endif
