// The reason of a refusal that the client sees, on the real datastore and in the real host.
#include "datastore.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"
#include "sample_replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>

namespace {

using support::Datastore;
using support::Host;
using support::Outcome;
using support::RecordingDaemon;
using support::router_bgp;
using support::rpc;
using testing::HasSubstr;

class RefusalOnDatastore : public testing::Test {
  protected:
    // The output of a client for a reason and its path.
    static auto told(const std::string &reason, const std::string &path) {
        return testing::AllOf(HasSubstr(reason), HasSubstr(path + ")"),
                              testing::Not(HasSubstr(path + ": ")));
    }
    // Makes an edit that must be refused, and returns the output of the client.
    std::string refused(const std::string &content) const {
        const Outcome outcome = datastore.edit(router_bgp(content));
        EXPECT_NE(outcome.exit_code, 0) << content;
        return outcome.output;
    }
    std::string failed(const std::string &name) const {
        const Outcome outcome = datastore.call(rpc(name));
        EXPECT_NE(outcome.exit_code, 0) << name;
        return outcome.output;
    }

    Datastore datastore;
    std::optional<RecordingDaemon> daemon{std::in_place};
    Host host{datastore};
};

TEST_F(RefusalOnDatastore, EditWithoutAnAsNamesTheSettingAndWhatIsMissing) {
    EXPECT_THAT(refused("<bgp><router-id>192.0.2.1</router-id></bgp>"),
                told("no AS is configured; configure /orv_bgp:router-bgp/as first",
                     "/orv_bgp:router-bgp/bgp/router-id"));
    EXPECT_EQ(datastore.configuration(), "");
}

TEST_F(RefusalOnDatastore, EditThatTheDaemonRefusesNamesSettingCodeAndMeaning) {
    ASSERT_EQ(datastore.edit(router_bgp("<as>65001</as>")).exit_code, 0);
    daemon->answer_next(configd::ResultCode{17});
    EXPECT_THAT(
        refused("<bgp><bgp-globle-neighbors><globle-neighbor><neighbor-address>10.0.0.1"
                "</neighbor-address><description>peer</description></globle-neighbor>"
                "</bgp-globle-neighbors></bgp>"),
        told("the configuration daemon refused it with code 17, \"configuration does not exist\"",
             "globle-neighbor[neighbor-address='10.0.0.1']/description"));
    daemon->answer_next(configd::ResultCode{19});
    EXPECT_THAT(refused("<bgp-address-family><address-family><afi>AFI_IP</afi>"
                        "<safi>SAFI_UNICAST</safi><bgp-family-networks><family-network>"
                        "<prefix>10.1.0.0/16</prefix></family-network></bgp-family-networks>"
                        "</address-family></bgp-address-family>"),
                told("the configuration daemon refused it with code 19, \"not supported\"",
                     "family-network[prefix='10.1.0.0/16']/prefix"));
}

TEST_F(RefusalOnDatastore, EditWithoutADaemonNamesItsAddress) {
    daemon.reset();
    EXPECT_THAT(refused("<as>65001</as>"),
                told("the configuration daemon is not reachable at 127.0.0.1:8888; start it and "
                     "try again",
                     "/orv_bgp:router-bgp/as"));
}

TEST_F(RefusalOnDatastore, EditAfterTheDaemonEndedSaysWhatConnectsAgain) {
    ASSERT_EQ(datastore.edit(router_bgp("<as>65001</as>")).exit_code, 0);
    daemon.reset();
    EXPECT_THAT(refused("<as>65002</as>"),
                HasSubstr("the configuration daemon has closed the connection"));
    EXPECT_THAT(refused("<as>65002</as>"), HasSubstr("restart the plug-in host"));
}

TEST_F(RefusalOnDatastore, EditWithATextThatDoesNotFitNamesTheLimit) {
    ASSERT_EQ(datastore.edit(router_bgp("<as>65001</as>")).exit_code, 0);
    std::string description; // the model counts characters, the record bytes
    for (int i = 0; i < 80; ++i) {
        description += "\xC3\xA9";
    }
    EXPECT_THAT(refused("<bgp><bgp-globle-neighbors><globle-neighbor><neighbor-address>10.0.0.1"
                        "</neighbor-address><description>" +
                        description +
                        "</description></globle-neighbor></bgp-globle-neighbors></bgp>"),
                HasSubstr("value of description is 160 bytes long, the limit is 81; shorten it"));
}

TEST_F(RefusalOnDatastore, RpcWithoutADaemonNamesItsAddress) {
    daemon.reset();
    for (const char *name : {"ip-bgp-info", "ip-bgp-neighbor", "ip-bgp-summary"}) {
        EXPECT_THAT(failed(name), HasSubstr("the configuration daemon is not reachable at "
                                            "127.0.0.1:8888; start it and try again"))
            << name;
    }
}

TEST_F(RefusalOnDatastore, RpcSaysWhatIsWrongWithTheReply) {
    daemon->answer_next(configd::RawBytes{"", true});
    EXPECT_THAT(
        failed("ip-bgp-summary"),
        told("the configuration daemon gave no reply (nothing came)", "/orv_bgp:ip-bgp-summary"));
    bgp_rpc_ip_bgp_summary_output_neighbors block{};
    block.neighbor_number = 0xFFFFFFFF;
    std::string payload(sizeof block, '\0');
    std::memcpy(payload.data(), &block, sizeof block);
    daemon->answer_next(configd::Reply{MODULE_ID_BGP, BGP_SUB_RPC_IP_BGP_SUMMARY, 0, payload});
    EXPECT_THAT(failed("ip-bgp-summary"), HasSubstr("its counts exceed the reply"));
}

} // namespace
