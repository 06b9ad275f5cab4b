#include "reply_room.h"

#include "plugin_public.h"

#include <algorithm>
#include <cstring>

extern "C" {
extern char buf[BUF_SIZE_MAX];
}

namespace fuzz {

namespace {

constexpr char fill = 'x';

// The parts of the buffer that the last reply used, at its start and at its end.
std::size_t used_first = BUF_SIZE_MAX;
std::size_t used_last = 0;

} // namespace

netconf_data_struc *put_reply(const ReplyContent &content) {
    // Clears only the used parts: 10 MiB for every input would take too long.
    std::memset(buf, fill, used_first);
    std::memset(buf + BUF_SIZE_MAX - used_last, fill, used_last);

    char *payload = buf + sizeof(netconf_data_struc);
    const std::size_t size = std::min(content.payload.size(), payload_size);
    const std::size_t zeros = std::min(content.zeros, payload_size - size);
    const std::int32_t header[] = {content.module, content.sub_mod, 0, content.data_len};
    std::memcpy(buf, header, sizeof header);
    std::memcpy(payload, content.payload.data(), size);
    std::memset(payload + size, 0, zeros);
    used_first = sizeof header + size + zeros;

    used_last = std::min(content.tail.size(), BUF_SIZE_MAX - used_first);
    std::memcpy(buf + BUF_SIZE_MAX - used_last, content.tail.data(), used_last);
    return reinterpret_cast<netconf_data_struc *>(buf);
}

} // namespace fuzz
