// The five RPCs from the client's request to the output, on the real datastore and in
// the real plug-in host.
#include "datastore.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"
#include "sample_replies.h"
#include "soak/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using support::bytes_of;
using support::Datastore;
using support::evpn_payload;
using support::Host;
using support::info_payload;
using support::neighbor_payload;
using support::Outcome;
using support::put;
using support::RecordingDaemon;
using support::rpc;
using support::summary_payload;
using testing::HasSubstr;
using testing::Not;

class QueriesOnDatastore : public testing::Test {
  protected:
    // Sends an RPC, which must succeed with this reply, and checks the query that the plug-in sent.
    template <typename Record>
    void expect_query(std::int32_t sub_mod, const Record &query, const std::string &payload,
                      const std::string &call) {
        daemon.answer_next(configd::Reply{MODULE_ID_BGP, sub_mod, 0, payload});
        outcome = datastore.call(call);
        EXPECT_EQ(outcome.exit_code, 0) << call << "\n" << outcome.output;
        const auto messages = daemon.take_messages();
        ASSERT_EQ(messages.size(), 1U) << call;
        EXPECT_EQ(messages[0].bytes,
                  configd::make_message(MODULE_ID_BGP, sub_mod, bytes_of(query)).bytes)
            << call << "\n"
            << readable(messages[0]);
    }
    void expect_query(const bgp_rpc_ip_bgp_summary_input &query, const std::string &input = "",
                      const std::string &payload = summary_payload(2)) {
        expect_query(21, query, payload, rpc("ip-bgp-summary", input));
    }
    void expect_query(const bgp_rpc_ip_bgp_neighbor_input &query, const std::string &input = "") {
        expect_query(20, query, neighbor_payload(), rpc("ip-bgp-neighbor", input));
    }
    void expect_query(const bgp_rpc_ip_bgp_info_input &query, const std::string &input = "") {
        expect_query(19, query, info_payload(), rpc("ip-bgp-info", input));
    }
    void expect_query(const bgp_rpc_ip_bgp_evpn &query, const std::string &input = "") {
        expect_query(18, query, evpn_payload(), rpc("ip-bgp-evpn", input));
    }
    void expect_query(const bgp_rpc_clear_ip_bgp_input &query, const std::string &input = "") {
        expect_query(22, query, "", rpc("clear-ip-bgp", input));
    }

    // The query for the summary without an input.
    const bgp_rpc_ip_bgp_summary_input all_neighbors{0, {}, 0, 1};

    void expect_output(const std::vector<const char *> &parts) const {
        for (const char *part : parts) {
            EXPECT_THAT(outcome.output, HasSubstr(part));
        }
    }

    Datastore datastore;
    RecordingDaemon daemon;
    Host host{datastore};
    Outcome outcome{};
};

TEST_F(QueriesOnDatastore, SummaryWithAllItsInputs) {
    expect_query(all_neighbors);
    expect_output({"<as>65001</as>", "<neighbor>10.0.0.1</neighbor>", "<msg-sent>12</msg-sent>"});
    bgp_rpc_ip_bgp_summary_input query = all_neighbors;
    query.input_cnt = 1;
    put(query.vrf_name, "red");
    expect_query(query, "<vrf-name>red</vrf-name>");
    query.input_cnt = 2;
    query.ip_type = 2;
    expect_query(query, "<vrf-name>red</vrf-name><ip-type>IPV6</ip-type>");
    query = all_neighbors;
    query.input_cnt = 1;
    query.ip_type = 1;
    expect_query(query, "<ip-type>IPV4</ip-type>");
    expect_query(all_neighbors, "", summary_payload(0));
    EXPECT_THAT(outcome.output, Not(HasSubstr("<neighbors>")));
}

TEST_F(QueriesOnDatastore, NeighborWithEachOfItsInputs) {
    bgp_rpc_ip_bgp_neighbor_input query{};
    query.all = 1;
    expect_query(query);
    expect_output({"<vrf-name/>", "<remote-as>7</remote-as>", "<local-as>4200000000</local-as>",
                   "<afi>AFI_L2VPN</afi>", "<mask>0</mask>",
                   "<route-reflector-client>true</route-reflector-client>"});
    expect_query(query, "<all/>");
    query = {};
    put(query.neighbor_addr, "10.0.0.1");
    expect_query(query, "<ipaddr>10.0.0.1</ipaddr>");
    query = {};
    put(query.vrf_name, "red");
    expect_query(query, "<vrf-name>red</vrf-name>");
    query = {}; // only a single input is decoded
    expect_query(query, "<ipaddr>10.0.0.1</ipaddr><vrf-name>red</vrf-name>");
}

TEST_F(QueriesOnDatastore, InformationWithEachOfItsInputs) {
    bgp_rpc_ip_bgp_info_input query{};
    query.ip_type = 1;
    query.all = 1;
    expect_query(query);
    expect_output({"<network>10.0.0.0</network>", "<mask-len>16</mask-len>",
                   "<source-type>local</source-type>"});
    EXPECT_THAT(outcome.output, Not(HasSubstr("loc-prf")));
    query = {};
    query.input_cnt = 1;
    query.all = 2;
    expect_query(query, "<all/>");
    const std::string vrf(63, 'v');
    query.input_cnt = 5;
    query.ip_type = 1;
    put(query.vrf_name, vrf);
    put(query.ipaddr, "255.255.255.255");
    put(query.ipaddr_str, "255.255.255.255/32");
    expect_query(query, "<vrf-name>" + vrf +
                            "</vrf-name><ip-type>IPV4</ip-type><all/>"
                            "<ipv4-address>255.255.255.255</ipv4-address>"
                            "<ip-str>255.255.255.255/32</ip-str>");
}

TEST_F(QueriesOnDatastore, EvpnWithEachOfItsInputs) {
    bgp_rpc_ip_bgp_evpn query{};
    query.type = 0xffffffff;
    expect_query(query, "<get-all/>");
    expect_output({"<route-distinguisher>65001:1</route-distinguisher>",
                   "<valid-flag>valid</valid-flag>", "<source-type>local</source-type>",
                   "<lable-info>10001</lable-info>", "<LocPrf>100</LocPrf>",
                   "<Weight>32768</Weight>", "<path>64496 i</path>"});
    query.type = 5;
    expect_query(query, "<evpn-type>5</evpn-type>");
    query = {};
    put(query.evpn_route_str, "[5]:[0]:[24]:[10.1.0.0]");
    expect_query(query, "<evpn-route>[5]:[0]:[24]:[10.1.0.0]</evpn-route>");
}

TEST_F(QueriesOnDatastore, ClearWithEachOfItsInputs) {
    datastore.edit(rpc("router-bgp", "<as>65001</as>"));
    daemon.take_messages();
    bgp_rpc_clear_ip_bgp_input query{};
    query.clear_all = 1;
    expect_query(query);
    const std::string vrf(64, 'v');
    query = {};
    put(query.address_family.vrf_name, vrf);
    for (const std::string type : {"in", "out", "soft"}) {
        ++query.reconfig_type;
        expect_query(query,
                     "<reconfig-type>" + type + "</reconfig-type><vrf-name>" + vrf + "</vrf-name>");
    }
}

TEST_F(QueriesOnDatastore, InputThatIsTooLongForItsFieldIsRefusedBeforeAnythingIsSent) {
    // 63 characters, but more bytes than the field has.
    std::string name;
    for (int i = 0; i < 63; ++i) {
        name += "\u00e9";
    }
    EXPECT_NE(datastore.call(rpc("ip-bgp-summary", "<vrf-name>" + name + "</vrf-name>")).exit_code,
              0);
    EXPECT_TRUE(daemon.take_messages().empty());
}

TEST_F(QueriesOnDatastore, ReplyOfATableOfAThousandEntriesArrivesWhole) {
    expect_query(all_neighbors, "", summary_payload(1000));
    // Not HasSubstr, which would print all of them.
    EXPECT_NE(outcome.output.find("<neighbor>10.0.3.231</neighbor>"), std::string::npos);
}

TEST_F(QueriesOnDatastore, TextsThatFillTheirFieldsAreTaken) {
    auto payload = summary_payload(1);
    std::memset(payload.data(), '6', 21 + 47);           // as, router_id
    std::memset(payload.data() + 84, 'n', 47);           // neighbor
    std::memset(payload.data() + 84 + 92, 's', 33 + 33); // up_down, state_pfxrcd
    expect_query(all_neighbors, "", payload);
    EXPECT_THAT(outcome.output, HasSubstr("<neighbor>" + std::string(47, 'n') + "</neighbor>"));
}

class ManyQueriesOnDatastore : public QueriesOnDatastore,
                               public testing::WithParamInterface<std::uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Neighbors, ManyQueriesOnDatastore, testing::Values(0U, 10U));

TEST_P(ManyQueriesOnDatastore, LeaveMemoryAndDescriptorsWhereTheyWere) {
    if (Host::is_sanitized()) {
        GTEST_SKIP() << "by design: the sanitizers keep what was freed, and find leaks themselves";
    }
    // An RPC that fails after its first values, for an unknown address family, would
    // leave them behind; the RPCs here all succeed.
    daemon.answer_otherwise(configd::Reply{MODULE_ID_BGP, 21, 0, summary_payload(GetParam())});
    soak::Session client;
    const auto call = [&](int times) {
        for (int i = 0; i < times; ++i) {
            soak::Answer answer;
            ASSERT_EQ(client.call("ip-bgp-summary", {}, answer).code, SR_ERR_OK);
            ASSERT_GE(answer.size(), 9U * GetParam());
            daemon.take_messages();
        }
    };
    // sysrepo 1.4.140 opens one more for a moment: one that stays raises the fewest, too.
    const auto fewest_descriptors = [&] {
        std::size_t fewest = host.descriptors();
        for (int i = 0; i < 20; ++i) {
            call(1);
            fewest = std::min(fewest, host.descriptors());
        }
        return fewest;
    };
    call(100);
    const std::size_t descriptors = fewest_descriptors();
    const long memory = host.process().resident();
    call(5000);
    EXPECT_EQ(fewest_descriptors(), descriptors);
    EXPECT_LT(host.process().resident() - memory, 128) << "KiB of growth";
}

} // namespace
