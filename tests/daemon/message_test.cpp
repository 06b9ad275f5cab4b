#include "message.h"

#include "records.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <ostream>

using configd::decode;
using configd::Message;
using nlohmann::ordered_json;

namespace {

// A record with every field filled to its end, and its decoded form.
struct RecordCase {
    const char *name;
    std::int32_t first_sub_mod, last_sub_mod;
    const char *record;
    std::string payload;
    ordered_json fields;
};

// The name of the case in a failure.
void PrintTo(const RecordCase &record, std::ostream *out) {
    *out << record.name;
}

template <typename Record>
std::string bytes_of(const Record &record) {
    std::string bytes(sizeof record, '\0');
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

template <std::size_t N>
std::string fill(char (&field)[N], char c) {
    std::memset(field, c, N);
    return std::string(N, c);
}

address_family_val full_family() {
    address_family_val record{};
    record.op = -1;
    record.bgp_id = 65001;
    record.afi = 2;
    record.safi = 71;
    fill(record.vrf_name, 'v');
    return record;
}

ordered_json full_family_fields() {
    return {{"op", -1},
            {"bgp_id", 65001},
            {"afi", 2},
            {"safi", 71},
            {"vrf_name", std::string(65, 'v')}};
}

RecordCase as_case() {
    return {"as",
            BGP_SUB_BGP_AS,
            BGP_SUB_BGP_AS,
            "bgp_as_val",
            bytes_of(bgp_as_val{1, std::numeric_limits<std::uint32_t>::max()}),
            {{"op", 1}, {"as", 4294967295U}}};
}

RecordCase globle_case() {
    bgp_globle_config record{};
    record.op = 1;
    record.bgp_id = 100;
    const std::string router_id = fill(record.router_id, 'r');
    return {"globle",          BGP_SUB_ROUTER_ID,
            BGP_SUB_ROUTER_ID, "bgp_globle_config",
            bytes_of(record),  {{"op", 1}, {"bgp_id", 100}, {"router_id", router_id}}};
}

RecordCase globle_neighbor_case() {
    bgp_globle_neighbor_config record{};
    record.op = 0;
    record.bgp_id = 100;
    const std::string address = fill(record.neighbor_ip_or_tag, 'n');
    const std::string remote_as = fill(record.remote_as, 'a');
    const std::string description = fill(record.description, 'd');
    const std::string update_source = fill(record.update_source, 'u');
    record.ebgp_multihop = 255;
    return {"globle_neighbor",
            BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS,
            BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE,
            "bgp_globle_neighbor_config",
            bytes_of(record),
            {{"op", 0},
             {"bgp_id", 100},
             {"neighbor_ip_or_tag", address},
             {"remote_as", remote_as},
             {"description", description},
             {"update_source", update_source},
             {"ebgp_multihop", 255}}};
}

RecordCase network_case() {
    bgp_address_family_network_universal_val record{};
    record.op = 1;
    record.bgp_id = 100;
    record.address_family = full_family();
    const std::string prefix = fill(record.network_ip_str, 'p');
    const std::string route_map = fill(record.route_map, 'm');
    record.backdoor = 1;
    return {"network",
            BGP_SUB_NETWORK,
            BGP_SUB_NETWORK,
            "bgp_address_family_network_universal_val",
            bytes_of(record),
            {{"op", 1},
             {"bgp_id", 100},
             {"address_family", full_family_fields()},
             {"network_ip_str", prefix},
             {"route_map", route_map},
             {"backdoor", 1}}};
}

RecordCase redistribute_case() {
    bgp_address_family_redistribute_universal_val record{};
    record.op = 1;
    record.bgp_id = 100;
    record.address_family = full_family();
    const std::string protocol = fill(record.protocol_name, 'p');
    const std::string process = fill(record.protocol_id_or_tag, 'i');
    const std::string route_map = fill(record.route_map, 'm');
    return {"redistribute",
            BGP_SUB_REDISTRIBUTE,
            BGP_SUB_REDISTRIBUTE,
            "bgp_address_family_redistribute_universal_val",
            bytes_of(record),
            {{"op", 1},
             {"bgp_id", 100},
             {"address_family", full_family_fields()},
             {"protocol_name", protocol},
             {"protocol_id_or_tag", process},
             {"route_map", route_map}}};
}

RecordCase neighbor_case(const char *name, std::int32_t first, std::int32_t last) {
    bgp_address_family_neighbor_universal_val record{};
    record.op = 1;
    record.bgp_id = 100;
    record.address_family = full_family();
    const std::string address = fill(record.neighbor_ip_or_tag, 'n');
    record.active = 1;
    record.next_hop_self = 2;
    const std::string remote_as = fill(record.remote_as, 'a');
    const std::string description = fill(record.description, 'd');
    const std::string update_source = fill(record.update_source, 'u');
    record.ebgp_multihop = 3;
    record.route_reflector_client = 4;
    return {name,
            first,
            last,
            "bgp_address_family_neighbor_universal_val",
            bytes_of(record),
            {{"op", 1},
             {"bgp_id", 100},
             {"address_family", full_family_fields()},
             {"neighbor_ip_or_tag", address},
             {"active", 1},
             {"next_hop_self", 2},
             {"remote_as", remote_as},
             {"description", description},
             {"update_source", update_source},
             {"ebgp_multihop", 3},
             {"route_reflector_client", 4}}};
}

RecordCase family_case() {
    return {"address_family",     BGP_SUB_ADDRESS_FAMILY_VRF, BGP_SUB_ADDRESS_FAMILY_VRF,
            "address_family_val", bytes_of(full_family()),    full_family_fields()};
}

RecordCase evpn_query_case() {
    bgp_rpc_ip_bgp_evpn record{};
    record.type = std::numeric_limits<std::uint32_t>::max();
    const std::string route = fill(record.evpn_route_str, 'e');
    return {"evpn_query",
            BGP_SUB_RPC_IP_BGP_EVPN,
            BGP_SUB_RPC_IP_BGP_EVPN,
            "bgp_rpc_ip_bgp_evpn",
            bytes_of(record),
            {{"type", 4294967295U}, {"evpn_route_str", route}}};
}

RecordCase info_query_case() {
    bgp_rpc_ip_bgp_info_input record{};
    record.input_cnt = 3;
    const std::string vrf_name = fill(record.vrf_name, 'v');
    record.ip_type = 1;
    record.all = 2;
    const std::string address = fill(record.ipaddr, 'a');
    const std::string prefix = fill(record.ipaddr_str, 'p');
    return {"info_query",
            BGP_SUB_RPC_IP_BGP_INFO,
            BGP_SUB_RPC_IP_BGP_INFO,
            "bgp_rpc_ip_bgp_info_input",
            bytes_of(record),
            {{"input_cnt", 3},
             {"vrf_name", vrf_name},
             {"ip_type", 1},
             {"all", 2},
             {"ipaddr", address},
             {"ipaddr_str", prefix}}};
}

RecordCase neighbor_query_case() {
    bgp_rpc_ip_bgp_neighbor_input record{};
    record.all = 1;
    const std::string address = fill(record.neighbor_addr, 'a');
    const std::string vrf_name = fill(record.vrf_name, 'v');
    return {"neighbor_query",
            BGP_SUB_RPC_IP_BGP_NEIGHBOR,
            BGP_SUB_RPC_IP_BGP_NEIGHBOR,
            "bgp_rpc_ip_bgp_neighbor_input",
            bytes_of(record),
            {{"all", 1}, {"neighbor_addr", address}, {"vrf_name", vrf_name}}};
}

RecordCase summary_query_case() {
    bgp_rpc_ip_bgp_summary_input record{};
    record.input_cnt = 2;
    const std::string vrf_name = fill(record.vrf_name, 'v');
    record.ip_type = 2;
    record.all = 1;
    return {"summary_query",
            BGP_SUB_RPC_IP_BGP_SUMMARY,
            BGP_SUB_RPC_IP_BGP_SUMMARY,
            "bgp_rpc_ip_bgp_summary_input",
            bytes_of(record),
            {{"input_cnt", 2}, {"vrf_name", vrf_name}, {"ip_type", 2}, {"all", 1}}};
}

RecordCase clear_query_case() {
    bgp_rpc_clear_ip_bgp_input record{};
    record.address_family = full_family();
    record.clear_all = 1;
    record.reconfig_type = 3;
    return {"clear_query",
            BGP_SUB_RPC_CLEAR_IP_BGP,
            BGP_SUB_RPC_CLEAR_IP_BGP,
            "bgp_rpc_clear_ip_bgp_input",
            bytes_of(record),
            {{"address_family", full_family_fields()}, {"clear_all", 1}, {"reconfig_type", 3}}};
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

INSTANTIATE_TEST_SUITE_P(EveryRecord, DecodeTest,
                         testing::Values(as_case(), globle_case(), globle_neighbor_case(),
                                         network_case(), redistribute_case(),
                                         neighbor_case("neighbor", BGP_SUB_NEIGHBOR_ACTIVATE,
                                                       BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET),
                                         neighbor_case("vrf_neighbor",
                                                       BGP_SUB_NEIGHBOR_VRF_REMOTE_AS,
                                                       BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE),
                                         family_case(), evpn_query_case(), info_query_case(),
                                         neighbor_query_case(), summary_query_case(),
                                         clear_query_case()),
                         [](const auto &test) { return std::string{test.param.name}; });

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
    const std::string payload = bytes_of(bgp_as_val{1, 100});
    EXPECT_EQ(decode(configd::make_message(MODULE_ID_BGP, BGP_SUB_BGP_AS, payload, 0x5a5a5a5a)),
              decode(as_message(1, 100)));
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
