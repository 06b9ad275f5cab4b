#include "record_expectations.h"

#include <gmock/gmock.h>

#include <ostream>
#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::modified;
using scripted::moved;
using scripted::sysrepo;
using support::CapturedOutput;
using support::change_of;
using support::Leaf;
using support::Operation;
using support::operations;
using support::RecordBytes;
using support::Records;
using support::without_value;

using Changes = std::vector<scripted::Change>;

constexpr const char *subscription = "/orv_bgp:router-bgp/bgp";

constexpr Leaf router_id = {"router-id", 2, RECORD_FIELD(bgp_globle_config, router_id), Leaf::text};
constexpr Leaf remote_as = {"remote-as", 3, RECORD_FIELD(bgp_globle_neighbor_config, remote_as),
                            Leaf::text};
constexpr Leaf description = {"description", 4,
                              RECORD_FIELD(bgp_globle_neighbor_config, description), Leaf::text};
constexpr Leaf multihop = {"ebgp-multihop", 5,
                           RECORD_FIELD(bgp_globle_neighbor_config, ebgp_multihop), Leaf::number};
constexpr Leaf update_source = {
    "update-source", 6, RECORD_FIELD(bgp_globle_neighbor_config, update_source), Leaf::text};
constexpr const Leaf *neighbor_leaves[] = {&remote_as, &description, &multihop, &update_source};
// The deletion of the remote AS includes the deletions of these.
constexpr const Leaf *carried_leaves[] = {&description, &multihop, &update_source};

constexpr auto op_field = RECORD_FIELD(bgp_globle_neighbor_config, op);
constexpr auto bgp_id_field = RECORD_FIELD(bgp_globle_neighbor_config, bgp_id);
constexpr auto address_field = RECORD_FIELD(bgp_globle_neighbor_config, neighbor_ip_or_tag);

std::string path_of(const Leaf &leaf) {
    return std::string(subscription) + "/" + leaf.node;
}
// A neighbor's list entry or one of its nodes.
std::string neighbor_path(const std::string &address, const std::string &node = "") {
    return std::string(subscription) + "/bgp-globle-neighbors/globle-neighbor[neighbor-address='" +
           address + "']" + (node.empty() ? "" : "/" + node);
}

scripted::Value entry(const std::string &address) {
    return scripted::node(neighbor_path(address), SR_LIST_T);
}
scripted::Value key(const std::string &address) {
    return scripted::text(neighbor_path(address, "neighbor-address"), address);
}
scripted::Value setting(const std::string &address, const Leaf &leaf, std::uint32_t content) {
    return leaf.value(neighbor_path(address, leaf.node), content);
}
scripted::Value router(std::uint32_t content) {
    return router_id.value(path_of(router_id), content);
}

class GlobleChange : public support::ChangeCallbackTest {
  protected:
    static int change(Changes changes, sr_event_t event = SR_EV_CHANGE) {
        return run(bgp_config_globle_bgp_change_cb, subscription, std::move(changes), event);
    }
    static RecordBytes head(RecordBytes record, int op) {
        return record.put(op_field, op).put(bgp_id_field, as);
    }
    static RecordBytes router_record(int op) { return head(RecordBytes(44), op); }
    static RecordBytes neighbor_record(int op, const std::string &address) {
        return head(RecordBytes(412), op).put(address_field, address);
    }
    // The record of the same neighbor or another one, written over `earlier`.
    static RecordBytes next_record(const RecordBytes &earlier, int op, const std::string &address) {
        return head(RecordBytes(412, earlier), op).put(address_field, address);
    }
    static RecordBytes with(RecordBytes record, const Leaf &leaf, std::uint32_t content) {
        leaf.put(record, content);
        return record;
    }
};

// --- One setting ------------------------------------------------------------------

struct Setting {
    const Leaf *leaf;
    const char *address; // of the neighbor; nullptr: a setting of the instance

    friend void PrintTo(const Setting &setting, std::ostream *out) { *out << setting.leaf->node; }
};

std::string setting_name(const testing::TestParamInfo<Setting> &test) {
    std::string name = test.param.leaf->node;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class GlobleSetting : public GlobleChange, public testing::WithParamInterface<Setting> {
  protected:
    static const Leaf &leaf() { return *GetParam().leaf; }
    static std::string path() {
        return GetParam().address == nullptr ? path_of(leaf())
                                             : neighbor_path(GetParam().address, leaf().node);
    }
    static RecordBytes record(int op) {
        return GetParam().address == nullptr ? router_record(op)
                                             : neighbor_record(op, GetParam().address);
    }
    static scripted::Value value(std::uint32_t content) { return leaf().value(path(), content); }
};

INSTANTIATE_TEST_SUITE_P(Leaves, GlobleSetting,
                         testing::Values(Setting{&router_id, nullptr},
                                         Setting{&remote_as, "10.0.0.1"},
                                         Setting{&description, "10.0.0.1"},
                                         Setting{&multihop, "10.0.0.1"},
                                         Setting{&update_source, "fe80::1"}),
                         setting_name);

TEST_P(GlobleSetting, EveryOperationIsSentAtOnceWithItsCode) {
    for (const Operation &operation : operations) {
        EXPECT_EQ(change({change_of(operation.change, value(200), value(31))}), SR_ERR_OK);
        EXPECT_EQ(
            sent(),
            Records{
                with(record(operation.op), leaf(), 200).sent(leaf().sub_mod, operation.change)});
    }
}

class GlobleText : public GlobleSetting {};

INSTANTIATE_TEST_SUITE_P(Leaves, GlobleText,
                         testing::Values(Setting{&router_id, nullptr},
                                         Setting{&remote_as, "10.0.0.1"},
                                         Setting{&description, "10.0.0.1"},
                                         Setting{&update_source, "10.0.0.1"}),
                         setting_name);

TEST_P(GlobleText, LongerThanItsFieldIsRefusedAndWhatWasSentStaysSent) {
    const std::size_t size = leaf().field.size;
    const CapturedOutput output;
    EXPECT_EQ(
        change({created(router(1)), created(scripted::text(path(), std::string(size + 1, 'x'))),
                created(router(2))}),
        SR_ERR_INVALID_VALUE);
    EXPECT_EQ(sent(), Records{with(router_record(1), router_id, 1).sent(2, SR_OP_CREATED)});
    expect_one_line(output.text(),
                    {leaf().node, " " + std::to_string(size + 1), " " + std::to_string(size)});
}

TEST_P(GlobleText, IsNotReadFromAValueWithoutText) {
    for (const sr_type_t type : support::types_without_text) {
        const CapturedOutput output;
        EXPECT_EQ(change({created({path(), type, std::nullopt, 1})}), SR_ERR_INVALID_VALUE) << type;
        expect_one_line(output.text(), {leaf().node});
    }
    const CapturedOutput output;
    EXPECT_EQ(change({created({path(), SR_STRING_T, std::nullopt, 0})}), SR_ERR_INVALID_VALUE);
    expect_one_line(output.text(), {leaf().node});
    EXPECT_EQ(sent(), Records{});
}

// --- The neighbor's address ------------------------------------------------------------

TEST_F(GlobleChange, AddressLongerThanItsFieldIsRefusedAtAnyNodeOfTheNeighbor) {
    const std::string address(address_field.size + 1, 'a');
    for (const auto &value : {entry(address), key(address), setting(address, remote_as, 200)}) {
        const CapturedOutput output;
        EXPECT_EQ(change({created(router(1)), created(value), created(router(2))}),
                  SR_ERR_INVALID_VALUE);
        expect_one_line(output.text(), {"neighbor-address", " 48", " 47"});
        EXPECT_EQ(sent(), Records{with(router_record(1), router_id, 1).sent(2, SR_OP_CREATED)});
    }
}

TEST_F(GlobleChange, NeighborWithoutAnAddressIsAnInternalError) {
    const std::string list = std::string(subscription) + "/bgp-globle-neighbors/globle-neighbor";
    for (const std::string &path : {list, list + "/remote-as", list + "[name='a']/description"}) {
        const CapturedOutput output;
        EXPECT_EQ(change({created(router(1)), created(scripted::text(path, "200"))}),
                  SR_ERR_INTERNAL);
        EXPECT_EQ(output.text(), "neighbor address value is NULL.\n");
        EXPECT_EQ(sent(), Records{with(router_record(1), router_id, 1).sent(2, SR_OP_CREATED)});
    }
}

// --- Several settings in one edit ------------------------------------------------------

TEST_F(GlobleChange, NewNeighborIsOneRecordPerSettingWithTheSettingsBeforeIt) {
    EXPECT_EQ(change({created(entry("10.0.0.1")), created(key("10.0.0.1")),
                      created(setting("10.0.0.1", remote_as, 200)),
                      created(scripted::text(neighbor_path("10.0.0.1", "description"), "peer"))}),
              SR_ERR_OK);
    const RecordBytes first = with(neighbor_record(1, "10.0.0.1"), remote_as, 200);
    EXPECT_EQ(sent(),
              (Records{first.sent(3, SR_OP_CREATED),
                       RecordBytes(first).put(description.field, "peer").sent(4, SR_OP_CREATED)}));
}

TEST_F(GlobleChange, SettingsOfAnotherNeighborJoinThoseOfTheFirst) {
    EXPECT_EQ(change({created(setting("2001:db8::1", remote_as, 200)),
                      deleted(setting("10.0.0.2", multihop, 7))}),
              SR_ERR_OK);
    const RecordBytes first = with(neighbor_record(1, "2001:db8::1"), remote_as, 200);
    EXPECT_EQ(
        sent(),
        (Records{first.sent(3, SR_OP_CREATED),
                 with(next_record(first, 0, "10.0.0.2"), multihop, 7).sent(5, SR_OP_DELETED)}));
}

TEST_F(GlobleChange, KeyLeafClearsWhatEarlierSettingsLeft) {
    EXPECT_EQ(change({created(setting("10.0.0.1", remote_as, 200)),
                      created(setting("10.0.0.1", multihop, 7)), created(key("10.0.0.2")),
                      created(setting("10.0.0.2", description, 1))}),
              SR_ERR_OK);
    const Records records = sent();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[2], with(neighbor_record(1, "10.0.0.2"), description, 1).sent(4, 0));
}

TEST_F(GlobleChange, RouterIdentifierReplacesOnlyTheStartOfANeighborsRecord) {
    EXPECT_EQ(change({created(setting("2001:db8::1", remote_as, 200)), created(router(7)),
                      created(setting("10.0.0.2", description, 1))}),
              SR_ERR_OK);
    const RecordBytes first = with(neighbor_record(1, "2001:db8::1"), remote_as, 200);
    const RecordBytes second = with(router_record(1), router_id, 7);
    EXPECT_EQ(sent(),
              (Records{first.sent(3, 0), second.sent(2, 0),
                       with(next_record(first, 1, "10.0.0.2"), description, 1).sent(4, 0)}));
}

// --- A neighbor without a setting -------------------------------------------------------

TEST_F(GlobleChange, NeighborLeftWithoutASettingIsAnInvalidArgument) {
    const auto unknown = scripted::text(neighbor_path("10.0.0.1", "unknown"), "1");
    for (const auto &value : {entry("10.0.0.1"), key("10.0.0.1"), unknown}) {
        for (const Operation &operation : operations) {
            EXPECT_EQ(change({change_of(operation.change, value, value)}), SR_ERR_INVAL_ARG);
        }
    }
    EXPECT_EQ(sent(), Records{});
}

TEST_F(GlobleChange, NodeNamedLikeTheRouterIdentifierInANeighborIsSentAtTheEnd) {
    const auto value = scripted::text(neighbor_path("10.0.0.1", "router-id"), "1.1.1.1");
    EXPECT_EQ(change({created(value), deleted(entry("10.0.0.1"))}), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{neighbor_record(0, "10.0.0.1").sent(2, SR_OP_DELETED)});
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_SUPPORT});
    EXPECT_EQ(change({created(value)}), SR_ERR_NOT_SUPPORT);
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    EXPECT_EQ(change({created(value)}), SR_ERR_OK);
}

// --- Deletion of the remote AS ------------------------------------------------------------

TEST_F(GlobleChange, DeletionOfTheRemoteAsIncludesTheOtherDeletions) {
    for (const Leaf *leaf : carried_leaves) {
        EXPECT_EQ(change({deleted(setting("10.0.0.1", remote_as, 200)),
                          deleted(setting("10.0.0.1", *leaf, 7))}),
                  SR_ERR_OK);
        EXPECT_EQ(
            sent(),
            Records{with(neighbor_record(0, "10.0.0.1"), remote_as, 200).sent(3, SR_OP_DELETED)});
    }
}

TEST_F(GlobleChange, DeletionOfAWholeNeighborIsOneRecord) {
    Changes changes{deleted(entry("10.0.0.1")), deleted(key("10.0.0.1"))};
    for (const Leaf *leaf : neighbor_leaves) {
        changes.push_back(deleted(setting("10.0.0.1", *leaf, 200)));
    }
    EXPECT_EQ(change(changes), SR_ERR_OK);
    EXPECT_EQ(sent(),
              Records{with(neighbor_record(0, "10.0.0.1"), remote_as, 200).sent(3, SR_OP_DELETED)});
}

TEST_F(GlobleChange, DeletionOfTheRemoteAsIncludesDeletionsOfEveryNeighbor) {
    EXPECT_EQ(change({deleted(setting("10.0.0.1", remote_as, 200)),
                      deleted(setting("10.0.0.2", description, 7)),
                      deleted(setting("10.0.0.3", remote_as, 300)),
                      deleted(setting("10.0.0.4", multihop, 7))}),
              SR_ERR_OK);
    const Records records = sent();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1], with(with(neighbor_record(0, "10.0.0.3"), description, 7), remote_as, 300)
                              .sent(3, SR_OP_DELETED))
        << "what a deletion that is not sent says stays in the buffer";
}

TEST_F(GlobleChange, EverySentRecordEndsTheDeletionOfTheRemoteAs) {
    const auto last = setting("10.0.0.1", update_source, 9);
    for (const auto &between :
         {created(router(7)), modified(router(1), router(2)), deleted(router(7)),
          created(setting("10.0.0.1", remote_as, 200)), moved(setting("10.0.0.1", remote_as, 200)),
          created(setting("10.0.0.1", description, 7)),
          modified(setting("10.0.0.2", multihop, 7), setting("10.0.0.2", multihop, 8))}) {
        EXPECT_EQ(change({deleted(setting("10.0.0.1", remote_as, 200)), between, deleted(last)}),
                  SR_ERR_OK);
        const Records records = sent();
        ASSERT_EQ(records.size(), 3U);
        EXPECT_EQ(records[2].sub_mod, update_source.sub_mod);
        EXPECT_EQ(records[2].option, SR_OP_DELETED);
    }
}

TEST_F(GlobleChange, DeletedRemoteAsDoesNotAffectTheNextEdit) {
    EXPECT_EQ(change({deleted(setting("10.0.0.1", remote_as, 200))}), SR_ERR_OK);
    EXPECT_EQ(change({deleted(setting("10.0.0.1", description, 7))}), SR_ERR_OK);
    const Records records = sent();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1],
              with(neighbor_record(0, "10.0.0.1"), description, 7).sent(4, SR_OP_DELETED))
        << "nor does the buffer";
}

// --- The instance -------------------------------------------------------------------------

// --- The walk -------------------------------------------------------------------------------

TEST_F(GlobleChange, OtherNodesAreIgnored) {
    Changes changes{
        created(scripted::node(subscription, SR_CONTAINER_T)),
        created(scripted::text(std::string(subscription) + "/router-ids", "1")),
        created(scripted::text("/orv_bgp:router-bgp/bgp-globle-neighbors/globle-neighbor"
                               "[neighbor-address='10.0.0.1']/remote-as",
                               "200"))};
    for (const char *container : support::list_containers) {
        const std::string inside = neighbor_path("10.0.0.1", container);
        changes.push_back(created(scripted::node(inside, SR_CONTAINER_T)));
    }
    EXPECT_EQ(change(changes), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{});
}

// --- The parser -----------------------------------------------------------------------------

class GlobleNeighborParser : public GlobleChange {
  protected:
    static constexpr char fill = '\x5a';

    GlobleNeighborParser() {
        g_bgp_id = as;
        std::memset(&record_, fill, sizeof record_);
    }
    int parse(sr_change_oper_t operation, const scripted::Value &value, const char *node) {
        sr_val_t *made = scripted::make_value(value);
        const int result = container_bgp_globle_neighbor_plugin_change_parse(
            scripted::session(), operation, made, node, &record_, &length_, &sub_mod_);
        sr_free_val(made);
        return result;
    }
    std::string record() const { return support::bytes_of(record_); }
    // The record with only the fields that the parser writes for every node.
    static RecordBytes filled(int op) { return head(RecordBytes(412, fill), op); }

    bgp_globle_neighbor_config record_;
    std::uint32_t length_ = 0;
    std::uint32_t sub_mod_ = 77;
};

TEST_F(GlobleNeighborParser, LeafIsReadyToBeSentAndWritesItsFieldsOnly) {
    for (const Leaf *leaf : neighbor_leaves) {
        for (const Operation &operation : operations) {
            std::memset(&record_, fill, sizeof record_);
            length_ = 0;
            EXPECT_EQ(parse(operation.change, setting("10.0.0.1", *leaf, 200), leaf->node), 1);
            EXPECT_EQ(
                record(),
                with(filled(operation.op).put(address_field, "10.0.0.1"), *leaf, 200).bytes());
            EXPECT_EQ(length_, 412U);
            EXPECT_EQ(sub_mod_, static_cast<std::uint32_t>(leaf->sub_mod));
        }
    }
}

TEST_F(GlobleNeighborParser, OtherNodeIsNotReadyAndLeavesTheSubModuleCode) {
    EXPECT_EQ(parse(SR_OP_CREATED, entry("10.0.0.1"), "globle-neighbor"), 0);
    EXPECT_EQ(record(), filled(1).put(address_field, "10.0.0.1").bytes());
    EXPECT_EQ(length_, 412U);
    EXPECT_EQ(sub_mod_, 77U);
}

TEST_F(GlobleNeighborParser, KeyLeafClearsTheRecordAndIsNotReady) {
    EXPECT_EQ(parse(SR_OP_DELETED, key("10.0.0.1"), "neighbor-address"), 0);
    EXPECT_EQ(record(), neighbor_record(0, "10.0.0.1").bytes());
    EXPECT_EQ(length_, 412U);
    EXPECT_EQ(sub_mod_, 77U);
}

TEST_F(GlobleNeighborParser, NodeDecidesByItsNameAndNotByThePath) {
    EXPECT_EQ(parse(SR_OP_CREATED, setting("10.0.0.1", remote_as, 200), "description"), 1);
    EXPECT_EQ(record(), with(filled(1).put(address_field, "10.0.0.1"), description, 200).bytes());
    EXPECT_EQ(sub_mod_, 4U);
}

TEST_F(GlobleNeighborParser, MissingAddressIsAnErrorAfterTheHeadHasBeenWritten) {
    const CapturedOutput output;
    EXPECT_EQ(parse(SR_OP_MOVED, scripted::text("/a/globle-neighbor/remote-as", "1"), "remote-as"),
              SR_ERR_INTERNAL);
    EXPECT_EQ(record(), filled(-1).bytes());
    EXPECT_EQ(length_, 412U);
    EXPECT_EQ(sub_mod_, 77U);
    EXPECT_EQ(output.text(), "neighbor address value is NULL.\n");
}

TEST_F(GlobleNeighborParser, TextThatDoesNotFitLeavesItsFieldAsItWas) {
    const std::string content(description.field.size + 1, 'x');
    const CapturedOutput output;
    EXPECT_EQ(parse(SR_OP_CREATED,
                    scripted::text(neighbor_path("10.0.0.1", "description"), content),
                    "description"),
              SR_ERR_INVALID_VALUE);
    EXPECT_EQ(record(), filled(1).put(address_field, "10.0.0.1").bytes());
    EXPECT_EQ(sub_mod_, 77U);
    expect_one_line(output.text(), {"description", " 82", " 81"});
}

TEST_F(GlobleNeighborParser, EveryMissingArgumentIsAnInternalError) {
    sr_val_t *value = scripted::make_value(setting("10.0.0.1", remote_as, 200));
    // Each round leaves out one argument, the last one none.
    for (int missing = 0; missing <= 6; ++missing) {
        const auto given = [missing](int argument, auto *pointer) {
            return argument == missing ? nullptr : pointer;
        };
        EXPECT_EQ(container_bgp_globle_neighbor_plugin_change_parse(
                      given(0, scripted::session()), SR_OP_CREATED, given(1, value),
                      given(2, "remote-as"), given(3, &record_), given(4, &length_),
                      given(5, &sub_mod_)),
                  missing == 6 ? 1 : int{SR_ERR_INTERNAL})
            << missing;
        if (missing < 6) {
            EXPECT_EQ(record(), RecordBytes(412, fill).bytes());
            EXPECT_EQ(length_, 0U);
            EXPECT_EQ(sub_mod_, 77U);
        }
    }
    sr_free_val(value);
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
    static std::string node_lines(int operation, const char *node) {
        return "bgp node from xpath:/orv_bgp:router-bgp/bgp, changeOper " +
               std::to_string(operation) + "\n" + function + "[722]pNodeName='" + node + "'.\n";
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
    EXPECT_EQ(trace({created(router(1))}), node_lines(0, "router-id") +
                                               path_line(path_of(router_id)) +
                                               sending_lines(44, 2, 0, 0) + not_found + over);
}

TEST_F(GlobleTrace, OfADeletedRemoteAsAndWhatItCarries) {
    EXPECT_EQ(trace({deleted(setting("1", remote_as, 200)), deleted(setting("1", description, 7)),
                     created(setting("1", description, 7))}),
              node_lines(2, "remote-as") + path_line(neighbor_path("1", "remote-as")) +
                  sending_lines(412, 3, 2, 0) + function + "[777] set remote_as_delete_fg = 1\n" +
                  node_lines(2, "description") + path_line(neighbor_path("1", "description")) +
                  send_line(750, 412, 4, 2, 1) + function + "[760] sub_mod:0 continue\n" +
                  node_lines(0, "description") + path_line(neighbor_path("1", "description")) +
                  sending_lines(412, 4, 0, 1) + not_found + over);
}

TEST_F(GlobleTrace, OfANeighborWithoutASetting) {
    EXPECT_EQ(trace({created(key("1"))}), node_lines(0, "neighbor-address") +
                                              path_line(neighbor_path("1", "neighbor-address")) +
                                              not_found +
                                              "\nchange cfg for bgp failed:Item not found");
}

TEST_F(GlobleTrace, OfAContainerEndsWithItsName) {
    const std::string path = std::string(subscription) + "/bgp-globle-neighbors";
    EXPECT_EQ(trace({created(scripted::node(path, SR_CONTAINER_T))}),
              node_lines(0, "bgp-globle-neighbors") + not_found + over);
}

TEST_F(GlobleTrace, OfAParsersError) {
    const std::string path = std::string(subscription) + "/bgp-globle-neighbors/globle-neighbor";
    EXPECT_EQ(trace({created(scripted::node(path, SR_LIST_T))}),
              node_lines(0, "globle-neighbor") + path_line(path) +
                  "neighbor address value is NULL.\n" + function + "[794] error, need send = 7");
}

TEST_F(GlobleTrace, OfARefusedSetting) {
    const std::string lines = node_lines(0, "router-id") + path_line(path_of(router_id)) +
                              sending_lines(44, 2, 0, 0) +
                              "\nchange cfg for bgp from xpath:" + path_of(router_id) + "  failed:";
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_EQ(trace({created(router(1))}), lines + "Operation not supported");
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    EXPECT_EQ(trace({created(router(1))}), lines + "Item not found" + over);
}

TEST_F(GlobleTrace, OfARecordRefusedAtTheEnd) {
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_THAT(
        trace({created(scripted::text(neighbor_path("1", "router-id"), "1.1.1.1"))}),
        testing::EndsWith(not_found + "\nchange cfg for bgp failed:Operation not supported"));
}

} // namespace
