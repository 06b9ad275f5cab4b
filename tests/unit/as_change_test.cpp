#include "plugin_test.h"
#include "recording_daemon.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::modified;
using scripted::moved;
using scripted::sysrepo;
using support::bytes_of;
using support::CapturedOutput;

constexpr const char *subscription = "/orv_bgp:router-bgp/as";

scripted::Value as_leaf(std::uint32_t as) {
    return scripted::number(subscription, as);
}

class AsChange : public support::PluginTest {
  protected:
    static int change(std::vector<scripted::Change> changes, sr_event_t event = SR_EV_CHANGE) {
        sysrepo().changes = std::move(changes);
        return bgp_config_as_change_cb(scripted::session(), "orv_bgp", subscription, event, 1,
                                       nullptr);
    }
    // The payloads that the daemon received.
    std::vector<std::string> sent() {
        std::vector<std::string> payloads;
        for (const auto &message : daemon.take_messages()) {
            EXPECT_EQ(message.module, MODULE_ID_BGP);
            EXPECT_EQ(message.sub_mod, BGP_SUB_BGP_AS);
            EXPECT_EQ(message.bytes.size(), 24U);
            payloads.emplace_back(message.payload());
        }
        return payloads;
    }
    static std::string record(std::int32_t op, std::uint32_t as) {
        return bytes_of(bgp_as_val{op, as});
    }

    support::RecordingDaemon daemon;
};

using Payloads = std::vector<std::string>;

TEST_F(AsChange, CreationIsSentAndSetsTheInstance) {
    EXPECT_EQ(change({created(as_leaf(65001))}), SR_ERR_OK);
    EXPECT_EQ(sent(), Payloads{record(1, 65001)});
    EXPECT_EQ(g_bgp_id, 65001U);
    EXPECT_EQ(sysrepo().iterator_path, "/orv_bgp:router-bgp/as//.");
}

TEST_F(AsChange, ModificationSendsTheNewNumber) {
    g_bgp_id = 100;
    EXPECT_EQ(change({modified(as_leaf(100), as_leaf(200))}), SR_ERR_OK);
    EXPECT_EQ(sent(), Payloads{record(1, 200)});
    EXPECT_EQ(g_bgp_id, 200U);
}

TEST_F(AsChange, DeletionSendsTheOldNumberAndLeavesNoInstance) {
    g_bgp_id = 100;
    EXPECT_EQ(change({deleted(as_leaf(100))}), SR_ERR_OK);
    EXPECT_EQ(sent(), Payloads{record(0, 100)});
    EXPECT_EQ(g_bgp_id, 0U);
}

TEST_F(AsChange, MoveIsSentAsSuchAndLeavesTheInstanceAsItWas) {
    g_bgp_id = 7;
    EXPECT_EQ(change({moved(as_leaf(100))}), SR_ERR_OK);
    EXPECT_EQ(sent(), Payloads{record(-1, 100)});
    EXPECT_EQ(g_bgp_id, 7U);
}

TEST_F(AsChange, EveryChangeIsSentByItselfInOrder) {
    EXPECT_EQ(change({deleted(as_leaf(1)), created(as_leaf(2)), modified(as_leaf(2), as_leaf(3))}),
              SR_ERR_OK);
    EXPECT_EQ(sent(), (Payloads{record(0, 1), record(1, 2), record(1, 3)}));
    EXPECT_EQ(g_bgp_id, 3U);
}

TEST_F(AsChange, DaemonsRefusalIsTheResultAndLeavesTheInstanceAsItWas) {
    for (const int code : {1, 16, 17, 18, 19, 20, -1}) {
        g_bgp_id = 7;
        daemon.answer_next(configd::ResultCode{code});
        EXPECT_EQ(change({created(as_leaf(65001)), created(as_leaf(65002))}), code);
        EXPECT_EQ(sent(), Payloads{record(1, 65001)}) << "the walk ends with the refusal";
        EXPECT_EQ(g_bgp_id, 7U);
    }
}

TEST_F(AsChange, OtherNodesAreIgnored) {
    EXPECT_EQ(change({created(scripted::number("/orv_bgp:router-bgp/ass", 1)),
                      created(scripted::node("/orv_bgp:router-bgp/router", SR_CONTAINER_T)),
                      created(as_leaf(65001))}),
              SR_ERR_OK);
    EXPECT_EQ(sent(), Payloads{record(1, 65001)});
}

// --- Traces ----------------------------------------------------------------------

class AsChangeTrace : public AsChange {
  protected:
    AsChangeTrace() { set_switches(1, 0); }
};

TEST_F(AsChangeTrace, OfAnAcceptedChange) {
    const CapturedOutput output;
    change({created(as_leaf(65001))});
    EXPECT_THAT(output.text(),
                testing::MatchesRegex(
                    ".bgp_config_as_change_cb..1369.event is 1,p_xpath is /orv_bgp:router-bgp/as,"
                    "xpath is /orv_bgp:router-bgp/as//.\n"
                    "choose value for oper 0 success. old_value:.nil., new_value:0x[0-9a-f]+\n"
                    ".bgp_config_as_change_cb..1407.pNodeName=as.\n"
                    ".bgp_config_as_change_cb..1412. need_send:0 sub_mod:0\n"
                    "as:65001 bgp_as.op:1\n"
                    ".bgp_config_as_change_cb:1443.rc = 0\n"
                    "\nsr_get_change_next\tnot found"));
}

TEST_F(AsChangeTrace, OfARefusedChange) {
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    const CapturedOutput output;
    change({deleted(as_leaf(4294967295U))});
    EXPECT_THAT(output.text(),
                testing::MatchesRegex(
                    ".bgp_config_as_change_cb..1369.event is 1,p_xpath is /orv_bgp:router-bgp/as,"
                    "xpath is /orv_bgp:router-bgp/as//.\n"
                    "choose value for oper 2 success. old_value:0x[0-9a-f]+, new_value:.nil.\n"
                    ".bgp_config_as_change_cb..1407.pNodeName=as.\n"
                    ".bgp_config_as_change_cb..1412. need_send:0 sub_mod:0\n"
                    "as:4294967295 bgp_as.op:0\n"
                    "\nchange cfg for bgp from xpath:/orv_bgp:router-bgp/as  failed:"
                    "Operation not supported"));
}

TEST_F(AsChangeTrace, OfADaemonsFive) {
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    const CapturedOutput output;
    change({created(as_leaf(1))});
    EXPECT_THAT(output.text(), testing::EndsWith("as:1 bgp_as.op:1\n"
                                                 "\nchange cfg for bgp from xpath:"
                                                 "/orv_bgp:router-bgp/as  failed:Item not found"
                                                 "bgp-id change config over\n"));
}

} // namespace
