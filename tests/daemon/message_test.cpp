#include "message.h"

#include "records.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using configd::decode;
using configd::Message;
using nlohmann::ordered_json;

namespace {

// Fills fields to their end, each with a value that no other field of its record has. Returns the
// decoded form of the value.
class Filler {
  public:
    ordered_json fill(std::int32_t &field) { return field = -++count_; }
    ordered_json fill(std::uint32_t &field) {
        return field =
                   std::numeric_limits<std::uint32_t>::max() - static_cast<std::uint32_t>(++count_);
    }
    template <std::size_t N>
    ordered_json fill(char (&field)[N]) {
        const char letter = static_cast<char>('a' + ++count_);
        std::memset(field, letter, N);
        return std::string(N, letter);
    }
    ordered_json fill(address_family_val &field) {
        ordered_json fields;
        fields["op"] = fill(field.op);
        fields["bgp_id"] = fill(field.bgp_id);
        fields["afi"] = fill(field.afi);
        fields["safi"] = fill(field.safi);
        fields["vrf_name"] = fill(field.vrf_name);
        return fields;
    }

  private:
    std::int32_t count_ = 0;
};

// A full record, the sub-module codes that carry it, and its decoded form.
struct RecordCase {
    const char *record;
    std::int32_t first_sub_mod, last_sub_mod;
    std::string payload;
    ordered_json fields;
};

std::string name_of(const RecordCase &record) {
    return std::string{record.record} + "_of_" + std::to_string(record.first_sub_mod);
}

void PrintTo(const RecordCase &record, std::ostream *out) {
    *out << name_of(record);
}

// The case of a record with these fields, each a name and a member.
template <typename Record, typename... Values>
RecordCase full(const char *name, std::int32_t first_sub_mod, std::int32_t last_sub_mod,
                std::pair<const char *, Values Record::*>... members) {
    Record record{};
    ordered_json fields;
    Filler filler;
    ((fields[members.first] = filler.fill(record.*members.second)), ...);
    return {name, first_sub_mod, last_sub_mod, std::string{configd::bytes_of(record)}, fields};
}

std::vector<RecordCase> record_cases() {
#define FIELD(record, name) std::pair(#name, &record::name)
    using As = bgp_as_val;
    using Globle = bgp_globle_config;
    using GlobleNeighbor = bgp_globle_neighbor_config;
    using Network = bgp_address_family_network_universal_val;
    using Redistribute = bgp_address_family_redistribute_universal_val;
    using Neighbor = bgp_address_family_neighbor_universal_val;
    using Family = address_family_val;
    using Evpn = bgp_rpc_ip_bgp_evpn;
    using Info = bgp_rpc_ip_bgp_info_input;
    using Peers = bgp_rpc_ip_bgp_neighbor_input;
    using Summary = bgp_rpc_ip_bgp_summary_input;
    using Clear = bgp_rpc_clear_ip_bgp_input;
    const auto neighbor = [](std::int32_t first, std::int32_t last) {
        return full("bgp_address_family_neighbor_universal_val", first, last, FIELD(Neighbor, op),
                    FIELD(Neighbor, bgp_id), FIELD(Neighbor, address_family),
                    FIELD(Neighbor, neighbor_ip_or_tag), FIELD(Neighbor, active),
                    FIELD(Neighbor, next_hop_self), FIELD(Neighbor, remote_as),
                    FIELD(Neighbor, description), FIELD(Neighbor, update_source),
                    FIELD(Neighbor, ebgp_multihop), FIELD(Neighbor, route_reflector_client));
    };
    return {
        full("bgp_as_val", BGP_SUB_BGP_AS, BGP_SUB_BGP_AS, FIELD(As, op), FIELD(As, as)),
        full("bgp_globle_config", BGP_SUB_ROUTER_ID, BGP_SUB_ROUTER_ID, FIELD(Globle, op),
             FIELD(Globle, bgp_id), FIELD(Globle, router_id)),
        full("bgp_globle_neighbor_config", BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS,
             BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, FIELD(GlobleNeighbor, op),
             FIELD(GlobleNeighbor, bgp_id), FIELD(GlobleNeighbor, neighbor_ip_or_tag),
             FIELD(GlobleNeighbor, remote_as), FIELD(GlobleNeighbor, description),
             FIELD(GlobleNeighbor, update_source), FIELD(GlobleNeighbor, ebgp_multihop)),
        full("bgp_address_family_network_universal_val", BGP_SUB_NETWORK, BGP_SUB_NETWORK,
             FIELD(Network, op), FIELD(Network, bgp_id), FIELD(Network, address_family),
             FIELD(Network, network_ip_str), FIELD(Network, route_map), FIELD(Network, backdoor)),
        full("bgp_address_family_redistribute_universal_val", BGP_SUB_REDISTRIBUTE,
             BGP_SUB_REDISTRIBUTE, FIELD(Redistribute, op), FIELD(Redistribute, bgp_id),
             FIELD(Redistribute, address_family), FIELD(Redistribute, protocol_name),
             FIELD(Redistribute, protocol_id_or_tag), FIELD(Redistribute, route_map)),
        neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET),
        neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE),
        full("address_family_val", BGP_SUB_ADDRESS_FAMILY_VRF, BGP_SUB_ADDRESS_FAMILY_VRF,
             FIELD(Family, op), FIELD(Family, bgp_id), FIELD(Family, afi), FIELD(Family, safi),
             FIELD(Family, vrf_name)),
        full("bgp_rpc_ip_bgp_evpn", BGP_SUB_RPC_IP_BGP_EVPN, BGP_SUB_RPC_IP_BGP_EVPN,
             FIELD(Evpn, type), FIELD(Evpn, evpn_route_str)),
        full("bgp_rpc_ip_bgp_info_input", BGP_SUB_RPC_IP_BGP_INFO, BGP_SUB_RPC_IP_BGP_INFO,
             FIELD(Info, input_cnt), FIELD(Info, vrf_name), FIELD(Info, ip_type), FIELD(Info, all),
             FIELD(Info, ipaddr), FIELD(Info, ipaddr_str)),
        full("bgp_rpc_ip_bgp_neighbor_input", BGP_SUB_RPC_IP_BGP_NEIGHBOR,
             BGP_SUB_RPC_IP_BGP_NEIGHBOR, FIELD(Peers, all), FIELD(Peers, neighbor_addr),
             FIELD(Peers, vrf_name)),
        full("bgp_rpc_ip_bgp_summary_input", BGP_SUB_RPC_IP_BGP_SUMMARY, BGP_SUB_RPC_IP_BGP_SUMMARY,
             FIELD(Summary, input_cnt), FIELD(Summary, vrf_name), FIELD(Summary, ip_type),
             FIELD(Summary, all)),
        full("bgp_rpc_clear_ip_bgp_input", BGP_SUB_RPC_CLEAR_IP_BGP, BGP_SUB_RPC_CLEAR_IP_BGP,
             FIELD(Clear, address_family), FIELD(Clear, clear_all), FIELD(Clear, reconfig_type)),
    };
#undef FIELD
}

class DecodeTest : public testing::TestWithParam<RecordCase> {};

TEST_P(DecodeTest, GivesEveryFieldToItsLastByte) {
    const RecordCase &record = GetParam();
    for (std::int32_t sub_mod = record.first_sub_mod; sub_mod <= record.last_sub_mod; ++sub_mod) {
        const auto object = decode(configd::make_message(MODULE_ID_BGP, sub_mod, record.payload));
        EXPECT_EQ(object["module"], MODULE_ID_BGP);
        EXPECT_EQ(object["subMod"], sub_mod);
        EXPECT_EQ(object["dataLen"], record.payload.size() + 16);
        EXPECT_EQ(object["record"], record.record);
        EXPECT_EQ(object["fields"], record.fields);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryRecord, DecodeTest, testing::ValuesIn(record_cases()),
                         [](const auto &test) { return name_of(test.param); });

TEST(Decode, EndsATextAtItsFirstNul) {
    bgp_globle_config record{};
    put(record.router_id, {"1.1.1.1\0left over", 17});
    const auto object = decode(message_with(BGP_SUB_ROUTER_ID, record));
    EXPECT_EQ(object["fields"]["router_id"], "1.1.1.1");
}

TEST(Decode, LeavesFieldsOutWhenTheSizeIsAnotherRecords) {
    const auto object = decode(configd::make_message(MODULE_ID_BGP, BGP_SUB_ROUTER_ID, "short"));
    EXPECT_EQ(object["record"], "bgp_globle_config");
    EXPECT_FALSE(object.contains("fields"));
}

TEST(Decode, NamesNoRecordForAnUnknownSubModule) {
    const auto object = decode(configd::make_message(MODULE_ID_BGP, BGP_SUB_MAX, "12345678"));
    EXPECT_EQ(object, (ordered_json{{"module", 3}, {"subMod", +BGP_SUB_MAX}, {"dataLen", 24}}));
}

TEST(Decode, DoesNotShowTheResultValueOfARequest) {
    const Message message = as_message(1, 100);
    EXPECT_EQ(
        decode(configd::make_message(MODULE_ID_BGP, BGP_SUB_BGP_AS, message.payload(), 0x5a5a5a5a)),
        decode(message));
}

TEST(JsonLine, ReplacesBytesThatAreNoUtf8) {
    EXPECT_EQ(configd::json_line(decode(router_id_message(1, 1, "a\xff\xc3"))["fields"]),
              "{\"op\":1,\"bgp_id\":1,\"router_id\":\"a\xef\xbf\xbd\xef\xbf\xbd\"}");
}

TEST(Readable, IsTheRecordOnOneLine) {
    EXPECT_EQ(readable(router_id_message(1, 100, "1.1.1.1")),
              R"(BGP_SUB_ROUTER_ID bgp_globle_config op=set bgp_id=100 router_id="1.1.1.1")");
    EXPECT_EQ(readable(as_message(0, 100)), "BGP_SUB_BGP_AS bgp_as_val op=delete as=100");
    EXPECT_EQ(readable(as_message(-1, 100)), "BGP_SUB_BGP_AS bgp_as_val op=other as=100");
}

TEST(Readable, NestsTheAddressFamily) {
    bgp_rpc_clear_ip_bgp_input record{};
    put(record.address_family.vrf_name, "red");
    record.reconfig_type = 3;
    EXPECT_EQ(readable(message_with(BGP_SUB_RPC_CLEAR_IP_BGP, record)),
              "BGP_SUB_RPC_CLEAR_IP_BGP bgp_rpc_clear_ip_bgp_input "
              "address_family={op=0 bgp_id=0 afi=0 safi=0 vrf_name=\"red\"} clear_all=0 "
              "reconfig_type=3");
}

TEST(Readable, StaysOnOneLineForAnyText) {
    const std::string line = readable(router_id_message(1, 100, "a\n\"b\"\xff"));
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_NE(line.find(R"(router_id="a\n\"b\")"), std::string::npos);
}

TEST(Readable, ShowsTheHeaderOfAMessageThatIsNoRecord) {
    EXPECT_EQ(readable(configd::make_message(7, 99, "1234")),
              "unknown module=7 subMod=99 dataLen=20");
    EXPECT_EQ(readable(configd::make_message(MODULE_ID_BGP, BGP_SUB_BGP_AS, "1234")),
              "BGP_SUB_BGP_AS module=3 subMod=1 dataLen=20");
}

TEST(SubModFromText, TakesNumbersAndNamesInEitherCase) {
    EXPECT_EQ(configd::sub_mod_from_text("1"), BGP_SUB_BGP_AS);
    EXPECT_EQ(configd::sub_mod_from_text("22"), BGP_SUB_RPC_CLEAR_IP_BGP);
    EXPECT_EQ(configd::sub_mod_from_text("BGP_SUB_ROUTER_ID"), BGP_SUB_ROUTER_ID);
    EXPECT_EQ(configd::sub_mod_from_text("ROUTER_ID"), BGP_SUB_ROUTER_ID);
    EXPECT_EQ(configd::sub_mod_from_text("bgp_as"), BGP_SUB_BGP_AS);
    EXPECT_EQ(configd::sub_mod_from_text("bgp_sub_network"), BGP_SUB_NETWORK);
}

TEST(SubModFromText, RefusesWhatIsNoSubModule) {
    for (const char *text : {"", "0", "-1", "1x", "99999999999", "sub_max", "router", " 1"}) {
        EXPECT_EQ(configd::sub_mod_from_text(text), std::nullopt) << text;
    }
    EXPECT_EQ(configd::sub_mod_from_text(std::to_string(BGP_SUB_MAX)), std::nullopt);
}

TEST(MakeMessage, PutsTheWholeLengthIntoTheHeader) {
    const Message message = configd::make_message(MODULE_ID_BGP, BGP_SUB_BGP_AS, "12345678", 19);
    const std::int32_t header[] = {3, 1, 19, 24};
    ASSERT_EQ(message.bytes.size(), 24U);
    EXPECT_EQ(std::memcmp(message.bytes.data(), header, sizeof header), 0);
    EXPECT_EQ(message.payload(), "12345678");
}

// The frame at the start of a stream with this length in its header.
configd::Frame frame_of(std::int32_t length, std::size_t received) {
    std::string bytes = configd::make_message(3, 1, "").bytes;
    std::memcpy(bytes.data() + 12, &length, sizeof length);
    bytes.resize(received, 'x');
    return configd::frame_of(bytes);
}

TEST(FrameOf, IsCompleteWhenTheBytesInTheHeaderHaveArrived) {
    EXPECT_EQ(frame_of(20, 15).framing, configd::Framing::Incomplete);
    EXPECT_EQ(frame_of(20, 19).framing, configd::Framing::Incomplete);
    for (const std::size_t received : {20U, 21U, 200U}) {
        EXPECT_EQ(frame_of(20, received).framing, configd::Framing::Complete);
        EXPECT_EQ(frame_of(20, received).length, 20);
    }
}

TEST(FrameOf, IsBrokenWhenTheLengthIsBelowTheHeaderOrBeyondTheBuffer) {
    for (const std::int32_t length : {-1, 0, 15, BUF_SIZE_MAX + 1}) {
        EXPECT_EQ(frame_of(length, 16).framing, configd::Framing::Broken);
        EXPECT_EQ(frame_of(length, 16).length, length);
    }
    EXPECT_EQ(frame_of(16, 16).framing, configd::Framing::Complete);
    EXPECT_EQ(frame_of(BUF_SIZE_MAX, 16).framing, configd::Framing::Incomplete);
}

TEST(MessageFromBytes, ReadsTheHeader) {
    const Message message = configd::message_from_bytes(configd::make_message(7, -9, "x").bytes);
    EXPECT_EQ(message.module, 7);
    EXPECT_EQ(message.sub_mod, -9);
    EXPECT_EQ(message.payload(), "x");
}

} // namespace
