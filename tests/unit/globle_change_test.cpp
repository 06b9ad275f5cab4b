// Examples of edits of the instance, and their traces. ChangeProperty compares the records of other
// edits, change_parser_test the lines of what does not fit.
#include "record_expectations.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using support::bytes_of;
using support::CapturedOutput;
using support::Records;

using Changes = std::vector<scripted::Change>;

const std::string bgp_path = "/orv_bgp:router-bgp/bgp";
const std::string list = bgp_path + "/bgp-globle-neighbors/globle-neighbor";
const std::string neighbor_entry = list + "[neighbor-address='10.0.0.1']";

scripted::Value router_id() {
    return scripted::text(bgp_path + "/router-id", "192.0.2.1");
}
// A node of the neighbor, with this text.
scripted::Value node(const std::string &name, const std::string &content) {
    return scripted::text(neighbor_entry + "/" + name, content);
}

class GlobleChange : public support::ChangeCallbackTest {
  protected:
    static int change(Changes changes) {
        return run(bgp_config_globle_bgp_change_cb, bgp_path.c_str(), std::move(changes));
    }
    static bgp_globle_neighbor_config neighbor_record(int op) {
        auto record = support::zeroed<bgp_globle_neighbor_config>();
        record.op = op;
        record.bgp_id = as;
        support::put(record.neighbor_ip_or_tag, "10.0.0.1");
        support::put(record.remote_as, "200");
        return record;
    }
};

TEST_F(GlobleChange, NewNeighborIsOneRecordPerSettingWithTheSettingsBeforeIt) {
    EXPECT_EQ(change({created(scripted::node(neighbor_entry, SR_LIST_T)),
                      created(node("neighbor-address", "10.0.0.1")),
                      created(node("remote-as", "200")), created(node("description", "peer"))}),
              SR_ERR_OK);
    const auto first = neighbor_record(1);
    auto second = first;
    support::put(second.description, "peer");
    EXPECT_EQ(sent(),
              (Records{{3, SR_OP_CREATED, bytes_of(first)}, {4, SR_OP_CREATED, bytes_of(second)}}));
}

TEST_F(GlobleChange, DeletionOfTheRemoteAsIncludesTheOtherDeletions) {
    EXPECT_EQ(
        change({deleted(scripted::node(neighbor_entry, SR_LIST_T)),
                deleted(node("neighbor-address", "10.0.0.1")), deleted(node("remote-as", "200")),
                deleted(node("description", "peer")), deleted(node("update-source", "lo"))}),
        SR_ERR_OK);
    EXPECT_EQ(sent(), (Records{{3, SR_OP_DELETED, bytes_of(neighbor_record(0))}}));
}

// --- Traces -----------------------------------------------------------------------------------

class GlobleTrace : public GlobleChange {
  protected:
    GlobleTrace() { set_switches(1, 0); }

    // The output for these changes, between the lines at the start and the end of every walk.
    static std::string trace(Changes changes) {
        const CapturedOutput output;
        change(std::move(changes));
        const std::string begin =
            "[ip_bgp_check_bgp_as_config_exist][169] rc:0\n"
            "[ip_bgp_check_bgp_as_config_exist][175] bgp router id:100\n"
            "[bgp_config_globle_bgp_change_cb][651]event is 1,p_xpath is /orv_bgp:router-bgp/bgp,"
            "xpath is /orv_bgp:router-bgp/bgp//.\n";
        const std::string text = output.text();
        EXPECT_EQ(text.substr(0, begin.size()), begin);
        return text.substr(std::min(begin.size(), text.size()));
    }
    static std::string node_lines(int operation, const std::string &name) {
        return "bgp node from xpath:/orv_bgp:router-bgp/bgp, changeOper " +
               std::to_string(operation) + "\n" + function + "[722]pNodeName='" + name + "'.\n";
    }
    static std::string path_line(const std::string &path) {
        return std::string(function) + "[741]use_val->xpath = " + path + " .\n";
    }
    static std::string send_line(int number, int length, int sub_mod, int operation, int flag) {
        return std::string(function) + "[" + std::to_string(number) +
               "]send data_buf_len = " + std::to_string(length) +
               ",sub_mod = " + std::to_string(sub_mod) + " changeOp:" + std::to_string(operation) +
               "  remote_as_delete_fg:" + std::to_string(flag) + "!";
    }
    static std::string sending_lines(int length, int sub_mod, int operation, int flag) {
        return send_line(750, length, sub_mod, operation, flag) + function +
               "[766] set remote_as_delete_fg = 0\n" +
               send_line(770, length, sub_mod, operation, 0);
    }

    static constexpr const char *function = "[bgp_config_globle_bgp_change_cb]";
    const std::string not_found = std::string(function) + "[668]not found!";
    const std::string over = "globle bgp change config over\n";
};

TEST_F(GlobleTrace, OfASentSetting) {
    EXPECT_EQ(trace({created(router_id())}), node_lines(0, "router-id") +
                                                 path_line(bgp_path + "/router-id") +
                                                 sending_lines(44, 2, 0, 0) + not_found + over);
}

TEST_F(GlobleTrace, OfADeletedRemoteAsAndWhatItCarries) {
    EXPECT_EQ(trace({deleted(node("remote-as", "200")), deleted(node("description", "peer")),
                     created(node("description", "peer"))}),
              node_lines(2, "remote-as") + path_line(neighbor_entry + "/remote-as") +
                  sending_lines(412, 3, 2, 0) + function + "[777] set remote_as_delete_fg = 1\n" +
                  node_lines(2, "description") + path_line(neighbor_entry + "/description") +
                  send_line(750, 412, 4, 2, 1) + function + "[760] sub_mod:0 continue\n" +
                  node_lines(0, "description") + path_line(neighbor_entry + "/description") +
                  sending_lines(412, 4, 0, 1) + not_found + over);
}

TEST_F(GlobleTrace, OfANeighborWithoutASetting) {
    EXPECT_EQ(trace({created(node("neighbor-address", "10.0.0.1"))}),
              node_lines(0, "neighbor-address") + path_line(neighbor_entry + "/neighbor-address") +
                  not_found + "\nchange cfg for bgp failed:Item not found");
}

TEST_F(GlobleTrace, OfAContainerEndsWithItsName) {
    const std::string path = bgp_path + "/bgp-globle-neighbors";
    EXPECT_EQ(trace({created(scripted::node(path, SR_CONTAINER_T))}),
              node_lines(0, "bgp-globle-neighbors") + not_found + over);
}

TEST_F(GlobleTrace, OfAParsersError) {
    EXPECT_EQ(trace({created(scripted::node(list, SR_LIST_T))}),
              node_lines(0, "globle-neighbor") + path_line(list) +
                  "neighbor address value is NULL.\n" + function + "[794] error, need send = 7");
}

TEST_F(GlobleTrace, OfARefusedSetting) {
    const std::string lines = node_lines(0, "router-id") + path_line(bgp_path + "/router-id") +
                              sending_lines(44, 2, 0, 0) +
                              "\nchange cfg for bgp from xpath:" + bgp_path + "/router-id  failed:";
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_EQ(trace({created(router_id())}), lines + "Operation not supported");
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    EXPECT_EQ(trace({created(router_id())}), lines + "Item not found" + over);
}

TEST_F(GlobleTrace, OfARecordRefusedAtTheEnd) {
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_THAT(
        trace({created(node("router-id", "192.0.2.1"))}),
        testing::EndsWith(not_found + "\nchange cfg for bgp failed:Operation not supported"));
}

} // namespace
