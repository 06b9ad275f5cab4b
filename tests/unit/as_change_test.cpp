// An example of edits of the AS number, and their traces. ChangeProperty compares the records of
// other edits.
#include "record_expectations.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::modified;
using support::bytes_of;
using support::CapturedOutput;
using support::Records;

constexpr const char *as_path = "/orv_bgp:router-bgp/as";

scripted::Value as_leaf(std::uint32_t number) {
    return scripted::number(as_path, number);
}

class AsChange : public support::ChangeCallbackTest {
  protected:
    static int change(std::vector<scripted::Change> changes) {
        return run(bgp_config_as_change_cb, as_path, std::move(changes));
    }
    static std::string traced(std::vector<scripted::Change> changes) {
        set_switches(1, 0);
        const CapturedOutput output;
        change(std::move(changes));
        return output.text();
    }
};

TEST_F(AsChange, EveryChangeIsSentByItselfInOrder) {
    EXPECT_EQ(change({deleted(as_leaf(1)), created(as_leaf(2)), modified(as_leaf(2), as_leaf(3))}),
              SR_ERR_OK);
    EXPECT_EQ(sent(), (Records{{1, SR_OP_DELETED, bytes_of(bgp_as_val{0, 1})},
                               {1, SR_OP_CREATED, bytes_of(bgp_as_val{1, 2})},
                               {1, SR_OP_MODIFIED, bytes_of(bgp_as_val{1, 3})}}));
    EXPECT_EQ(g_bgp_id, 3U);
}

// --- Traces ----------------------------------------------------------------------

constexpr const char *event_trace =
    ".bgp_config_as_change_cb..1369.event is 1,p_xpath is /orv_bgp:router-bgp/as,"
    "xpath is /orv_bgp:router-bgp/as//.\n";
constexpr const char *node_trace = ".bgp_config_as_change_cb..1407.pNodeName=as.\n"
                                   ".bgp_config_as_change_cb..1412. need_send:0 sub_mod:0\n";

TEST_F(AsChange, AcceptedOneIsTraced) {
    EXPECT_THAT(traced({created(as_leaf(65001))}),
                testing::MatchesRegex(
                    std::string(event_trace) +
                    "choose value for oper 0 success. old_value:.nil., new_value:0x[0-9a-f]+\n" +
                    node_trace +
                    "as:65001 bgp_as.op:1\n"
                    ".bgp_config_as_change_cb:1443.rc = 0\n"
                    "\nsr_get_change_next\tnot found"));
}

TEST_F(AsChange, RefusedOneIsTraced) {
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_THAT(traced({deleted(as_leaf(4294967295U))}),
                testing::MatchesRegex(
                    std::string(event_trace) +
                    "choose value for oper 2 success. old_value:0x[0-9a-f]+, new_value:.nil.\n" +
                    node_trace +
                    "as:4294967295 bgp_as.op:0\n"
                    "\nchange cfg for bgp from xpath:/orv_bgp:router-bgp/as  failed:"
                    "Operation not supported"));
}

TEST_F(AsChange, DaemonsFiveIsTraced) {
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    EXPECT_THAT(traced({created(as_leaf(1))}),
                testing::EndsWith("as:1 bgp_as.op:1\n"
                                  "\nchange cfg for bgp from xpath:"
                                  "/orv_bgp:router-bgp/as  failed:Item not found"
                                  "bgp-id change config over\n"));
}

} // namespace
