#include "expected_values.h"

#include "reply_fields.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace support {

namespace {

template <typename Number>
Number number_at(std::string_view payload, std::size_t offset) {
    Number number;
    std::memcpy(&number, payload.substr(offset).data(), sizeof number);
    return number;
}

Expected expected_summary(std::string_view payload) {
    const Record block = Record::at(summary_block, payload, 0);
    const std::uint32_t count = block.number("neighbor_number");
    if (count == 0) {
        return {SR_ERR_OK, false};
    }
    Expected expected{SR_ERR_OK, true, block.outputs({})};
    for (std::size_t i = 0; i < count; ++i) {
        const Record entry =
            Record::at(summary_entry, payload, summary_block.size + summary_entry.size * i);
        append(expected.outputs, entry.outputs({entry.text("neighbor")}));
    }
    return expected;
}

std::string afi_name(std::uint32_t number) {
    return number == 1 ? "AFI_IP" : number == 2 ? "AFI_IPV6" : number == 3 ? "AFI_L2VPN" : "";
}

std::string safi_name(std::uint32_t number) {
    switch (number) {
    case 1:
        return "SAFI_UNICAST";
    case 2:
        return "SAFI_MULTICAST";
    case 5:
        return "SAFI_EVPN";
    case 71:
        return "SAFI_VRF";
    default:
        return "";
    }
}

Expected expected_neighbors(std::string_view payload) {
    Expected expected;
    const auto peers = number_at<std::uint32_t>(payload, 0);
    std::size_t families_before = 0;
    for (std::size_t i = 0; i < peers; ++i) {
        const std::size_t offset = 4 + peer_record.size * i + family_record.size * families_before;
        const Record peer = Record::at(peer_record, payload, offset);
        const std::vector<std::string> keys = {peer.text("neighbor_addr"), peer.text("vrf_name")};
        append(expected.outputs, peer.outputs(keys));
        const std::uint32_t families = peer.number("address_family_cnt");
        for (std::size_t j = 0; j < families; ++j) {
            const Record family = Record::at(family_record, payload, offset + peer_record.size);
            const std::string afi = afi_name(family.number("afi"));
            const std::string safi = safi_name(family.number("safi"));
            if (afi.empty() || safi.empty()) {
                expected.result = SR_ERR_INVAL_ARG;
                expected.sets_count = false;
                expected.line = afi.empty() ? "afi is NULL!\n" : "safi is NULL!\n";
                return expected;
            }
            append(expected.outputs, family.outputs({keys[0], keys[1], afi, safi}));
        }
        families_before += families;
    }
    return expected;
}

Expected expected_info(std::string_view payload) {
    const Record table = Record::at(table_record, payload, 4);
    const std::uint32_t networks = table.number("prefix_number");
    if (networks == 0) {
        return {SR_ERR_OK, false};
    }
    Expected expected{SR_ERR_OK, true, table.outputs({})};
    std::size_t offset = 4 + table_record.size;
    for (std::size_t i = 0; i < networks; ++i) {
        const Record network = Record::at(network_record, payload, offset);
        const std::string key = network.text("network");
        append(expected.outputs, network.outputs({key}));
        const std::uint32_t hops = network.number("nextop_num");
        offset += network_record.size;
        for (std::size_t j = 0; j < hops; ++j, offset += next_hop_record.size) {
            const Record hop = Record::at(next_hop_record, payload, offset);
            append(expected.outputs,
                   hop.outputs({key, hop.text("nexthop"), hop.text("metric"), hop.text("path")}));
        }
    }
    return expected;
}

// The stream of the EVPN reply, item by item.
class Stream {
  public:
    explicit Stream(std::string_view bytes) : bytes_(bytes) {}
    std::uint32_t number() {
        const auto value = number_at<std::uint32_t>(bytes_, 0);
        bytes_.remove_prefix(4);
        return value;
    }
    signed char flag() {
        const auto value = static_cast<signed char>(bytes_.front());
        bytes_.remove_prefix(1);
        return value;
    }
    std::string text() {
        const std::size_t length = bytes_.find('\0');
        std::string value(bytes_.substr(0, length));
        bytes_.remove_prefix(length + 1);
        return value;
    }

  private:
    std::string_view bytes_;
};

Expected expected_evpn(std::string_view payload) {
    Expected expected;
    const auto write = [&](const std::string &xpath, sr_type_t type, const std::string &value) {
        expected.outputs.push_back({cut_xpath(xpath), type, value});
    };
    Stream stream(payload.substr(4));
    const std::uint32_t distinguishers = stream.number();
    for (std::uint32_t i = 0; i < distinguishers; ++i) {
        const std::string rd = stream.text();
        const std::uint32_t routes = stream.number();
        for (std::uint32_t j = 0; j < routes; ++j) {
            const std::string route =
                "/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='" + rd +
                "']/list-evpn-route-brief[evpn-route='" + stream.text() + "']/";
            write(route + "valid-flag", SR_ENUM_T, stream.flag() == 1 ? "valid" : "other");
            write(route + "select-flag", SR_ENUM_T, stream.flag() == 1 ? "best" : "other");
            const int source = stream.flag();
            write(route + "source-type", SR_ENUM_T,
                  source == 1   ? "internal"
                  : source == 2 ? "local"
                                : "other");
            for (const char *leaf : {"ext-community", "lable-info"}) {
                if (stream.flag() != 0) {
                    write(route + leaf, SR_STRING_T, stream.text());
                }
            }
            const std::uint32_t next_hops = stream.number();
            for (std::uint32_t k = 0; k < next_hops; ++k) {
                const std::string hop =
                    route + "list-nexthop-brief[nexthop-address='" + stream.text() + "']/";
                for (const char *leaf : {"metric", "LocPrf", "Weight"}) {
                    write(hop + leaf, SR_UINT32_T, std::to_string(stream.number()));
                }
                write(hop + "path", SR_STRING_T, stream.text());
            }
        }
    }
    return expected;
}

// --- Sample payloads -------------------------------------------------------------------

std::string sample_summary() {
    return Record(summary_block, 1).put("neighbor_number", 2).bytes() +
           Record(summary_entry, 2).bytes() + Record(summary_entry, 3).bytes();
}

std::string sample_neighbors() {
    return packed(std::uint32_t{2}) + Record(peer_record, 1).put("address_family_cnt", 1).bytes() +
           Record(family_record, 2).put("afi", 1).put("safi", 5).bytes() +
           Record(peer_record, 3).put("address_family_cnt", 0).bytes();
}

std::string sample_info() {
    return packed(std::uint32_t{1}) + Record(table_record, 1).put("prefix_number", 1).bytes() +
           Record(network_record, 2).put("nextop_num", 1).bytes() +
           Record(next_hop_record, 3).bytes();
}

std::string sample_evpn() {
    return evpn_payload(
        9, {{"65001:1",
             {{"[2]:[0]", 1, 1, 2, {1, "RT:65001:1"}, {1, "10001"}, {{"h", 1, 2, 3, "p"}}}}}});
}

} // namespace

// The largest number of values that such records have in a payload of full length.
template <typename Record>
constexpr std::size_t most(const ReplyRecord &record) {
    return payload_limit / sizeof(Record) * record.leaves();
}

// For the neighbors, as many peers and as many address families as fit.
const Parser evpn_parser = {"ip_bgp_evpn_output_parse",
                            ip_bgp_evpn_output_parse,
                            BGP_SUB_RPC_IP_BGP_EVPN,
                            payload_limit / 12 * 5 + 5,
                            "realloc failed\n",
                            expected_evpn,
                            sample_evpn};
const Parser info_parser = {"ip_bgp_info_output_parse",
                            ip_bgp_info_output_parse,
                            BGP_SUB_RPC_IP_BGP_INFO,
                            info_table.leaves() +
                                most<bgp_rpc_ip_bgp_info_next_hop_output_entry>(info_next_hop),
                            "bgp info realloc failed!\n",
                            expected_info,
                            sample_info};
const Parser neighbor_parser = {
    "ip_bgp_neighbor_output_parse",
    ip_bgp_neighbor_output_parse,
    BGP_SUB_RPC_IP_BGP_NEIGHBOR,
    most<bgp_rpc_ip_bgp_neighbor_output_neighbor>(neighbor_peer) +
        most<bgp_rpc_ip_bgp_neighbor_output_addrsss_family>(neighbor_family),
    "bgp neighbor realloc failed!\n",
    expected_neighbors,
    sample_neighbors};
const Parser summary_parser = {"ip_bgp_summary_output_parse",
                               ip_bgp_summary_output_parse,
                               BGP_SUB_RPC_IP_BGP_SUMMARY,
                               ::summary_block.leaves() +
                                   most<bgp_rpc_ip_bgp_summary_output_entry>(::summary_entry),
                               "bgp info realloc failed!\n",
                               expected_summary,
                               sample_summary};

} // namespace support
