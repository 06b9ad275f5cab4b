// What a client is told when its edit or its RPC fails.
#include "observed_calls.h"
#include "record_expectations.h"
#include "refusal.h"
#include "wire.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::sysrepo;
using support::CapturedOutput;
using support::ChangeCallback;
using support::RecordingDaemon;
using testing::HasSubstr;

using Changes = std::vector<scripted::Change>;

constexpr const char *globle = "/orv_bgp:router-bgp/bgp";
constexpr const char *family_path = "/orv_bgp:router-bgp/bgp-address-family/address-family";
constexpr const char *vrf_family = "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf";

const std::string as_path = "/orv_bgp:router-bgp/as";
const std::string router_path = std::string(globle) + "/router-id";
const std::string neighbor_path =
    std::string(globle) + "/bgp-globle-neighbors/globle-neighbor[neighbor-address='10.0.0.1']";
const std::string family_entry = std::string(family_path) + "[afi='AFI_IP'][safi='SAFI_UNICAST']";
const std::string network_path =
    family_entry + "/bgp-family-networks/family-network[prefix='10.1.0.0/16']";
const std::string vrf_entry =
    std::string(vrf_family) + "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']";

// The arguments of the one sr_set_error: the message and the path.
void expect_told(const std::string &path, const std::string &why) {
    ASSERT_EQ(sysrepo().errors.size(), 1U);
    EXPECT_EQ(sysrepo().errors[0].path, path);
    EXPECT_EQ(sysrepo().errors[0].message, why);
}

// What a client is told when the daemon refuses its edit.
std::string refused_with(const std::string &code) {
    return "the configuration daemon refused it with code " + code;
}

class EditRefusal : public support::ChangeCallbackTest {
  protected:
    EditRefusal() { host_plugin(); }

    using Codes = std::vector<std::int32_t>;
    int edit_as(scripted::Change change, const Codes &codes = {}) {
        return edit(bgp_config_as_change_cb, as_path.c_str(), {std::move(change)}, codes);
    }
    int edit_globle(Changes changes, const Codes &codes = {}) {
        return edit(bgp_config_globle_bgp_change_cb, globle, std::move(changes), codes);
    }
    int edit_family(Changes changes, const Codes &codes = {}) {
        return edit(bgp_config_address_family_change_cb, family_path, std::move(changes), codes);
    }
    // Runs an edit whose records the daemon answers with these codes, then with 0.
    int edit(ChangeCallback callback, const char *subscription, Changes changes,
             const Codes &codes = {}) {
        for (const std::int32_t code : codes) {
            daemon.answer_next(configd::ResultCode{code});
        }
        return run(callback, subscription, std::move(changes));
    }
};

TEST_F(EditRefusal, NamesTheSettingTheCodeItsMeaningAndWhatHelps) {
    const struct {
        std::int32_t code;
        const char *why;
    } rows[] = {
        {16, "16, \"invalid value\"; correct the value"},
        {17, "17, \"configuration does not exist\"; configure what it belongs to first"},
        {18, "18, \"configuration failed\"; see the daemon's log"},
        {19, "19, \"not supported\"; leave the setting out"},
        {20, "20, \"connection failed\"; see the daemon's log"},
        {12, "12, \"Requested resource already locked\"; see the daemon's log"},
        {77, "77, \"Unknown error\"; see the daemon's log"},
        {-3, "-3, \"Unknown error\"; see the daemon's log"},
    };
    for (const auto &row : rows) {
        sysrepo().errors.clear();
        EXPECT_EQ(edit_as(created(scripted::number(as_path, 7)), {row.code}), row.code);
        expect_told(as_path, refused_with(row.why));
    }
}

TEST_F(EditRefusal, NamesTheRefusedNeighborSetting) {
    EXPECT_EQ(edit_globle({created(scripted::text(neighbor_path + "/remote-as", "200")),
                           created(scripted::text(neighbor_path + "/description", "peer"))},
                          {0, 16}),
              16);
    expect_told(neighbor_path + "/description",
                refused_with("16, \"invalid value\"; correct the value"));
}

TEST_F(EditRefusal, NamesTheEntryThatWasPendingNotTheOneThatSentIt) {
    const std::string second =
        family_entry + "/bgp-family-networks/family-network[prefix='10.2.0.0/16']";
    EXPECT_EQ(edit_family({created(scripted::node(network_path, SR_LIST_T)),
                           created(scripted::text(network_path + "/prefix", "10.1.0.0/16")),
                           created(scripted::node(second, SR_LIST_T))},
                          {17}),
              17);
    expect_told(network_path + "/prefix", refused_with("17, \"configuration does not exist\"; "
                                                       "configure what it belongs to first"));
}

TEST_F(EditRefusal, NamesTheVrfEntryThatIsSentItself) {
    EXPECT_EQ(edit(bgp_config_address_family_vrf_change_cb, vrf_family,
                   {created(scripted::text(vrf_entry + "/vrf-name", "red"))}, {19}),
              19);
    expect_told(vrf_entry + "/vrf-name",
                refused_with("19, \"not supported\"; leave the setting out"));
}

TEST_F(EditRefusal, SaysThatNoAsIsConfigured) {
    configure_as(0);
    const struct {
        ChangeCallback callback;
        const char *subscription;
        std::string path;
    } rows[] = {
        {bgp_config_globle_bgp_change_cb, globle, router_path},
        {bgp_config_address_family_change_cb, family_path, network_path + "/prefix"},
        {bgp_config_address_family_vrf_change_cb, vrf_family, vrf_entry + "/vrf-name"},
    };
    for (const auto &row : rows) {
        sysrepo().errors.clear();
        EXPECT_EQ(edit(row.callback, row.subscription, {created(scripted::text(row.path, "x"))}),
                  18);
        expect_told(row.path, "no AS is configured; configure /orv_bgp:router-bgp/as first");
    }
}

TEST_F(EditRefusal, SaysHowLongTheValueMayBe) {
    EXPECT_EQ(edit_globle({created(scripted::text(router_path, std::string(34, '1')))}), 16);
    expect_told(router_path, "value of router-id is 34 bytes long, the limit is 33; shorten it");
    sysrepo().errors.clear();
    EXPECT_EQ(
        edit_family({created(scripted::text(network_path + "/route-map", std::string(258, 'm')))}),
        16);
    expect_told(network_path + "/route-map",
                "value of route-map is 258 bytes long, the limit is 257; shorten it");
}

TEST_F(EditRefusal, SaysThatAValueItsTextOrItsNodeIsMissing) {
    EXPECT_EQ(edit_globle({created(scripted::node(router_path, SR_LEAF_EMPTY_T))}), 16);
    expect_told(router_path, "the value has no text");
    sysrepo().errors.clear();
    EXPECT_EQ(edit_globle({support::without_value(SR_OP_CREATED)}), 7);
    expect_told(globle, "a change carries no value");
    sysrepo().errors.clear();
    EXPECT_EQ(edit_globle({created(scripted::text("/router-id", "1.1.1.1"))}), 7);
    expect_told(globle, "the path names no node");
}

TEST_F(EditRefusal, SaysWhichKeyIsMissingOrUnknown) {
    const std::string no_key =
        std::string(globle) + "/bgp-globle-neighbors/globle-neighbor/remote-as";
    EXPECT_EQ(edit_globle({created(scripted::text(no_key, "200"))}), 7);
    expect_told(no_key, "neighbor address value is NULL.");

    const struct {
        std::string keys;
        const char *why;
    } rows[] = {
        {"[afi='AFI_IP']", "address family safi is NULL."},
        {"[afi='AFI_IP'][safi='none']", "safi value is wrong."},
        {"[safi='SAFI_EVPN']", "address family afi is NULL."},
        {"[afi='none'][safi='SAFI_EVPN']", "afi value is wrong."},
    };
    for (const auto &row : rows) {
        sysrepo().errors.clear();
        const std::string path = family_path + row.keys + "/bgp-family-networks";
        EXPECT_EQ(edit_family({created(scripted::node(path, SR_CONTAINER_T))}), 7);
        expect_told(path, row.why);
    }
}

TEST_F(EditRefusal, SaysThatANeighborHasNoSettingOfItsOwn) {
    EXPECT_EQ(
        edit_globle({created(scripted::text(neighbor_path + "/neighbor-address", "10.0.0.1"))}), 1);
    expect_told(neighbor_path + "/neighbor-address",
                "the edit ends with a neighbor that has no setting of its own; create or delete "
                "one of its settings with it");
}

TEST_F(EditRefusal, SaysThatAPathIsTooLong) {
    const std::string path = family_entry + "/bgp-family-networks/family-network[prefix='" +
                             std::string(1000, '1') + "']";
    EXPECT_EQ(edit_family({created(scripted::node(path, SR_LIST_T))}), 16);
    ASSERT_EQ(sysrepo().errors.size(), 1U);
    EXPECT_EQ(sysrepo().errors[0].path, std::nullopt) << "it is too long to be told";
    EXPECT_THAT(sysrepo().errors[0].message, HasSubstr("bytes long, the limit is 999"));
}

TEST_F(EditRefusal, SaysSysreposOwnFailureInItsWords) {
    sysrepo().open_result = SR_ERR_NOMEM;
    EXPECT_EQ(edit_globle({}), 4);
    expect_told(globle, "Out of memory");
}

TEST_F(EditRefusal, SaysThatTheDaemonClosedTheConnection) {
    daemon.answer_next(configd::RawBytes{"", true});
    EXPECT_EQ(edit_as(created(scripted::number(as_path, 7))), 20);
    expect_told(as_path,
                "the configuration daemon has closed the connection (no whole result code "
                "came); when it runs again, restart the plug-in host, which connects anew");
}

TEST_F(EditRefusal, SaysThatThereIsNoMemoryForTheMessage) {
    // The message alone: the plug-in does not own what the scripted sysrepo allocates.
    support::ObservedCalls calls;
    calls.malloc_fails = true;
    std::uint64_t record = 0;
    refusal.begin(as_path.c_str());
    const int rc = refusal.tell(scripted::session(), plugin_config(&record, sizeof record, 0,
                                                                   MODULE_ID_BGP, BGP_SUB_BGP_AS));
    calls.end();
    EXPECT_EQ(rc, 4);
    expect_told(as_path, "out of memory");
}

TEST_F(EditRefusal, TellsNothingOfASuccess) {
    EXPECT_EQ(edit_as(created(scripted::number(as_path, 7)), {0}), 0);
    // The daemon's "not found" counts as success, and so does a missing list key.
    EXPECT_EQ(edit_as(created(scripted::number(as_path, 7)), {5}), 0);
    EXPECT_EQ(
        edit_family({created(scripted::text(network_path + "/prefix", "10.1.0.0/16")),
                     created(scripted::text(
                         family_entry + "/bgp-family-networks/family-network/route-map", "x"))}),
        0);
    EXPECT_TRUE(sysrepo().errors.empty());
}

TEST_F(EditRefusal, IsForgottenWhenTheNextEditComes) {
    edit_as(created(scripted::number(as_path, 7)), {17});
    sysrepo().errors.clear();
    edit_as(deleted(scripted::number(as_path, 7)), {16});
    expect_told(as_path, refused_with("16, \"invalid value\"; correct the value"));
}

// --- Without a daemon, and calls -------------------------------------------------------

class RefusalWithoutDaemon : public support::PluginTest {
  protected:
    RefusalWithoutDaemon() { host_plugin(); }
};

constexpr const char *unreachable =
    "the configuration daemon is not reachable at 127.0.0.1:8888; start it and try again";

TEST_F(RefusalWithoutDaemon, EditIsToldWhereTheDaemonShouldBe) {
    sysrepo().changes = {created(scripted::number(as_path, 7))};
    EXPECT_EQ(bgp_config_as_change_cb(scripted::session(), "orv_bgp", as_path.c_str(), SR_EV_CHANGE,
                                      1, nullptr),
              20);
    expect_told(as_path, unreachable);
}

struct Call {
    const char *path;
    sr_rpc_cb callback;
    int sub_mod;

    friend void PrintTo(const Call &call, std::ostream *out) { *out << call.path; }
};
constexpr Call calls[] = {
    {"/orv_bgp:ip-bgp-evpn", ip_bgp_evpn_cb, 18},
    {"/orv_bgp:ip-bgp-info", ip_bgp_info_cb, 19},
    {"/orv_bgp:ip-bgp-neighbor", ip_bgp_neighbor_cb, 20},
    {"/orv_bgp:ip-bgp-summary", ip_bgp_summary_cb, 21},
    {"/orv_bgp:clear-ip-bgp", clear_ip_bgp_cb, 22},
};
static_assert(std::size(calls) == configd::query_count, "one row for each query");

int make_call(const Call &call, const scripted::Value &input, sr_event_t event = SR_EV_RPC) {
    sr_val_t *value = scripted::make_value(input);
    sr_val_t *output = nullptr;
    size_t output_cnt = 0;
    const int rc = call.callback(scripted::session(), call.path, value, 1, event, 1, &output,
                                 &output_cnt, nullptr);
    sr_free_val(value);
    std::free(output);
    return rc;
}

scripted::Value some_input() {
    return scripted::node("/orv_bgp:some/other", SR_LEAF_EMPTY_T);
}

class RpcRefusal : public support::PluginTest, public testing::WithParamInterface<Call> {
  protected:
    RpcRefusal() {
        host_plugin();
        configure_as(100);
    }
};
INSTANTIATE_TEST_SUITE_P(EveryRpc, RpcRefusal, testing::ValuesIn(calls), [](const auto &call) {
    return "sub_mod_" + std::to_string(call.param.sub_mod);
});

TEST_P(RpcRefusal, SaysWhereTheDaemonShouldBe) {
    EXPECT_EQ(make_call(GetParam(), some_input()), 14);
    expect_told(GetParam().path, unreachable);
}

TEST_P(RpcRefusal, SaysWhyThereIsNoReply) {
    RecordingDaemon daemon;
    const struct {
        configd::Answer answer;
        const char *why;
    } rows[] = {
        {configd::RawBytes{"", true},
         "the configuration daemon gave no reply (nothing came); see its log"},
        {configd::Reply{MODULE_ID_BGP + 1, GetParam().sub_mod, 0, ""},
         "the configuration daemon gave no reply (what came is another module's); see its log"},
        {configd::RawBytes{"abc", true}, "the configuration daemon gave no reply (what came is "
                                         "shorter than a message's header); see its log"},
        {configd::RawBytes{support::bytes_of(netconf_data_struc{MODULE_ID_BGP, GetParam().sub_mod,
                                                                0, BUF_SIZE_MAX + 1}),
                           true},
         "the configuration daemon's reply is longer than 10485760 bytes; ask for less"},
    };
    for (const auto &row : rows) {
        sysrepo().errors.clear();
        daemon.answer_next(row.answer);
        EXPECT_EQ(make_call(GetParam(), some_input()), 14);
        expect_told(GetParam().path, row.why);
    }
}

TEST_P(RpcRefusal, SaysThatTheReplyAnswersAnotherQuery) {
    if (GetParam().sub_mod == BGP_SUB_RPC_CLEAR_IP_BGP) {
        return; // any reply to it is success
    }
    RecordingDaemon daemon;
    daemon.answer_next(configd::Reply{MODULE_ID_BGP, 1, 0, ""});
    EXPECT_EQ(make_call(GetParam(), some_input()), -1);
    expect_told(GetParam().path, "the configuration daemon answered another query; see its log");
}

TEST_P(RpcRefusal, SaysThatTheEventIsNotAnRpcEvent) {
    EXPECT_EQ(make_call(GetParam(), some_input(), SR_EV_ABORT), 10);
    expect_told(GetParam().path, "event 3 is not an RPC event");
}

TEST_F(RefusalWithoutDaemon, RpcNamesTheInputThatIsTooLong) {
    configure_as(100);
    const struct {
        const Call &call;
        const char *leaf;
        std::size_t limit;
    } rows[] = {
        {calls[0], "evpn-route", 80}, {calls[1], "vrf-name", 64}, {calls[2], "ipaddr", 47},
        {calls[3], "vrf-name", 64},   {calls[4], "vrf-name", 65},
    };
    for (const auto &row : rows) {
        sysrepo().errors.clear();
        const std::string path = std::string(row.call.path) + "/" + row.leaf;
        EXPECT_EQ(make_call(row.call, scripted::text(path, std::string(row.limit + 1, 'x'))), 16);
        expect_told(path, "value of " + path + " is " + std::to_string(row.limit + 1) +
                              " bytes long, the limit is " + std::to_string(row.limit) +
                              "; shorten it");
    }
}

TEST_F(RefusalWithoutDaemon, RpcSaysThatTheCountsExceedTheReply) {
    RecordingDaemon daemon;
    bgp_rpc_ip_bgp_summary_output_neighbors block{};
    block.neighbor_number = 0xFFFFFFFF;
    daemon.answer_next(configd::Reply{MODULE_ID_BGP, 21, 0, support::bytes_of(block)});
    EXPECT_EQ(make_call(calls[3], some_input()), -1);
    expect_told(calls[3].path, "the configuration daemon's reply is refused: its counts exceed "
                               "the reply; see its log");
}

TEST_F(RefusalWithoutDaemon, IsToldToNobodyUnlessThePluginIsRegistered) {
    const auto told = [] {
        sysrepo().errors.clear();
        make_call(calls[3], some_input(), SR_EV_ABORT);
        return sysrepo().errors.size();
    };
    EXPECT_EQ(told(), 1U);
    sr_plugin_cleanup_cb(scripted::session(), nullptr);
    EXPECT_EQ(told(), 0U);
    sysrepo().subscribe_fails_at = 9;
    sysrepo().subscribe_result = SR_ERR_NOMEM;
    const CapturedOutput output;
    EXPECT_EQ(sr_plugin_init_cb(scripted::session(), nullptr), 4);
    EXPECT_EQ(told(), 0U);
}

TEST_F(RefusalWithoutDaemon, MissingSessionIsToldToNobody) {
    EXPECT_EQ(ip_bgp_summary_cb(nullptr, calls[3].path, nullptr, 0, SR_EV_RPC, 1, nullptr, nullptr,
                                nullptr),
              1);
    EXPECT_TRUE(sysrepo().errors.empty());
}

} // namespace
