#include "family_paths.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::modified;
using scripted::moved;
using scripted::sysrepo;
using support::CapturedOutput;
using support::change_of;
using support::Changes;
using support::FamilyKind;
using support::FamilyList;
using support::joined;
using support::Leaf;
using support::ListEntry;
using support::Operation;
using support::operations;
using support::RecordBytes;
using support::Records;
using support::Settings;
using support::without_value;

std::string kind_name(const testing::TestParamInfo<const FamilyKind *> &test) {
    return test.param->name;
}

// What the address families of the instance and of VRFs share.
class FamilyChange : public support::FamilyTest,
                     public testing::WithParamInterface<const FamilyKind *> {
  protected:
    FamilyChange() : FamilyTest(*GetParam()) {}

    // Runs the changes, then one that drops the pending record, so that only the changes' own
    // records are left.
    Records sent_on_the_way(const Changes &changes) {
        const CapturedOutput output;
        EXPECT_EQ(change(joined(changes, {without_value(SR_OP_CREATED)})), SR_ERR_OK);
        return sent();
    }
};

INSTANTIATE_TEST_SUITE_P(Families, FamilyChange,
                         testing::Values(&support::instance_family(), &support::vrf_family()),
                         kind_name);

// --- One leaf ------------------------------------------------------------------------

TEST_P(FamilyChange, EveryOperationOfALeafIsSentWithItsCode) {
    for (const ListEntry &entry : entries()) {
        for (const Leaf &leaf : entry.list().leaves) {
            for (const Operation &operation : operations) {
                EXPECT_EQ(change({entry.change(operation.change, leaf.node)}), SR_ERR_OK);
                EXPECT_EQ(sent(), Records{entry.record(operation.op, {{leaf.node, 200}})
                                              .sent(leaf.sub_mod, operation.change)});
            }
        }
    }
}

TEST_P(FamilyChange, TextLongerThanItsFieldIsRefusedAndWhatWasSentStaysSent) {
    const ListEntry before = neighbor("10.0.0.9");
    for (const ListEntry &entry : entries()) {
        for (const Leaf &leaf : entry.list().leaves) {
            if (leaf.kind != Leaf::text) {
                continue;
            }
            const std::size_t size = leaf.field.size;
            const auto value = scripted::text(entry.path(leaf.node), std::string(size + 1, 'x'));
            const CapturedOutput output;
            EXPECT_EQ(change({created(before.leaf("activate")), created(value),
                              created(network("10.9.0.0/16").node())}),
                      SR_ERR_INVALID_VALUE);
            EXPECT_EQ(sent(), Records{before.record(1, {{"activate", 1}})
                                          .sent(before.sub_mod("activate"), SR_OP_CREATED)});
            expect_one_line(output.text(), {leaf.node, " " + std::to_string(size + 1),
                                            " " + std::to_string(size)});
        }
    }
}

// --- List keys -----------------------------------------------------------------------

TEST_P(FamilyChange, KeyLongerThanItsFieldIsRefusedAtAnyNodeOfTheEntry) {
    for (const FamilyList *list : kind().lists()) {
        for (std::size_t i = 0; i < list->keys.size(); ++i) {
            std::vector<std::string> keys(list->keys.size(), "k");
            const std::size_t size = list->keys[i].field.size;
            keys[i] = std::string(size + 1, 'k');
            const ListEntry entry(family(), *list, keys);
            for (const auto &value : {entry.node(), entry.key(), entry.key(keys.size() - 1),
                                      entry.leaf(list->leaves[0].node)}) {
                const CapturedOutput output;
                EXPECT_EQ(change({created(value), created(network().node())}),
                          SR_ERR_INVALID_VALUE);
                expect_one_line(output.text(), {list->keys[i].node, " " + std::to_string(size + 1),
                                                " " + std::to_string(size)});
            }
        }
    }
    EXPECT_EQ(sent(), Records{});
}

TEST_P(FamilyChange, MissingListKeyIsReportedAndTheWalkContinuesWithoutACode) {
    for (const FamilyList *list : kind().lists()) {
        for (std::size_t given = 0; given < list->keys.size(); ++given) {
            // The path has the keys before the missing one.
            const ListEntry entry(family(), *list, std::vector<std::string>(given, "k"));
            const auto value = scripted::text(entry.path(list->leaves[0].node), "1");
            const CapturedOutput output;
            EXPECT_EQ(change({created(value)}), SR_ERR_INVAL_ARG);
            EXPECT_EQ(output.text(), list->keys[given].missing);
            EXPECT_EQ(sent(), Records{});
        }
    }
}

TEST_P(FamilyChange, ChangeWithoutItsListKeyStillRewritesTheHeadOfThePendingRecord) {
    const ListEntry entry = network();
    const ListEntry nameless(family(), kind().network, {});
    const CapturedOutput output;
    EXPECT_EQ(
        change({created(entry.leaf("route-map", 200)), deleted(nameless.leaf("route-map", 31))}),
        SR_ERR_OK);
    EXPECT_EQ(sent(), Records{entry.record(0, {{"route-map", 200}}).sent(7, SR_OP_DELETED)});
    EXPECT_EQ(output.text(), "network prefix is NULL.\n");
}

TEST_P(FamilyChange, ProtocolIsPutEvenWhenTheProcessIsMissing) {
    const ListEntry entry = redistribute("ospf", "7");
    const ListEntry half(family(), kind().redistribute, {"rip"});
    const CapturedOutput output;
    EXPECT_EQ(change({created(entry.leaf("route-map", 200)), created(half.leaf("route-map", 31))}),
              SR_ERR_OK);
    EXPECT_EQ(sent(), Records{redistribute("rip", "7").record(1, {{"route-map", 200}}).sent(8, 0)});
}

// --- Networks and redistributions gather in one record ---------------------------------

TEST_P(FamilyChange, NewNetworkIsOneRecord) {
    const ListEntry entry = network();
    const Settings settings{{"route-map", 200}, {"backdoor", 1}};
    EXPECT_EQ(change(entry.changes(SR_OP_CREATED, settings)), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{entry.record(1, settings).sent(7, SR_OP_CREATED)});
}

TEST_P(FamilyChange, DeletedEntryIsOneRecordWithItsOldSettings) {
    const ListEntry entry = network();
    const Settings settings{{"route-map", 200}, {"backdoor", 1}};
    EXPECT_EQ(change(entry.changes(SR_OP_DELETED, settings)), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{entry.record(0, settings).sent(7, SR_OP_DELETED)});
    EXPECT_EQ(change(redistribute().changes(SR_OP_DELETED, {{"route-map", 200}})), SR_ERR_OK);
    EXPECT_EQ(sent(),
              Records{redistribute().record(0, {{"route-map", 200}}).sent(8, SR_OP_DELETED)});
}

TEST_P(FamilyChange, SecondEntrySendsTheFirstWhenItsNodeIsReached) {
    for (const auto &[first, second] :
         {std::pair{network("10.1.0.0/16"), network("10.2.0.0/16")},
          std::pair{redistribute("ospf", "1"), redistribute("ospf", "2")}}) {
        const Changes of_first = first.changes(SR_OP_CREATED, {{"route-map", 200}});
        const Changes of_second = second.changes(SR_OP_MODIFIED, {{"route-map", 31}});
        const int sub_mod = first.list().sub_mod;
        EXPECT_EQ(change(joined(of_first, of_second)), SR_ERR_OK);
        const auto record = first.record(1, {{"route-map", 200}}).sent(sub_mod, SR_OP_MODIFIED);
        EXPECT_EQ(
            sent(),
            (Records{record, second.record(1, {{"route-map", 31}}).sent(sub_mod, SR_OP_MODIFIED)}));
        EXPECT_EQ(sent_on_the_way(joined(of_first, {of_second[0]})), Records{record});
    }
}

TEST_P(FamilyChange, RecordHoldsTheOperationOfItsLatestChange) {
    const ListEntry entry = network();
    EXPECT_EQ(change({created(entry.leaf("route-map", 200)), deleted(entry.leaf("backdoor"))}),
              SR_ERR_OK);
    EXPECT_EQ(
        sent(),
        Records{entry.record(0, {{"route-map", 200}, {"backdoor", 1}}).sent(7, SR_OP_DELETED)});
}

TEST_P(FamilyChange, LeavesOfTwoEntriesWithoutANodeBetweenThemMerge) {
    const ListEntry first = network("10.1.0.0/16");
    const ListEntry second = network("10.2.0.0/16");
    EXPECT_EQ(change({modified(first.leaf("route-map", 31), first.leaf("route-map", 200)),
                      created(second.leaf("backdoor"))}),
              SR_ERR_OK);
    EXPECT_EQ(
        sent(),
        Records{second.record(1, {{"route-map", 200}, {"backdoor", 1}}).sent(7, SR_OP_CREATED)});
    EXPECT_EQ(change({created(redistribute("ospf", "1").leaf("route-map", 200)),
                      deleted(redistribute("rip", "22").leaf("route-map", 31))}),
              SR_ERR_OK);
    EXPECT_EQ(
        sent(),
        Records{redistribute("rip", "22").record(0, {{"route-map", 31}}).sent(8, SR_OP_DELETED)});
}

TEST_P(FamilyChange, LeafNamesDecideEvenAcrossLists) {
    // A route-map of a network does not end the record of a redistribution.
    EXPECT_EQ(change({created(redistribute().leaf("route-map", 200)),
                      created(network().leaf("route-map", 31))}),
              SR_ERR_OK);
    const RecordBytes first = redistribute().record(1, {{"route-map", 200}});
    EXPECT_EQ(sent(), Records{network().over(first, 1, {{"route-map", 31}}).sent(7, 0)});
}

// --- Neighbors: one record per leaf ------------------------------------------------------

TEST_P(FamilyChange, LeavesOfANeighborAreOneRecordEachAndGather) {
    const ListEntry entry = neighbor();
    Settings settings;
    Records expected;
    for (const Leaf &leaf : entry.list().leaves) {
        settings.emplace_back(leaf.node, 200);
        expected.push_back(entry.record(1, settings).sent(leaf.sub_mod, SR_OP_CREATED));
    }
    EXPECT_EQ(change(entry.changes(SR_OP_CREATED, settings)), SR_ERR_OK);
    EXPECT_EQ(sent(), expected);
}

TEST_P(FamilyChange, NeighborLeftWithoutALeafIsAnInvalidArgument) {
    const ListEntry entry = neighbor();
    for (const Operation &operation : operations) {
        const auto code = operation.change;
        const auto unknown = scripted::text(entry.path("unknown"), "1");
        EXPECT_EQ(change(entry.changes(code, {})), SR_ERR_INVAL_ARG);
        for (const auto &value : {entry.node(), entry.key(), unknown}) {
            EXPECT_EQ(change({change_of(code, value, value)}), SR_ERR_INVAL_ARG);
        }
    }
    EXPECT_EQ(sent(), Records{});
}

// --- When the pending record goes out -------------------------------------------------------

// Every node name that the families know, and one that they do not.
constexpr const char *node_names[] = {
    "prefix",      "route-map",     "backdoor",      "protocol",
    "process",     "activate",      "next-hop-self", "route-reflector-client",
    "remote-as",   "description",   "ebgp-multihop", "update-source",
    "afi",         "safi",          "vrf-name",      "neighbor-address",
    "family-name", "address-family"};

TEST_P(FamilyChange, PendingRecordIsSentAtEveryNodeThatIsNotOneOfItsLeaves) {
    const std::vector<std::string> own_leaves[] = {
        {"route-map", "backdoor", "prefix"}, {}, {"process", "route-map", "protocol"}};
    const std::vector<ListEntry> all = entries();
    for (std::size_t i = 0; i < all.size(); ++i) {
        for (const Leaf &leaf : all[i].list().leaves) {
            for (const char *node : node_names) {
                const auto &own = own_leaves[i];
                const bool kept = std::find(own.begin(), own.end(), node) != own.end();
                const auto value = family().other(node);
                const Records records =
                    sent_on_the_way({created(all[i].leaf(leaf.node, 200)), modified(value, value)});
                EXPECT_EQ(records, kept ? Records{}
                                        : Records{all[i]
                                                      .record(1, {{leaf.node, 200}})
                                                      .sent(leaf.sub_mod, SR_OP_MODIFIED)})
                    << leaf.node << " then " << node;
            }
        }
    }
}

TEST_P(FamilyChange, ContainersAreNotLookedAt) {
    for (const char *container : support::list_containers) {
        const auto node = scripted::node(family().path(container), SR_CONTAINER_T);
        EXPECT_EQ(sent_on_the_way({created(network().leaf("backdoor")), created(node)}), Records{});
        EXPECT_EQ(change({created(node), deleted(node)}), SR_ERR_OK);
    }
    EXPECT_EQ(sent(), Records{});
}

TEST_P(FamilyChange, OptionAtTheEndIsTheOperationOfTheLastChangeRead) {
    EXPECT_EQ(change({created(network().leaf("backdoor")), deleted(network().container())}),
              SR_ERR_OK);
    EXPECT_EQ(sent(), Records{network().record(1, {{"backdoor", 1}}).sent(7, SR_OP_DELETED)});
}

TEST_P(FamilyChange, FirstContainerThatThePathNamesParsesTheChange) {
    // A key may contain anything, even the name of a container.
    const CapturedOutput output;
    EXPECT_EQ(change({created(neighbor(kind().network.container).leaf("activate"))}),
              SR_ERR_INVAL_ARG);
    EXPECT_EQ(change({created(redistribute(kind().neighbor.container).leaf("route-map"))}),
              SR_ERR_INVAL_ARG);
    EXPECT_EQ(output.text(), "network prefix is NULL.\nneighbor ip address is NULL.\n");
    EXPECT_EQ(sent(), Records{});
}

TEST_P(FamilyChange, IsTestedWithEveryLeaf) {
    for (const FamilyList *list : kind().lists()) {
        std::vector<std::string> described, tested;
        for (const ::Leaf &leaf : list->described.leaves) {
            if (leaf.node != nullptr) {
                described.emplace_back(leaf.node);
            }
        }
        for (const Leaf &leaf : list->leaves) {
            tested.emplace_back(leaf.node);
        }
        EXPECT_THAT(tested, testing::UnorderedElementsAreArray(described)) << list->list;
    }
}

// --- The deletion that carries others ---------------------------------------------------------

TEST_P(FamilyChange, DeletedCarrierCarriesTheDeletionsAfterIt) {
    const ListEntry entry = neighbor();
    const int sub_mod = entry.sub_mod(kind().carrier);
    const auto expected = entry.record(0, {{kind().carrier, 200}}).sent(sub_mod, SR_OP_DELETED);
    Changes all{deleted(entry.leaf(kind().carrier, 200))};
    for (const char *leaf : kind().carried()) {
        EXPECT_EQ(change({all[0], deleted(entry.leaf(leaf, 31))}), SR_ERR_OK);
        EXPECT_EQ(sent(), Records{expected}) << leaf << " is not parsed either";
    }
    for (const char *leaf : kind().carried()) {
        all.push_back(deleted(entry.leaf(leaf, 31)));
    }
    EXPECT_EQ(change(all), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{expected}) << "it stays pending";
}

TEST_P(FamilyChange, DeletedCarrierCarriesNothingButDeletions) {
    const ListEntry entry = neighbor();
    for (const char *leaf : kind().carried()) {
        for (const sr_change_oper_t code : {SR_OP_CREATED, SR_OP_MODIFIED, SR_OP_MOVED}) {
            EXPECT_EQ(change({deleted(entry.leaf(kind().carrier, 200)), entry.change(code, leaf)}),
                      SR_ERR_OK);
            const Records records = sent();
            ASSERT_EQ(records.size(), 2U);
            EXPECT_EQ(records[0].option, code);
            EXPECT_EQ(records[1].sub_mod, entry.sub_mod(leaf));
        }
    }
}

TEST_P(FamilyChange, OtherDeletionsSendTheDeletedCarrier) {
    const ListEntry entry = neighbor("10.0.0.1");
    for (const auto &value : {neighbor("10.0.0.2").node(), neighbor("10.0.0.2").key(),
                              neighbor("10.0.0.2").leaf(kind().carrier, 31), network().node(),
                              redistribute().leaf("route-map"), family().afi()}) {
        EXPECT_EQ(sent_on_the_way({deleted(entry.leaf(kind().carrier, 200)), deleted(value)}),
                  Records{entry.record(0, {{kind().carrier, 200}})
                              .sent(entry.sub_mod(kind().carrier), SR_OP_DELETED)});
    }
}

// --- The family's keys --------------------------------------------------------------------------

TEST_P(FamilyChange, FamiliesAndSubFamiliesTravelAsTheirNumbers) {
    const std::pair<const char *, std::uint32_t> afis[] = {
        {"AFI_IP", 1}, {"AFI_IPV6", 2}, {"AFI_L2VPN", 3}};
    const std::pair<const char *, std::uint32_t> safis[] = {
        {"SAFI_UNICAST", 1}, {"SAFI_MULTICAST", 2}, {"SAFI_EVPN", 5}, {"SAFI_VRF", 71}};
    for (const auto &afi : afis) {
        for (const auto &safi : safis) {
            const ListEntry entry(family({afi.first, safi.first, "red", afi.second, safi.second}),
                                  kind().network, {"10.1.0.0/16"});
            EXPECT_EQ(change({created(entry.node())}), SR_ERR_OK);
            EXPECT_EQ(sent(), Records{entry.record(1).sent(7, 0)});
        }
    }
}

struct WrongKeys {
    const char *keys;
    const char *line;
};

TEST_P(FamilyChange, FamilyWithoutKnownKeysIsAnInternalErrorAtOnce) {
    const WrongKeys rows[] = {
        {"", "address family safi is NULL.\n"},
        {"[afi='AFI_IP']", "address family safi is NULL.\n"},
        {"[afi='AFI_X'][safi='SAFI_X']", "safi value is wrong.\n"},
        {"[safi='SAFI_X']", "safi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='safi_unicast']", "safi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='']", "safi value is wrong.\n"},
        {"[afi='AFI_IP'][safi='1']", "safi value is wrong.\n"},
        {"[safi='SAFI_UNICAST']", "address family afi is NULL.\n"},
        {"[afi='AFI_IPV4'][safi='SAFI_UNICAST']", "afi value is wrong.\n"},
        {"[afi=''][safi='SAFI_UNICAST']", "afi value is wrong.\n"},
        {"[afi='AFI_IP ' ][safi='SAFI_UNICAST']", "afi value is wrong.\n"},
    };
    for (const WrongKeys &row : rows) {
        const std::string path = std::string(kind().subscription) + row.keys;
        for (const char *node : {"/afi", "/bgp-family-networks", "/bgp-family-vrf-neighbors"}) {
            const CapturedOutput output;
            EXPECT_EQ(change({created(network().node()), created(scripted::text(path + node, "1")),
                              created(network().node())}),
                      SR_ERR_INTERNAL)
                << path;
            EXPECT_EQ(output.text(), row.line) << path;
        }
    }
    EXPECT_EQ(sent(), Records{}) << "what is pending is dropped";
}

TEST_P(FamilyChange, ShorterPathIsReadWithWhatALongerOneLeftBehindIt) {
    // The plug-in copies only the characters of a path for the look-ups, which cut it
    // after each key: a look-up also finds the keys before the last cut.
    const std::string list = kind().subscription;
    const std::string keys = kind().in_vrf ? "[afi='AFI_IP'][safi='SAFI_UNICAST'][vrf-name='red']"
                                           : "[safi='SAFI_UNICAST'][afi='AFI_IP']";
    const auto shorter = scripted::node(list.substr(0, list.rfind('/')), SR_CONTAINER_T);
    const CapturedOutput output;
    EXPECT_EQ(change({created(scripted::node(list + keys, SR_LIST_T)), created(shorter)}),
              SR_ERR_INTERNAL);
    EXPECT_EQ(change({created(shorter)}), SR_ERR_INTERNAL);
    EXPECT_EQ(output.text(), std::string(kind().in_vrf ? "address family vrf name is NULL.\n"
                                                       : "address family afi is NULL.\n") +
                                 "address family safi is NULL.\n");
}

// --- The instance -----------------------------------------------------------------------------

// --- The daemon's answers ------------------------------------------------------------------------

TEST_P(FamilyChange, RefusalOfTheLastRecordIsTheResult) {
    for (const ListEntry &entry : entries()) {
        for (const int code : {1, 10, 16, 17, 18, 19, 20, -1}) {
            daemon.answer_next(configd::ResultCode{code});
            EXPECT_EQ(change({entry.change(SR_OP_CREATED, entry.list().leaves[0].node)}), code);
        }
    }
}

// --- The walk
// --------------------------------------------------------------------------------------

TEST_P(FamilyChange, PathLongerThanTheWorkingBufferIsRefused) {
    for (const ListEntry &entry : entries()) {
        const Leaf &leaf = entry.list().leaves[0];
        // A path of `size` bytes.
        const auto path = [&](std::size_t size) {
            std::string text = entry.path() + "[other='']/" + leaf.node;
            text.insert(text.rfind("']"), size - text.size(), 'x');
            return text;
        };
        EXPECT_EQ(change({created(leaf.value(path(999), 200))}), SR_ERR_OK);
        EXPECT_EQ(sent(), Records{entry.record(1, {{leaf.node, 200}}).sent(leaf.sub_mod, 0)});
        const CapturedOutput output;
        EXPECT_EQ(change({created(network().node()), created(family().afi()),
                          created(leaf.value(path(1000), 200)), created(network().node())}),
                  SR_ERR_INVALID_VALUE);
        expect_one_line(output.text(), {" 1000", " 999"});
        EXPECT_EQ(sent().size(), 1U) << "what was sent before stays sent";
    }
}

// --- The parsers
// -----------------------------------------------------------------------------------

class FamilyParser : public FamilyChange {
  protected:
    static constexpr char fill = '\x5a';
    static constexpr std::uint32_t no_code = 77;

    FamilyParser() : key_{} {
        g_bgp_id = as;
        // The parsers copy the whole key, whatever it contains.
        key_.op = 3;
        key_.bgp_id = 4;
        key_.afi = 5;
        key_.safi = 6;
        support::put(key_.vrf_name, "any");
        key_.reserved[2] = 'r';
    }

    int parse(const FamilyList &list, sr_change_oper_t operation, const scripted::Value &value,
              const char *node) {
        buffer_ = std::string(list.described.size, fill);
        length_ = 0;
        sub_mod_ = no_code;
        sr_val_t *made = scripted::make_value(value);
        const int result = list.parse(scripted::session(), operation, made, &key_, node,
                                      buffer_.data(), &length_, &sub_mod_);
        sr_free_val(made);
        return result;
    }
    // The record with its head overwritten.
    RecordBytes head(const FamilyList &list, int op, char before = fill) const {
        return RecordBytes(list.described.size, before)
            .put({0, 4}, op)
            .put({4, 4}, as)
            .put({8, 84}, support::bytes_of(key_));
    }
    static RecordBytes with_keys(RecordBytes record, const FamilyList &list) {
        for (const auto &key : list.keys) {
            record.put(key.field, "k");
        }
        return record;
    }
    ListEntry entry(const FamilyList &list, std::size_t keys = SIZE_MAX) const {
        return {family(), list, std::vector<std::string>(std::min(keys, list.keys.size()), "k")};
    }

    address_family_val key_;
    std::string buffer_;
    std::uint32_t length_ = 0;
    std::uint32_t sub_mod_ = no_code;
};

INSTANTIATE_TEST_SUITE_P(Families, FamilyParser,
                         testing::Values(&support::instance_family(), &support::vrf_family()),
                         kind_name);

TEST_P(FamilyParser, LeafWritesHeadKeysAndItsFieldOnly) {
    for (const FamilyList *list : kind().lists()) {
        for (const Leaf &leaf : list->leaves) {
            for (const Operation &operation : operations) {
                EXPECT_EQ(
                    parse(*list, operation.change, entry(*list).leaf(leaf.node, 200), leaf.node),
                    SR_ERR_OK);
                RecordBytes expected = with_keys(head(*list, operation.op), *list);
                leaf.put(expected, 200);
                EXPECT_EQ(buffer_, expected.bytes()) << list->parser << leaf.node;
                EXPECT_EQ(length_, list->described.size);
                EXPECT_EQ(sub_mod_, static_cast<std::uint32_t>(leaf.sub_mod));
            }
        }
    }
}

TEST_P(FamilyParser, OnlyTheFirstKeyLeafClearsTheRecord) {
    for (const FamilyList *list : kind().lists()) {
        for (std::size_t i = 0; i < list->keys.size(); ++i) {
            EXPECT_EQ(parse(*list, SR_OP_DELETED, entry(*list).key(i), list->keys[i].node),
                      SR_ERR_OK);
            EXPECT_EQ(buffer_, with_keys(head(*list, 0, i == 0 ? '\0' : fill), *list).bytes())
                << list->parser;
            EXPECT_EQ(length_, list->described.size);
        }
    }
}

TEST_P(FamilyParser, OtherNodesHaveTheCodeOfTheirListOrNone) {
    for (const FamilyList *list : kind().lists()) {
        const std::uint32_t code =
            list->sub_mod == 0 ? no_code : static_cast<std::uint32_t>(list->sub_mod);
        for (const char *node : {list->list, list->keys[0].node, "unknown"}) {
            EXPECT_EQ(parse(*list, SR_OP_CREATED, entry(*list).node(), node), SR_ERR_OK);
            EXPECT_EQ(sub_mod_, code) << list->parser << node;
            EXPECT_EQ(length_, list->described.size);
        }
    }
}

TEST_P(FamilyParser, MissingKeyIsAnErrorAfterHeadAndLengthHaveBeenWritten) {
    for (const FamilyList *list : kind().lists()) {
        for (std::size_t given = 0; given < list->keys.size(); ++given) {
            const CapturedOutput output;
            const char *node = list->leaves[0].node;
            EXPECT_EQ(parse(*list, SR_OP_MOVED, entry(*list, given).leaf(node), node),
                      SR_ERR_INTERNAL);
            RecordBytes expected = head(*list, -1);
            for (std::size_t i = 0; i < given; ++i) {
                expected.put(list->keys[i].field, "k");
            }
            EXPECT_EQ(buffer_, expected.bytes()) << list->parser;
            EXPECT_EQ(length_, list->described.size);
            EXPECT_EQ(sub_mod_, no_code);
            EXPECT_EQ(output.text(), list->keys[given].missing);
        }
    }
}

TEST_P(FamilyParser, ValueWithoutAPathHasNoKey) {
    for (const FamilyList *list : kind().lists()) {
        const CapturedOutput output;
        EXPECT_EQ(parse(*list, SR_OP_CREATED, {std::nullopt, SR_LEAF_EMPTY_T, std::nullopt, 0},
                        list->leaves[0].node),
                  SR_ERR_INTERNAL);
        EXPECT_EQ(buffer_, head(*list, 1).bytes()) << list->parser;
        EXPECT_EQ(output.text(), list->keys[0].missing);
    }
}

TEST_P(FamilyParser, PathOfTwoKeysThatDoesNotFitItsWorkingCopyIsRefused) {
    const FamilyList &list = kind().redistribute;
    const char *node = list.leaves[0].node;
    const std::string path = entry(list).path(node);
    const std::string too_long = path + std::string(1000 - path.size(), 'x');
    const CapturedOutput output;
    EXPECT_EQ(parse(list, SR_OP_CREATED, scripted::text(too_long, "map"), node),
              SR_ERR_INVALID_VALUE);
    EXPECT_EQ(buffer_, head(list, 1).bytes());
    expect_one_line(output.text(), {"1000", "999"});
}

TEST_P(FamilyParser, TextThatDoesNotFitLeavesItsFieldAsItWas) {
    for (const FamilyList *list : kind().lists()) {
        for (const Leaf &leaf : list->leaves) {
            if (leaf.kind != Leaf::text) {
                continue;
            }
            const std::string content(leaf.field.size + 1, 'x');
            const CapturedOutput output;
            EXPECT_EQ(parse(*list, SR_OP_CREATED,
                            scripted::text(entry(*list).path(leaf.node), content), leaf.node),
                      SR_ERR_INVALID_VALUE);
            EXPECT_EQ(buffer_, with_keys(head(*list, 1), *list).bytes()) << leaf.node;
            expect_one_line(output.text(), {leaf.node, std::to_string(content.size()),
                                            std::to_string(leaf.field.size)});
        }
    }
}

TEST_P(FamilyParser, EveryMissingArgumentIsAnInternalError) {
    for (const FamilyList *list : kind().lists()) {
        const char *node = list->leaves[0].node;
        sr_val_t *value = scripted::make_value(entry(*list).leaf(node));
        buffer_ = std::string(list->described.size, fill);
        length_ = 0;
        sub_mod_ = no_code;
        // Each round leaves out one argument, the last one none.
        for (int missing = 0; missing <= 7; ++missing) {
            const auto given = [missing](int argument, auto *pointer) {
                return argument == missing ? nullptr : pointer;
            };
            EXPECT_EQ(list->parse(given(0, scripted::session()), SR_OP_CREATED, given(1, value),
                                  given(2, &key_), given(3, node), given(4, buffer_.data()),
                                  given(5, &length_), given(6, &sub_mod_)),
                      missing == 7 ? int{SR_ERR_OK} : int{SR_ERR_INTERNAL})
                << list->parser << missing;
            if (missing < 7) {
                EXPECT_EQ(buffer_, std::string(list->described.size, fill));
                EXPECT_EQ(length_, 0U);
                EXPECT_EQ(sub_mod_, no_code);
            }
        }
        sr_free_val(value);
    }
}

// --- Traces
// ------------------------------------------------------------------------------------------

class FamilyTrace : public FamilyChange {};

INSTANTIATE_TEST_SUITE_P(Families, FamilyTrace,
                         testing::Values(&support::instance_family(), &support::vrf_family()),
                         kind_name);

TEST_P(FamilyTrace, OfANetwork) {
    const ListEntry entry = network();
    const std::string parser = std::string("[") + kind().network.parser + "][#]";
    const std::string prefix_line = parser + "set network prefix 10.1.0.0/16.\n";
    const auto lines = [&](const char *node, int pending, const std::string &leaf_line) {
        return node_lines(SR_OP_CREATED, node, entry.path(node)) + keys_line() +
               pending_line(pending, node) + path_line(entry.path(node)) + prefix_line + leaf_line +
               length_line("get", 404, 7);
    };
    EXPECT_EQ(trace({created(entry.key()), created(entry.leaf("route-map", 200)),
                     created(entry.leaf("backdoor"))}),
              begin_lines() + lines("prefix", 0, "") +
                  lines("route-map", 7, parser + "set network routemap 200.\n") +
                  lines("backdoor", 7, parser + "set network backdoor.\n") + end_lines(404, 7));
}

TEST_P(FamilyTrace, OfARecordSentOnTheWay) {
    const ListEntry entry = redistribute();
    const std::string afi = family().path("afi");
    EXPECT_EQ(trace({created(entry.leaf("route-map")), deleted(family().afi())}),
              begin_lines() + node_lines(SR_OP_CREATED, "route-map", entry.path("route-map")) +
                  keys_line() + pending_line(0, "route-map") + path_line(entry.path("route-map")) +
                  length_line("get", 376, 8) + node_lines(SR_OP_DELETED, "afi", afi) + keys_line() +
                  pending_line(8, "afi") + length_line("send", 376, 8) + path_line(afi) +
                  end_lines(0, 0) + kind().closing);
}

TEST_P(FamilyTrace, OfACarriedDeletion) {
    const ListEntry entry = neighbor();
    const int sub_mod = entry.sub_mod(kind().carrier);
    const std::string carried = kind().carried()[0];
    EXPECT_THAT(trace({deleted(entry.leaf(kind().carrier)), deleted(entry.leaf(carried))}),
                testing::EndsWith(length_line("get", kind().neighbor.described.size, sub_mod) +
                                  node_lines(SR_OP_DELETED, carried, entry.path(carried)) +
                                  keys_line() + pending_line(sub_mod, carried) +
                                  traced(" neighbor_data->op:0  changeOp:2\n") +
                                  end_lines(kind().neighbor.described.size, sub_mod)));
}

TEST_P(FamilyTrace, OfWhatACarrierIsSentBy) {
    const ListEntry entry = neighbor();
    const int sub_mod = entry.sub_mod(kind().carrier);
    EXPECT_THAT(trace({created(entry.leaf(kind().carrier)), moved(entry.key())}),
                testing::HasSubstr(pending_line(sub_mod, "neighbor-address") +
                                   traced(" neighbor_data->op:1  changeOp:3\n") +
                                   length_line("send", kind().neighbor.described.size, sub_mod)));
}

TEST_P(FamilyTrace, OfAContainerEndsWithItsKeys) {
    EXPECT_EQ(trace({created(network().container())}),
              begin_lines() +
                  node_lines(SR_OP_CREATED, kind().network.container,
                             family().path(kind().network.container)) +
                  keys_line() + end_lines(0, 0) + kind().closing);
}

TEST_P(FamilyTrace, OfARecordWithoutACode) {
    EXPECT_THAT(trace({created(neighbor().key())}),
                testing::EndsWith(length_line("get", kind().neighbor.described.size, 0) +
                                  end_lines(kind().neighbor.described.size, 0) +
                                  "\nchange cfg for bgp failed:Item not found"));
}

TEST_P(FamilyTrace, OfARefusalOnTheWay) {
    const std::string afi = family().path("afi");
    const std::string lines = pending_line(7, "afi") + length_line("send", 404, 7) +
                              "\nchange cfg for bgp from xpath:" + afi + "  failed:";
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_THAT(trace({created(network().node()), created(family().afi())}),
                testing::EndsWith(lines + "Operation not supported"));
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    EXPECT_THAT(trace({created(network().node()), created(family().afi())}),
                testing::EndsWith(lines + "Item not found" + kind().closing));
}

TEST_P(FamilyTrace, OfARefusalAtTheEnd) {
    daemon.answer_next(configd::ResultCode{SR_ERR_UNSUPPORTED});
    EXPECT_THAT(trace({created(network().node())}),
                testing::EndsWith(end_lines(404, 7) +
                                  "\nchange cfg for bgp failed:Operation not supported"));
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_FOUND});
    EXPECT_THAT(trace({created(network().node())}),
                testing::EndsWith(end_lines(404, 7) + "\nchange cfg for bgp failed:Item not found" +
                                  kind().closing));
}

// --- The instance's families alone
// ------------------------------------------------------------------

class InstanceFamilyChange : public support::FamilyTest {
  protected:
    InstanceFamilyChange() : FamilyTest(support::instance_family()) {}
};

TEST_F(InstanceFamilyChange, SettingsOfAVrfsNeighborAreIgnored) {
    const ListEntry entry = neighbor();
    for (const char *node : {"remote-as", "description", "ebgp-multihop", "update-source"}) {
        EXPECT_EQ(change({created(scripted::text(entry.path(node), "200"))}), SR_ERR_INVAL_ARG);
    }
    EXPECT_EQ(sent(), Records{});
}

TEST_F(InstanceFamilyChange, VrfNameIsNotReadAndNoEntryIsSent) {
    const std::string path = std::string(kind().subscription) +
                             "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']/vrf-name";
    EXPECT_EQ(change({created(scripted::text(path, "red"))}), SR_ERR_OK);
    EXPECT_EQ(sent(), Records{});
}

TEST_F(InstanceFamilyChange, ContainersOfAVrfAreNotParsed) {
    EXPECT_EQ(change({created(family().other("bgp-family-vrf-networks/family-vrf-network"
                                             "[prefix='10.1.0.0/16']/prefix"))}),
              SR_ERR_OK);
    EXPECT_EQ(sent(), Records{});
}

TEST_F(InstanceFamilyChange, LeavesOfANeighborAreTraced) {
    const std::pair<const char *, const char *> lines[] = {
        {"activate", "set neighbor activate.\n"},
        {"next-hop-self", "set neighbor next hop self.\n"},
        {"route-reflector-client", "set neighbor route_reflector_client.\n"}};
    const ListEntry entry = neighbor();
    for (const auto &[leaf, line] : lines) {
        EXPECT_THAT(trace({created(entry.leaf(leaf))}),
                    testing::HasSubstr(
                        path_line(entry.path(leaf)) + "[" + kind().neighbor.parser + "][#]" + line +
                        length_line("get", kind().neighbor.described.size, entry.sub_mod(leaf))));
    }
}

} // namespace
