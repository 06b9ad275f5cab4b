// Payloads of the daemon's replies with any number of entries and typical
// contents.
#ifndef BENCH_REPLIES_H
#define BENCH_REPLIES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct ReplyKind {
    const char *name;  // of the RPC
    const char *entry; // the name of its entries
    std::int32_t sub_mod;
    std::string (*payload)(std::size_t entries);
    std::size_t most_entries; // that fit into a reply of 10 MiB
};

// The four RPCs that have output.
const std::vector<ReplyKind> &reply_kinds();

} // namespace bench

#endif
