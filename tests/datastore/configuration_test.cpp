// A whole configuration from a client's edits to the daemon's messages, on the real datastore and
// in the real plug-in host: created in one edit, changed leaf by leaf, deleted piece by piece and
// in one edit.
#include "daemon/settings.h"
#include "datastore.h"
#include "recording_daemon.h"
#include "soak/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace settings;
using configd::Message;
using soak::Change;
using support::Datastore;
using support::Host;
using support::RecordingDaemon;
using testing::HasSubstr;

// --- What is configured ------------------------------------------------------------

// A leaf of a list entry, its value and another one, and, in a neighbor, the code of its record. A
// leaf without content has no values.
struct Leaf {
    std::string name;
    std::string value = {}, other = {};
    std::int32_t sub_mod = 0;
};
using Leaves = std::vector<Leaf>;

// A list entry. The plug-in sends a record for each leaf of a neighbor, and one for any other
// entry.
struct Entry {
    std::string path;
    bool is_neighbor;
    Leaves leaves;
    std::function<Message(std::int32_t op, const Leaves &leaves)> record; // with these leaves
};

struct FamilyEntry {
    std::string path;
    Family family;

    bool is_vrf() const { return !family.vrf_name.empty(); }
    std::string path_of(const std::string &list, const std::string &keys) const {
        const std::string infix = is_vrf() ? "vrf-" : "";
        return path + "/bgp-family-" + infix + list + "s/family-" + infix + list + keys;
    }
};

const std::string vrf_path =
    "/bgp-address-family-vrf/address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF']";
const std::vector<FamilyEntry> families = {
    {"/bgp-address-family/address-family[afi='AFI_IP'][safi='SAFI_UNICAST']", {1, 1}},
    {"/bgp-address-family/address-family[afi='AFI_IPV6'][safi='SAFI_UNICAST']", {2, 1}},
    {vrf_path + "[vrf-name='red']", {1, 71, "red"}},
    {vrf_path + "[vrf-name='blue']", {1, 71, "blue"}},
};

Entry network_entry(const FamilyEntry &in, const std::string &prefix, const Leaves &leaves) {
    return {in.path_of("network", "[prefix='" + prefix + "']"), false, leaves,
            [=](std::int32_t op, const Leaves &with) {
                std::string route_map;
                std::uint32_t backdoor = 0;
                for (const Leaf &leaf : with) {
                    route_map += leaf.value;
                    backdoor |= leaf.name == "backdoor" ? 1U : 0U;
                }
                return network(op, prefix, route_map, backdoor, in.family);
            }};
}

Entry redistribution(const FamilyEntry &in, const std::string &protocol, const std::string &process,
                     const Leaves &leaves) {
    return {in.path_of("redistribute", "[protocol='" + protocol + "'][process='" + process + "']"),
            false, leaves, [=](std::int32_t op, const Leaves &with) {
                return redistribute(op, protocol, process, with.empty() ? "" : with[0].value,
                                    in.family);
            }};
}

using FamilyRecord = bgp_address_family_neighbor_universal_val;

template <typename Record>
void put_leaf(Record &record, const Leaf &leaf) {
    if (leaf.name == "remote-as") {
        put(record.remote_as, leaf.value);
    } else if (leaf.name == "description") {
        put(record.description, leaf.value);
    } else if (leaf.name == "ebgp-multihop") {
        record.ebgp_multihop = static_cast<std::uint32_t>(std::stoul(leaf.value));
    } else if (leaf.name == "update-source") {
        put(record.update_source, leaf.value);
    } else if constexpr (std::is_same_v<Record, FamilyRecord>) {
        (leaf.name == "activate"        ? record.active
         : leaf.name == "next-hop-self" ? record.next_hop_self
                                        : record.route_reflector_client) = 1;
    }
}

// A neighbor whose records are like this one.
template <typename Record>
Entry neighbor_entry(const std::string &path, const std::string &address, Record record,
                     const Leaves &leaves) {
    put(record.neighbor_ip_or_tag, address);
    return {path, true, leaves, [=](std::int32_t op, const Leaves &with) {
                Record filled = record;
                filled.op = op;
                for (const Leaf &leaf : with) {
                    put_leaf(filled, leaf);
                }
                return message_with(with.back().sub_mod, filled);
            }};
}

// The settings of the neighbor with this number, whose records have these codes.
Leaves session_leaves(const std::string &number, const std::vector<std::int32_t> &codes) {
    return {{"remote-as", "6449" + number, "4294967295", codes[0]},
            {"description", "Provider " + number, "renamed", codes[1]},
            {"ebgp-multihop", number, "255", codes[2]},
            {"update-source", "loopback" + number, "192.0.2.1", codes[3]}};
}

std::vector<Entry> globle_neighbors() {
    std::vector<Entry> entries;
    for (const std::string number : {"1", "2", "3"}) {
        const std::string address = "2001:db8::" + number;
        bgp_globle_neighbor_config record{};
        record.bgp_id = as;
        entries.push_back(neighbor_entry(
            "/bgp/bgp-globle-neighbors/globle-neighbor[neighbor-address='" + address + "']",
            address, record,
            session_leaves(number,
                           {BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION,
                            BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP,
                            BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE})));
    }
    return entries;
}

Leaves family_leaves(const FamilyEntry &in, const std::string &number) {
    if (!in.is_vrf()) {
        return {{"activate", "", "", BGP_SUB_NEIGHBOR_ACTIVATE},
                {"next-hop-self", "", "", BGP_SUB_NEIGHBOR_NEXT_HOP_SELF},
                {"route-reflector-client", "", "", BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET}};
    }
    Leaves leaves =
        session_leaves(number, {BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, BGP_SUB_NEIGHBOR_VRF_DESCRIPTION,
                                BGP_SUB_NEIGHBOR_VRF_MULTIHOP, BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE});
    leaves.push_back({"activate", "", "", BGP_SUB_NEIGHBOR_VRF_ACTIVATE});
    return leaves;
}

std::vector<Entry> entries_of(const FamilyEntry &in) {
    std::vector<Entry> entries = {
        network_entry(in, "10.1.0.0/16", {{"route-map", "OFFICE", "OTHER"}, {"backdoor"}}),
        network_entry(in, "10.2.0.0/16", {{"route-map", "CAMPUS", "OTHER"}}),
        network_entry(in, "10.3.0.0/16", {})};
    for (const std::string number : {"1", "2", "3"}) {
        const std::string address = "192.0.2." + number;
        entries.push_back(
            neighbor_entry(in.path_of("neighbor", "[neighbor-address='" + address + "']"), address,
                           record_in<FamilyRecord>(set, in.family), family_leaves(in, number)));
    }
    entries.push_back(redistribution(in, "ospf", "1", {{"route-map", "FROM-OSPF", "OTHER"}}));
    entries.push_back(redistribution(in, "isis", "core", {}));
    return entries;
}

std::vector<Entry> all_entries() {
    std::vector<Entry> entries = globle_neighbors();
    for (const FamilyEntry &family : families) {
        for (Entry &entry : entries_of(family)) {
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

// --- As the client sets it, and as the daemon receives it ---------------------------

using Changes = std::vector<Change>;

Changes setting(const std::string &path, const std::string &value = "") {
    return {{Change::set, path, value}};
}
Changes removal(const std::string &path) {
    return {{Change::remove, path, ""}};
}
Changes creation(const std::vector<Entry> &entries) {
    Changes changes;
    for (const Entry &entry : entries) {
        changes.push_back({Change::set, entry.path, ""});
        for (const Leaf &leaf : entry.leaves) {
            changes.push_back({Change::set, entry.path + "/" + leaf.name, leaf.value});
        }
    }
    return changes;
}

// A message without its result value, which a request does not define.
struct Sent {
    std::int32_t sub_mod;
    std::string payload;

    Sent(const Message &message) : sub_mod{message.sub_mod}, payload{message.payload()} {
        EXPECT_EQ(message.module, MODULE_ID_BGP);
    }
    bool operator==(const Sent &other) const {
        return sub_mod == other.sub_mod && payload == other.payload;
    }
    friend void PrintTo(const Sent &sent, std::ostream *out) {
        *out << readable(configd::make_message(MODULE_ID_BGP, sent.sub_mod, sent.payload));
    }
};
using Messages = std::vector<Sent>;

// Each record of a created neighbor also contains the leaves before it.
void add_created(Messages &messages, const Entry &entry) {
    if (!entry.is_neighbor) {
        messages.emplace_back(entry.record(set, entry.leaves));
    }
    for (std::size_t i = 1; entry.is_neighbor && i <= entry.leaves.size(); ++i) {
        messages.emplace_back(entry.record(
            set, {entry.leaves.begin(), entry.leaves.begin() + static_cast<std::ptrdiff_t>(i)}));
    }
}

// The deletion of a neighbor's first leaf includes that of the others.
Sent deleted(const Entry &entry) {
    return entry.record(erase, entry.is_neighbor ? Leaves{entry.leaves[0]} : entry.leaves);
}

class ConfigurationOnDatastore : public testing::Test {
  protected:
    // Makes an edit that has to be accepted and returns what it sent.
    Messages send(const Changes &changes) {
        const auto outcome = client.edit(changes);
        EXPECT_EQ(outcome.code, SR_ERR_OK) << changes[0].path << ": " << outcome.message;
        return received();
    }
    Messages received() {
        const auto messages = daemon.take_messages();
        return {messages.begin(), messages.end()};
    }
    void create_as() {
        ASSERT_EQ(send(setting("/as", std::to_string(as))), Messages{as_message(set, as)});
    }
    void create_all() { ASSERT_EQ(send(whole_configuration()), whole_creation()); }

    static Changes whole_configuration() {
        Changes changes = {{Change::set, "/as", std::to_string(as)},
                           {Change::set, "/bgp/router-id", "192.0.2.1"}};
        for (Change &change : creation(all_entries())) {
            changes.push_back(std::move(change));
        }
        return changes;
    }
    static Messages whole_creation() {
        Messages messages = {as_message(set, as), router_id_message(set, as, "192.0.2.1")};
        for (const Entry &entry : globle_neighbors()) {
            add_created(messages, entry);
        }
        for (const FamilyEntry &family : families) {
            if (family.is_vrf()) {
                messages.emplace_back(vrf(set, family.family));
            }
            for (const Entry &entry : entries_of(family)) {
                add_created(messages, entry);
            }
        }
        return messages;
    }

    Datastore datastore;
    RecordingDaemon daemon;
    Host host{datastore};
    soak::Session client;
};

TEST_F(ConfigurationOnDatastore, IsCreatedInOneEdit) {
    create_all();
    EXPECT_EQ(send(whole_configuration()), Messages{}) << "the same once more changes nothing";
}

TEST_F(ConfigurationOnDatastore, AsIsCreatedChangedAndDeleted) {
    create_as();
    EXPECT_EQ(send(setting("/as", "4294967295")), Messages{as_message(set, 4294967295U)});
    EXPECT_THAT(datastore.configuration(), HasSubstr("<as>4294967295</as>"));
    EXPECT_EQ(send(removal("/as")), Messages{as_message(erase, 4294967295U)});
    EXPECT_EQ(datastore.configuration().find("<as>"), std::string::npos);
}

TEST_F(ConfigurationOnDatastore, ChangesLeafByLeaf) {
    create_all();
    EXPECT_EQ(send(setting("/bgp/router-id", "192.0.2.99")),
              Messages{router_id_message(set, as, "192.0.2.99")});
    EXPECT_EQ(send(removal("/bgp/router-id")),
              Messages{router_id_message(erase, as, "192.0.2.99")});
    for (const Entry &entry : all_entries()) {
        for (const Leaf &leaf : entry.leaves) {
            const std::string path = entry.path + "/" + leaf.name;
            Leaf now = leaf;
            if (!leaf.other.empty()) {
                now.value = leaf.other;
                EXPECT_EQ(send(setting(path, now.value)), Messages{entry.record(set, {now})});
            }
            EXPECT_EQ(send(removal(path)), Messages{entry.record(erase, {now})});
            EXPECT_EQ(send(setting(path, leaf.value)), Messages{entry.record(set, {leaf})});
        }
    }
}

TEST_F(ConfigurationOnDatastore, DeletionOfANeighborsFirstLeafIncludesTheNext) {
    create_all();
    for (const Entry &entry : all_entries()) {
        if (entry.is_neighbor) {
            EXPECT_EQ(send({{Change::remove, entry.path + "/" + entry.leaves[0].name, ""},
                            {Change::remove, entry.path + "/" + entry.leaves[1].name, ""}}),
                      Messages{deleted(entry)});
        }
    }
}

TEST_F(ConfigurationOnDatastore, IsDeletedPieceByPiece) {
    create_all();
    for (const Entry &entry : all_entries()) {
        EXPECT_EQ(send(removal(entry.path)), Messages{deleted(entry)});
    }
    for (const FamilyEntry &family : families) {
        EXPECT_EQ(send(removal(family.path)),
                  family.is_vrf() ? Messages{vrf(erase, family.family)} : Messages{});
    }
    EXPECT_EQ(send(removal("/as")), Messages{as_message(erase, as)});
}

TEST_F(ConfigurationOnDatastore, IsDeletedInOneEditWhileTheAsStays) {
    create_all();
    Messages expected;
    for (const Entry &entry : globle_neighbors()) {
        expected.push_back(deleted(entry));
    }
    for (const FamilyEntry &family : families) {
        if (family.is_vrf()) {
            expected.emplace_back(vrf(erase, family.family));
            continue;
        }
        for (const Entry &entry : entries_of(family)) {
            expected.push_back(deleted(entry));
        }
    }
    Messages messages = send({{Change::remove, "/bgp", ""},
                              {Change::remove, "/bgp-address-family", ""},
                              {Change::remove, "/bgp-address-family-vrf", ""}});
    // The datastore decides the position of the router identifier among its siblings.
    const auto found = std::find(messages.begin(), messages.end(),
                                 Sent{router_id_message(erase, as, "192.0.2.1")});
    ASSERT_NE(found, messages.end());
    messages.erase(found);
    EXPECT_EQ(messages, expected);
}

TEST_F(ConfigurationOnDatastore, DeletingEverythingSendsTheAsOnly) {
    create_all();
    EXPECT_EQ(send(removal("")), Messages{as_message(erase, as)});
    EXPECT_EQ(datastore.configuration().find("router-bgp"), std::string::npos);
}

TEST_F(ConfigurationOnDatastore, RefusalInTheMiddleEndsTheEditAndLeavesTheDatastoreAsItWas) {
    create_as();
    const std::string before = datastore.configuration();
    daemon.answer_next(configd::ResultCode{0});
    daemon.answer_next(configd::ResultCode{SR_ERR_NO_EXISTS_CONFIG});
    const std::vector<Entry> entries = entries_of(families[0]);
    EXPECT_EQ(client.edit(creation(entries)).code, SR_ERR_CALLBACK_FAILED);
    EXPECT_EQ(received(), (Messages{entries[0].record(set, entries[0].leaves),
                                    entries[1].record(set, entries[1].leaves)}));
    EXPECT_EQ(datastore.configuration(), before);
}

TEST_F(ConfigurationOnDatastore, TextThatFillsItsFieldInBytesIsTakenAndALongerOneIsRefused) {
    create_as();
    // The model counts characters, the record bytes: "é" takes two.
    const auto described = [](std::size_t letters, std::string text) {
        const std::string path = "/bgp/bgp-globle-neighbors/globle-neighbor[neighbor-address='a']";
        for (std::size_t i = 0; i < letters; ++i) {
            text += "\u00e9";
        }
        return Changes{{Change::set, path + "/remote-as", "1"},
                       {Change::set, path + "/description", text}};
    };
    EXPECT_NE(client.edit(described(41, "")).code, SR_ERR_OK) << "82 bytes";
    received();
    EXPECT_EQ(send(described(40, "x")).size(), 2U) << "81 bytes";
}

TEST_F(ConfigurationOnDatastore, ThousandNetworksAreAThousandRecords) {
    create_as();
    std::vector<Entry> entries;
    Messages expected;
    for (int i = 0; i < 1000; ++i) {
        const std::string prefix =
            "10." + std::to_string(i / 250) + "." + std::to_string(i % 250) + ".0/24";
        entries.push_back(network_entry(families[0], prefix, {{"route-map", "MAP"}}));
        add_created(expected, entries.back());
    }
    EXPECT_EQ(send(creation(entries)), expected);
}

} // namespace
