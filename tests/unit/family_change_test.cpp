// Examples of edits of the address families of the instance and of VRFs, the lines of wrong keys,
// and traces. ChangeProperty compares the records of other edits, change_parser_test the lines of
// what does not fit.
#include "record_expectations.h"

#include <gmock/gmock.h>

#include <ostream>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::moved;
using support::bytes_of;
using support::CapturedOutput;
using support::Records;

using Changes = std::vector<scripted::Change>;

constexpr std::size_t neighbor_size = sizeof(bgp_address_family_neighbor_universal_val);

struct NeighborLeaf {
    const char *node;
    int code;
    const char *trace;
};

struct FamilyKind {
    const char *name;
    support::ChangeCallback callback;
    std::string function;
    std::string subscription;
    bool in_vrf;
    std::string closing;
    // The deletion of the first one includes that of the others.
    std::vector<NeighborLeaf> neighbor_leaves;

    friend void PrintTo(const FamilyKind &kind, std::ostream *out) { *out << kind.name; }
};

const FamilyKind kinds[] = {
    {"Instance",
     bgp_config_address_family_change_cb,
     "[bgp_config_address_family_change_cb]",
     "/orv_bgp:router-bgp/bgp-address-family/address-family",
     false,
     "address family change config over\n",
     {{"activate", 9, "set neighbor activate.\n"},
      {"next-hop-self", 10, "set neighbor next hop self.\n"},
      {"route-reflector-client", 11, "set neighbor route_reflector_client.\n"}}},
    {"Vrf",
     bgp_config_address_family_vrf_change_cb,
     "[bgp_config_address_family_vrf_change_cb]",
     "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
     true,
     "address family change vrf config over\n",
     {{"remote-as", 13, "set vrf neighbor remote as.\n"},
      {"activate", 14, "set neighbor activate.\n"},
      {"description", 15, "set vrf neighbor description.\n"},
      {"ebgp-multihop", 16, "set vrf neighbor ebgp_multihop.\n"},
      {"update-source", 17, "set vrf neighbor update_source.\n"}}}};

class FamilyTest : public support::ChangeCallbackTest {
  protected:
    explicit FamilyTest(const FamilyKind &kind) : kind_(kind) {}

    int change(Changes changes) const {
        return run(kind_.callback, kind_.subscription.c_str(), std::move(changes));
    }

    // The path of the family, of one of its containers, of an entry in that.
    std::string family() const {
        return kind_.subscription + "[afi='AFI_IP'][safi='SAFI_UNICAST']" +
               (kind_.in_vrf ? "[vrf-name='red']" : "");
    }
    std::string container(const std::string &items) const {
        return family() + "/bgp-family-" + (kind_.in_vrf ? "vrf-" : "") + items + "s";
    }
    std::string entry(const std::string &item, const std::string &keys) const {
        return container(item) + "/family-" + (kind_.in_vrf ? "vrf-" : "") + item + keys;
    }
    std::string network() const { return entry("network", "[prefix='10.1.0.0/16']"); }
    std::string neighbor() const { return entry("neighbor", "[neighbor-address='10.0.0.1']"); }
    std::string redistribute() const {
        return entry("redistribute", "[protocol='ospf'][process='7']");
    }
    scripted::Value afi() const { return scripted::text(family() + "/afi", "AFI_IP"); }
    scripted::Value neighbor_leaf(const NeighborLeaf &leaf) const {
        const std::string path = neighbor() + "/" + leaf.node;
        return std::string(leaf.node) == "ebgp-multihop" ? scripted::number(path, 1)
                                                         : scripted::text(path, "1");
    }

    // The traces of an edit, without the numbers of lines.
    std::string trace(Changes changes) const {
        set_switches(1, 0);
        const CapturedOutput output;
        change(std::move(changes));
        set_switches(0, 0);
        return std::regex_replace(output.text(), std::regex("\\]\\[[0-9]+\\]"), "][#]");
    }
    std::string traced(const std::string &text) const { return kind_.function + "[#]" + text; }
    std::string begin_lines() const {
        const std::string &path = kind_.subscription;
        return "[ip_bgp_check_bgp_as_config_exist][#] rc:0\n"
               "[ip_bgp_check_bgp_as_config_exist][#] bgp router id:100\n" +
               traced("event is 1,p_xpath is " + path + ",xpath is " + path + "//.\n");
    }
    std::string node_lines(sr_change_oper_t operation, const std::string &node,
                           const std::string &path) const {
        return "bgp node from xpath:" + kind_.subscription + ", changeOper " +
               std::to_string(operation) + "\n" + traced("pNodeName='" + node + "'.\n") +
               path_line(path);
    }
    std::string keys_line(int safi = 1) const {
        return traced("get afi= 1, safi = " + std::to_string(safi) +
                      (kind_.in_vrf ? " , vrf name = red.\n" : " .\n"));
    }
    std::string pending_line(int sub_mod, const std::string &node) const {
        return traced(" sub_mod:" + std::to_string(sub_mod) + "  pNodeName:" + node + "\n");
    }
    std::string length_line(const char *verb, std::size_t length, int sub_mod) const {
        return traced(std::string(verb) + " data_buf_len = " + std::to_string(length) +
                      ",sub_mod = " + std::to_string(sub_mod) + "!");
    }
    std::string path_line(const std::string &path) const {
        return traced("use_val->xpath = " + path + " \n");
    }
    std::string end_lines(std::size_t length, int sub_mod) const {
        return traced("not found!") + length_line("send", length, sub_mod);
    }
    std::string parser_line(const std::string &item, const std::string &text) const {
        return "[container_address_family_" + std::string(kind_.in_vrf ? "vrf_" : "") + item +
               "_plugin_change_parse][#]" + text;
    }

    const FamilyKind &kind_;
};

class FamilyChange : public FamilyTest, public testing::WithParamInterface<FamilyKind> {
  protected:
    FamilyChange() : FamilyTest(GetParam()) {}

    const NeighborLeaf &carrier() const { return kind_.neighbor_leaves[0]; }
    const NeighborLeaf &carried() const { return kind_.neighbor_leaves[1]; }
};

INSTANTIATE_TEST_SUITE_P(Families, FamilyChange, testing::ValuesIn(kinds),
                         [](const auto &test) { return test.param.name; });

// --- Examples --------------------------------------------------------------------------

TEST_P(FamilyChange, NetworkIsOneRecordThatTheNextNetworkSends) {
    const std::string next = entry("network", "[prefix='::/0']");
    EXPECT_EQ(change({created(scripted::node(network(), SR_LIST_T)),
                      created(scripted::text(network() + "/prefix", "10.1.0.0/16")),
                      created(scripted::text(network() + "/route-map", "map")),
                      created(scripted::node(network() + "/backdoor", SR_LEAF_EMPTY_T)),
                      created(scripted::node(next, SR_LIST_T)),
                      created(scripted::text(next + "/prefix", "::/0"))}),
              SR_ERR_OK);
    const auto record_of = [this](const std::string &prefix) {
        auto record = support::zeroed<bgp_address_family_network_universal_val>();
        record.op = 1;
        record.bgp_id = as;
        record.address_family.afi = record.address_family.safi = 1;
        support::put(record.address_family.vrf_name, kind_.in_vrf ? "red" : "");
        support::put(record.network_ip_str, prefix);
        return record;
    };
    auto first = record_of("10.1.0.0/16");
    support::put(first.route_map, "map");
    first.backdoor = 1;
    EXPECT_EQ(sent(), (Records{{7, SR_OP_CREATED, bytes_of(first)},
                               {7, SR_OP_CREATED, bytes_of(record_of("::/0"))}}));
}

TEST_P(FamilyChange, NeighborIsOneRecordForEachLeaf) {
    Changes changes{created(scripted::text(neighbor() + "/neighbor-address", "10.0.0.1"))};
    std::vector<int> expected, codes;
    for (const NeighborLeaf &leaf : kind_.neighbor_leaves) {
        changes.push_back(created(neighbor_leaf(leaf)));
        expected.push_back(leaf.code);
    }
    EXPECT_EQ(change(changes), SR_ERR_OK);
    for (const auto &record : sent()) {
        codes.push_back(record.sub_mod);
    }
    EXPECT_EQ(codes, expected);
}

TEST_P(FamilyChange, DeletedNeighborIsOneRecord) {
    Changes changes{deleted(scripted::text(neighbor() + "/neighbor-address", "10.0.0.1"))};
    for (const NeighborLeaf &leaf : kind_.neighbor_leaves) {
        changes.push_back(deleted(neighbor_leaf(leaf)));
    }
    EXPECT_EQ(change(changes), SR_ERR_OK);
    const Records records = sent();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].sub_mod, carrier().code);
}

// --- Keys --------------------------------------------------------------------------------

TEST_P(FamilyChange, MissingListKeyIsReportedAndTheWalkContinuesWithoutACode) {
    const std::pair<std::string, const char *> rows[] = {
        {entry("network", "/prefix"), "network prefix is NULL.\n"},
        {entry("neighbor", "/activate"), "neighbor ip address is NULL.\n"},
        {entry("redistribute", "/route-map"), "redistribute protocol is NULL.\n"},
        {entry("redistribute", "[protocol='ospf']/route-map"), "redistribute process is NULL.\n"}};
    for (const auto &[path, line] : rows) {
        const CapturedOutput output;
        EXPECT_EQ(change({created(scripted::text(path, "1"))}), SR_ERR_INVAL_ARG);
        EXPECT_EQ(output.text(), line);
    }
    EXPECT_EQ(sent(), Records{});
}

TEST_P(FamilyChange, FamilyWithoutKnownKeysIsAnInternalErrorAtOnce) {
    std::vector<std::pair<const char *, const char *>> rows = {
        {"", "address family safi is NULL.\n"},
        {"[vrf-name='red']", "address family safi is NULL.\n"},
        {"[afi='AFI_IP']", "address family safi is NULL.\n"},
        {"[afi='AFI_X'][safi='SAFI_X']", "safi value is wrong.\n"},
        {"[safi='SAFI_X'][vrf-name='red']", "safi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='safi_unicast']", "safi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='']", "safi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='1']", "safi value is wrong.\n"},
        {"[safi='SAFI_UNICAST']", "address family afi is NULL.\n"},
        {"[afi='AFI_IPV4'][safi='SAFI_UNICAST']", "afi value is wrong.\n"},
        {"[afi=''][safi='SAFI_UNICAST']", "afi value is wrong.\n"},
        {"[afi='AFI_IP ' ][safi='SAFI_UNICAST']", "afi value is wrong.\n"}};
    if (kind_.in_vrf) {
        rows.emplace_back("[afi='AFI_IP'][safi='SAFI_VRF']", "address family vrf name is NULL.\n");
    }
    for (const auto &[keys, line] : rows) {
        for (const char *node : {"/afi", "/vrf-name", "/bgp-family-networks",
                                 "/bgp-family-vrf-networks/family-vrf-network[prefix='x']"}) {
            const CapturedOutput output;
            EXPECT_EQ(change({created(scripted::node(network(), SR_LIST_T)),
                              created(scripted::text(kind_.subscription + keys + node, "1"))}),
                      SR_ERR_INTERNAL)
                << keys;
            EXPECT_EQ(output.text(), line) << keys;
        }
    }
    EXPECT_EQ(sent(), Records{}) << "what is pending is dropped";
}

// --- Traces ------------------------------------------------------------------------------

TEST_P(FamilyChange, NetworkIsTraced) {
    const auto lines = [&](const std::string &node, int pending, const std::string &leaf_line) {
        const std::string path = network() + "/" + node;
        return node_lines(SR_OP_CREATED, node, path) + keys_line() + pending_line(pending, node) +
               path_line(path) + parser_line("network", "set network prefix 10.1.0.0/16.\n") +
               leaf_line + length_line("get", 404, 7);
    };
    EXPECT_EQ(trace({created(scripted::text(network() + "/prefix", "10.1.0.0/16")),
                     created(scripted::text(network() + "/route-map", "map")),
                     created(scripted::node(network() + "/backdoor", SR_LEAF_EMPTY_T))}),
              begin_lines() + lines("prefix", 0, "") +
                  lines("route-map", 7, parser_line("network", "set network routemap map.\n")) +
                  lines("backdoor", 7, parser_line("network", "set network backdoor.\n")) +
                  end_lines(404, 7));
}

TEST_P(FamilyChange, LeavesOfANeighborAreTraced) {
    for (const NeighborLeaf &leaf : kind_.neighbor_leaves) {
        EXPECT_THAT(trace({created(neighbor_leaf(leaf))}),
                    testing::HasSubstr(path_line(neighbor() + "/" + leaf.node) +
                                       parser_line("neighbor", leaf.trace) +
                                       length_line("get", neighbor_size, leaf.code)));
    }
}

TEST_P(FamilyChange, RecordSentOnTheWayIsTraced) {
    const std::string path = redistribute() + "/route-map";
    EXPECT_EQ(trace({created(scripted::text(path, "map")), deleted(afi())}),
              begin_lines() + node_lines(SR_OP_CREATED, "route-map", path) + keys_line() +
                  pending_line(0, "route-map") + path_line(path) + length_line("get", 376, 8) +
                  node_lines(SR_OP_DELETED, "afi", family() + "/afi") + keys_line() +
                  pending_line(8, "afi") + length_line("send", 376, 8) +
                  path_line(family() + "/afi") + end_lines(0, 0) + kind_.closing);
}

TEST_P(FamilyChange, CarriedDeletionIsTraced) {
    const int code = carrier().code;
    EXPECT_THAT(trace({deleted(neighbor_leaf(carrier())), deleted(neighbor_leaf(carried()))}),
                testing::EndsWith(
                    length_line("get", neighbor_size, code) +
                    node_lines(SR_OP_DELETED, carried().node, neighbor() + "/" + carried().node) +
                    keys_line() + pending_line(code, carried().node) +
                    traced(" neighbor_data->op:0  changeOp:2\n") + end_lines(neighbor_size, code)));
    const std::string key = neighbor() + "/neighbor-address";
    EXPECT_THAT(trace({created(neighbor_leaf(carrier())), moved(scripted::text(key, "10.0.0.1"))}),
                testing::HasSubstr(pending_line(code, "neighbor-address") +
                                   traced(" neighbor_data->op:1  changeOp:3\n") +
                                   length_line("send", neighbor_size, code)));
}

TEST_P(FamilyChange, ContainerIsTracedUpToItsKeys) {
    const std::string path = container("network");
    EXPECT_EQ(trace({created(scripted::node(path, SR_CONTAINER_T))}),
              begin_lines() + node_lines(SR_OP_CREATED, path.substr(path.rfind('/') + 1), path) +
                  keys_line() + end_lines(0, 0) + kind_.closing);
}

TEST_P(FamilyChange, RecordWithoutACodeIsTraced) {
    EXPECT_THAT(trace({created(scripted::text(neighbor() + "/neighbor-address", "10.0.0.1"))}),
                testing::EndsWith(length_line("get", neighbor_size, 0) +
                                  end_lines(neighbor_size, 0) +
                                  "\nchange cfg for bgp failed:Item not found"));
}

TEST_P(FamilyChange, RefusalIsTraced) {
    const Changes at_the_end{created(scripted::node(network(), SR_LIST_T))};
    const Changes on_the_way{at_the_end[0], created(afi())};
    const std::pair<const Changes *, std::string> rows[] = {
        {&at_the_end, end_lines(404, 7) + "\nchange cfg for bgp failed:"},
        {&on_the_way, pending_line(7, "afi") + length_line("send", 404, 7) +
                          "\nchange cfg for bgp from xpath:" + family() + "/afi  failed:"}};
    for (const auto &[changes, lines] : rows) {
        daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
        EXPECT_THAT(trace(*changes), testing::EndsWith(lines + "Operation not supported"));
        daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
        EXPECT_THAT(trace(*changes), testing::EndsWith(lines + "Item not found" + kind_.closing));
    }
}

// --- The entry of a VRF ---------------------------------------------------------------------

class VrfFamilyChange : public FamilyTest {
  protected:
    VrfFamilyChange() : FamilyTest(kinds[1]) {}

    scripted::Value vrf_name(const std::string &name = "red") const {
        return scripted::text(vrf_entry(name) + "/vrf-name", name);
    }
    std::string vrf_entry(const std::string &name = "red") const {
        return kind_.subscription + "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='" + name + "']";
    }
    scripted::Value vrf_network() const {
        return scripted::node(
            vrf_entry() + "/bgp-family-vrf-networks/family-vrf-network[prefix='x']", SR_LIST_T);
    }
};

TEST_F(VrfFamilyChange, DeletedEntryIsOneRecordForAllThatItHolds) {
    EXPECT_EQ(change({deleted(vrf_name()), deleted(vrf_network())}), SR_ERR_OK);
    auto record = support::zeroed<address_family_val>();
    record.bgp_id = as;
    record.afi = 1;
    record.safi = 71;
    support::put(record.vrf_name, "red");
    EXPECT_EQ(sent(), (Records{{12, SR_OP_DELETED, bytes_of(record)}}));
}

TEST_F(VrfFamilyChange, NameLongerThanItsFieldIsRefused) {
    const CapturedOutput output;
    EXPECT_EQ(change({created(vrf_name(std::string(66, 'v')))}), SR_ERR_INVALID_VALUE);
    EXPECT_EQ(output.text(), "value of vrf-name is 66 bytes long, the limit is 65\n");
}

TEST_F(VrfFamilyChange, EntryIsTraced) {
    const std::string path = *vrf_name().xpath;
    EXPECT_EQ(trace({deleted(vrf_name())}),
              begin_lines() + node_lines(SR_OP_DELETED, "vrf-name", path) + keys_line(71) +
                  pending_line(0, "vrf-name") +
                  "address family get op = 0, bgp id = 100, afi = 1, safi = 71, vrfname = red, "
                  "sub_mode = 12\n" +
                  path_line(path) + end_lines(84, 12));
    EXPECT_THAT(
        trace({deleted(vrf_name()), deleted(vrf_network())}),
        testing::EndsWith(pending_line(12, "family-vrf-network[prefix='x']") + end_lines(84, 12)));
    const std::string name(65, 'v'); // fills its field
    EXPECT_THAT(trace({created(vrf_name(name))}),
                testing::HasSubstr(", vrfname = " + name + ", sub_mode = 12\n"));
}

} // namespace
