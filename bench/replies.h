// The replies that the benchmarks parse.
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
    std::string (*payload)(std::uint32_t entries);

    // How many fit into a reply of 10 MiB.
    std::uint32_t most_entries() const;
};

// The four RPCs that have output.
const std::vector<ReplyKind> &reply_kinds();

} // namespace bench

#endif
