// The differences between the address families of VRFs and those of the instance.
#include "family_paths.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::modified;
using support::CapturedOutput;
using support::change_of;
using support::Changes;
using support::FamilyEntry;
using support::joined;
using support::ListEntry;
using support::Operation;
using support::operations;
using support::Records;

class VrfFamilyChange : public support::FamilyTest {
  protected:
    static constexpr int entry_code = 12;

    VrfFamilyChange() : FamilyTest(support::vrf_family()) {}

    // The family of the VRF itself, and its lists.
    FamilyEntry vrf(const std::string &name = "red") const {
        return family({"AFI_IP", "SAFI_VRF", name, 1, 71});
    }
    ListEntry vrf_network(const std::string &prefix = "10.1.0.0/16") const {
        return {vrf(), kind().network, {prefix}};
    }
    ListEntry vrf_neighbor(const std::string &address = "10.0.0.1") const {
        return {vrf(), kind().neighbor, {address}};
    }
    ListEntry vrf_redistribute() const { return {vrf(), kind().redistribute, {"ospf", "7"}}; }

    static Changes entry_changes(const FamilyEntry &entry, sr_change_oper_t operation) {
        Changes changes;
        for (const auto &value : {entry.node(), entry.afi(), entry.safi(), entry.vrf()}) {
            changes.push_back(change_of(operation, value, value));
        }
        return changes;
    }
};

// --- The entry itself -------------------------------------------------------------------

TEST_F(VrfFamilyChange, EntryIsSentByItsNameWithEveryOperation) {
    for (const Operation &operation : operations) {
        EXPECT_EQ(change({change_of(operation.change, vrf().vrf(), vrf().vrf())}), SR_ERR_OK);
        EXPECT_EQ(sent(), Records{vrf().record(operation.op).sent(entry_code, operation.change)});
    }
}

TEST_F(VrfFamilyChange, NewEntryWithANetworkIsTwoRecords) {
    EXPECT_EQ(change(joined(entry_changes(vrf(), SR_OP_CREATED),
                            vrf_network().changes(SR_OP_CREATED, {{"route-map", 200}}))),
              SR_ERR_OK);
    EXPECT_EQ(sent(), (Records{vrf().record(1).sent(entry_code, SR_OP_CREATED),
                               vrf_network().record(1, {{"route-map", 200}}).sent(7, 0)}));
}

TEST_F(VrfFamilyChange, EntryOfAnyOtherSubFamilyIsNotSent) {
    const std::pair<const char *, std::uint32_t> safis[] = {
        {"SAFI_UNICAST", 1}, {"SAFI_MULTICAST", 2}, {"SAFI_EVPN", 5}};
    for (const auto &[name, number] : safis) {
        const FamilyEntry entry = family({"AFI_IPV6", name, "red", 2, number});
        EXPECT_EQ(change(entry_changes(entry, SR_OP_CREATED)), SR_ERR_OK);
        EXPECT_EQ(change(entry_changes(entry, SR_OP_DELETED)), SR_ERR_OK);
    }
    EXPECT_EQ(sent(), Records{});
}

// --- What the pending entry carries -------------------------------------------------------

TEST_F(VrfFamilyChange, DeletedEntryIsOneRecordForAllThatItHolds) {
    Changes changes = entry_changes(vrf(), SR_OP_DELETED);
    for (const ListEntry &entry : {vrf_network(), vrf_neighbor(), vrf_redistribute()}) {
        support::Settings settings;
        for (const auto &leaf : entry.list().leaves) {
            settings.emplace_back(leaf.node, 200);
        }
        changes.push_back(deleted(entry.container()));
        changes = joined(changes, entry.changes(SR_OP_DELETED, settings));
    }
    EXPECT_EQ(change(changes), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{vrf().record(0).sent(entry_code, SR_OP_DELETED)});
}

TEST_F(VrfFamilyChange, DeletionsInContainersGoWithThePendingEntryWhateverItsOwnOperation) {
    for (const ListEntry &entry : {vrf_network(), vrf_neighbor(), vrf_redistribute()}) {
        EXPECT_EQ(change({created(vrf().vrf()), deleted(entry.node())}), SR_ERR_OK);
        EXPECT_EQ(sent(), Records{vrf().record(1).sent(entry_code, SR_OP_DELETED)});
    }
}

TEST_F(VrfFamilyChange, OtherChangesInContainersSendTheEntryFirst) {
    for (const ListEntry &entry : {vrf_network(), vrf_neighbor(), vrf_redistribute()}) {
        const auto &leaf = entry.list().leaves[0];
        for (const Operation &operation : operations) {
            if (operation.change == SR_OP_DELETED) {
                continue;
            }
            EXPECT_EQ(change({deleted(vrf().vrf()), entry.change(operation.change, leaf.node)}),
                      SR_ERR_OK);
            EXPECT_EQ(sent(), (Records{vrf().record(0).sent(entry_code, operation.change),
                                       entry.record(operation.op, {{leaf.node, 200}})
                                           .sent(leaf.sub_mod, operation.change)}));
        }
    }
}

TEST_F(VrfFamilyChange, DeletionsOutsideTheContainersSendTheEntry) {
    const auto outside = family().other("bgp-family-networks/family-network[prefix='x']/prefix");
    for (const auto &value : {vrf().node(), vrf().afi(), vrf("blue").safi(), outside}) {
        const CapturedOutput output;
        EXPECT_EQ(
            change({created(vrf().vrf()), deleted(value), support::without_value(SR_OP_CREATED)}),
            SR_ERR_OK);
        EXPECT_EQ(sent(), Records{vrf().record(1).sent(entry_code, SR_OP_DELETED)});
    }
}

// --- The entry and other pending records -----------------------------------------------------

TEST_F(VrfFamilyChange, RecordPendingBeforeTheEntryGoesOutFirst) {
    for (const ListEntry &entry : {vrf_network(), vrf_neighbor(), vrf_redistribute()}) {
        for (const auto &leaf : entry.list().leaves) {
            EXPECT_EQ(change({created(entry.leaf(leaf.node, 200)), deleted(vrf().vrf())}),
                      SR_ERR_OK);
            EXPECT_EQ(
                sent(),
                (Records{entry.record(1, {{leaf.node, 200}}).sent(leaf.sub_mod, SR_OP_DELETED),
                         vrf().record(0).sent(entry_code, SR_OP_DELETED)}));
        }
    }
}

TEST_F(VrfFamilyChange, EntryClearsTheWholeBuffer) {
    const ListEntry first = vrf_neighbor("10.0.0.1");
    const ListEntry second = vrf_neighbor("10.0.0.2");
    EXPECT_EQ(
        change({created(first.leaf("update-source", 200)), created(first.leaf("ebgp-multihop", 7)),
                created(vrf().vrf()), created(second.leaf("remote-as", 31))}),
        SR_ERR_OK);
    EXPECT_EQ(sent().back(), second.record(1, {{"remote-as", 31}}).sent(13, SR_OP_CREATED));
}

// --- The VRF's name -----------------------------------------------------------------------------

TEST_F(VrfFamilyChange, NameLongerThanItsFieldIsRefusedAndWhatWasSentStaysSent) {
    const std::string name(66, 'v');
    const ListEntry listed(vrf(name), kind().network, {"10.1.0.0/16"});
    for (const auto &value : {vrf(name).vrf(), listed.node(), listed.container()}) {
        const CapturedOutput output;
        EXPECT_EQ(change({created(vrf().vrf()), created(family().afi()), created(value),
                          created(vrf().vrf())}),
                  SR_ERR_INVALID_VALUE);
        EXPECT_EQ(sent(), Records{vrf().record(1).sent(entry_code, SR_OP_CREATED)});
        expect_one_line(output.text(), {"vrf-name", " 66", " 65"});
    }
}

TEST_F(VrfFamilyChange, MissingNameIsAnInternalErrorAtOnce) {
    const std::string path = std::string(kind().subscription) + "[afi='AFI_IP'][safi='SAFI_VRF']/";
    for (const char *node : {"afi", "vrf-name", "bgp-family-vrf-networks",
                             "bgp-family-vrf-networks/family-vrf-network[prefix='x']/prefix"}) {
        const CapturedOutput output;
        EXPECT_EQ(change({created(network().node()), created(scripted::text(path + node, "1"))}),
                  SR_ERR_INTERNAL);
        EXPECT_EQ(output.text(), "address family vrf name is NULL.\n");
    }
    EXPECT_EQ(sent(), Records{}) << "what is pending is dropped";
}

TEST_F(VrfFamilyChange, NameIsReadAfterTheNumbers) {
    const std::pair<const char *, const char *> rows[] = {
        {"[vrf-name='red']", "address family safi is NULL.\n"},
        {"[safi='SAFI_X'][vrf-name='red']", "safi value is wrong.\n"},
        {"[safi='SAFI_VRF']", "address family afi is NULL.\n"},
        {"[afi='AFI_X'][safi='SAFI_VRF']", "afi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='SAFI_VRF']", "address family vrf name is NULL.\n"},
    };
    for (const auto &[keys, line] : rows) {
        const CapturedOutput output;
        EXPECT_EQ(
            change({created(scripted::node(kind().subscription + std::string(keys), SR_LIST_T))}),
            SR_ERR_INTERNAL);
        EXPECT_EQ(output.text(), line);
    }
}

// --- Neighbors
// --------------------------------------------------------------------------------------

TEST_F(VrfFamilyChange, SettingsOfTheInstancesNeighborsAreIgnored) {
    for (const char *node : {"next-hop-self", "route-reflector-client"}) {
        EXPECT_EQ(change({created(scripted::node(neighbor().path(node), SR_LEAF_EMPTY_T))}),
                  SR_ERR_INVAL_ARG);
        const auto other = scripted::node(neighbor().path(node), SR_LEAF_EMPTY_T);
        EXPECT_EQ(change({deleted(neighbor().leaf("activate")), deleted(other)}), SR_ERR_INVAL_ARG)
            << "nor do they go with a deleted activate";
        EXPECT_EQ(sent(), Records{neighbor().record(0, {{"activate", 1}}).sent(14, 2)});
    }
}

TEST_F(VrfFamilyChange, ContainersOfTheInstanceAreNotParsed) {
    const auto value = family().other("bgp-family-networks/family-network[prefix='x']/prefix");
    EXPECT_EQ(change({created(value)}), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{});
}

// --- Traces
// ----------------------------------------------------------------------------------------------

TEST_F(VrfFamilyChange, EntryIsTraced) {
    const std::string path = vrf().path("vrf-name");
    EXPECT_EQ(trace({deleted(vrf().vrf())}),
              begin_lines() + node_lines(SR_OP_DELETED, "vrf-name", path) + keys_line(1, 71) +
                  pending_line(0, "vrf-name") +
                  "address family get op = 0, bgp id = 100, afi = 1, safi = 71, vrfname = red, "
                  "sub_mode = 12\n" +
                  path_line(path) + end_lines(84, 12));
}

TEST_F(VrfFamilyChange, NameThatFillsItsFieldIsTracedWithoutWhatFollows) {
    const std::string name(65, 'v');
    EXPECT_THAT(trace({created(vrf(name).vrf())}),
                testing::HasSubstr(", vrfname = " + name + ", sub_mode = 12\n"));
}

TEST_F(VrfFamilyChange, DeletionThatGoesWithTheEntryIsTracedUpToThePendingCode) {
    EXPECT_THAT(trace({deleted(vrf().vrf()), deleted(vrf_network().node())}),
                testing::EndsWith(pending_line(12, "family-vrf-network[prefix='10.1.0.0/16']") +
                                  end_lines(84, 12)));
}

TEST_F(VrfFamilyChange, LeavesOfANeighborAreTraced) {
    const std::pair<const char *, const char *> lines[] = {
        {"activate", "set neighbor activate.\n"},
        {"remote-as", "set vrf neighbor remote as.\n"},
        {"description", "set vrf neighbor description.\n"},
        {"ebgp-multihop", "set vrf neighbor ebgp_multihop.\n"},
        {"update-source", "set vrf neighbor update_source.\n"}};
    const ListEntry entry = neighbor();
    for (const auto &[leaf, line] : lines) {
        EXPECT_THAT(trace({created(entry.leaf(leaf))}),
                    testing::HasSubstr(
                        path_line(entry.path(leaf)) + "[" + kind().neighbor.parser + "][#]" + line +
                        length_line("get", kind().neighbor.described.size, entry.sub_mod(leaf))));
    }
}

} // namespace
