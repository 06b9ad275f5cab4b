#include "replies.h"

#include "sample_replies.h"

namespace bench {

// Every entry takes the same number of bytes.
std::uint32_t ReplyKind::most_entries() const {
    const std::size_t head = payload(0).size();
    const std::size_t room = BUF_SIZE_MAX - sizeof(netconf_data_struc) - head;
    return static_cast<std::uint32_t>(room / (payload(1).size() - head));
}

const std::vector<ReplyKind> &reply_kinds() {
    static const std::vector<ReplyKind> kinds = {
        {"ip-bgp-summary", "neighbors", BGP_SUB_RPC_IP_BGP_SUMMARY, support::summary_payload},
        {"ip-bgp-neighbor", "neighbors", BGP_SUB_RPC_IP_BGP_NEIGHBOR, support::neighbor_payload},
        {"ip-bgp-info", "networks", BGP_SUB_RPC_IP_BGP_INFO, support::info_payload},
        {"ip-bgp-evpn", "routes", BGP_SUB_RPC_IP_BGP_EVPN, support::evpn_payload},
    };
    return kinds;
}

} // namespace bench
