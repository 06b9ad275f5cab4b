// A whole configuration from the client's edits to the daemon's messages, on
// the real datastore and in the real plug-in host: created in one edit, changed
// leaf by leaf, deleted piece by piece and in one edit.
#include "datastore.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using support::Datastore;
using support::element;
using support::Host;
using support::RecordingDaemon;
using support::router_bgp;

constexpr std::uint32_t as = 65001;

// --- What is configured ------------------------------------------------------------

struct GlobleNeighbor {
    std::string address, remote_as, description;
    std::uint32_t multihop;
    std::string update_source;
};
struct Network {
    std::string prefix, route_map; // no route map when empty
    bool backdoor;
};
struct Neighbor { // of an address family outside a VRF
    std::string address;
};
struct Redistribution {
    std::string protocol, process, route_map;
};
// An address family, in a VRF if it has a VRF's name. In a VRF, neighbors have their own settings.
struct Family {
    std::uint32_t afi, safi;
    std::string afi_name, safi_name, vrf;
    std::vector<Network> networks;
    std::vector<Neighbor> neighbors;
    std::vector<GlobleNeighbor> vrf_neighbors;
    std::vector<Redistribution> redistributions;
};

const std::vector<GlobleNeighbor> globle_neighbors = {
    {"192.0.2.11", "64496", "Provider A", 2, "loopback0"},
    {"192.0.2.12", "64497", "Provider B", 4, "192.0.2.1"},
    {"2001:db8::11", "64498", "Provider C", 255, "loopback1"},
};

Family plain_family(std::uint32_t afi, const std::string &afi_name, const std::string &net) {
    return {afi,
            1,
            afi_name,
            "SAFI_UNICAST",
            "",
            {{net + "1", "OFFICE", true}, {net + "2", "CAMPUS", false}, {net + "3", "", false}},
            {{"192.0.2.11"}, {"192.0.2.12"}, {"2001:db8::11"}},
            {},
            {{"ospf", "1", "FROM-OSPF"}, {"isis", "core", ""}}};
}

Family vrf_family(const std::string &vrf, const std::string &net) {
    return {1,
            71,
            "AFI_IP",
            "SAFI_VRF",
            vrf,
            {{net + "1", "SITE", true}, {net + "2", "LAB", false}, {net + "3", "", false}},
            {},
            {{"10.1.0.1", "64601", "Edge 1", 1, "vlan1"},
             {"10.1.0.2", "64602", "Edge 2", 2, "vlan2"},
             {"10.1.0.3", "64603", "Edge 3", 3, "vlan3"}},
            {{"ospf", "10", "FROM-" + vrf}, {"rip", "1", ""}}};
}

const std::vector<Family> families = {plain_family(1, "AFI_IP", "10.0.0."),
                                      plain_family(2, "AFI_IPV6", "2001:db8::"),
                                      vrf_family("red", "10.1.0."), vrf_family("blue", "10.2.0.")};

// --- As the client writes it --------------------------------------------------------

std::string leaf(const std::string &name, const std::string &value) {
    return value.empty() ? "" : element(name, value);
}
// An element that the edit deletes.
std::string deletion(const std::string &name, const std::string &content = "") {
    return "<" + name + " nc:operation=\"delete\">" + content + "</" + name + ">";
}
std::string bgp(const std::string &content) {
    return router_bgp(element("bgp", content));
}
std::string globle(const std::string &content) {
    return bgp(element("bgp-globle-neighbors", content));
}

std::string neighbor_settings(const GlobleNeighbor &neighbor) {
    return leaf("remote-as", neighbor.remote_as) + leaf("description", neighbor.description) +
           leaf("ebgp-multihop", std::to_string(neighbor.multihop)) +
           leaf("update-source", neighbor.update_source);
}

// Inside a VRF, the names of a family's nodes contain "vrf-".
std::string in_family(const Family &family, const std::string &name) {
    return family.vrf.empty()
               ? name
               : name.substr(0, name.find('-') + 1) + "vrf-" + name.substr(name.find('-') + 1);
}
std::string container(const Family &family, const std::string &list, const std::string &content) {
    const std::string node = family.vrf.empty() ? "bgp-family-" : "bgp-family-vrf-";
    return element(node + list + "s", content);
}
std::string family_keys(const Family &family) {
    return leaf("afi", family.afi_name) + leaf("safi", family.safi_name) +
           leaf("vrf-name", family.vrf);
}
std::string family_list(const Family &family) {
    return family.vrf.empty() ? "address-family" : "address-family-vrf";
}
std::string family_edit(const Family &family, const std::string &content) {
    return router_bgp(element("bgp-" + family_list(family),
                              element(family_list(family), family_keys(family) + content)));
}

std::string xml(const Family &family, const Network &network) {
    return element(in_family(family, "family-network"),
                   leaf("prefix", network.prefix) + leaf("route-map", network.route_map) +
                       (network.backdoor ? "<backdoor/>" : ""));
}
std::string xml(const Family &family, const Neighbor &neighbor) {
    return element(in_family(family, "family-neighbor"),
                   leaf("neighbor-address", neighbor.address) +
                       "<activate/><next-hop-self/><route-reflector-client/>");
}
std::string xml(const Family &family, const GlobleNeighbor &neighbor) {
    return element(in_family(family, "family-neighbor"),
                   leaf("neighbor-address", neighbor.address) + neighbor_settings(neighbor) +
                       "<activate/>");
}
std::string xml(const Family &family, const Redistribution &redistribution) {
    return element(in_family(family, "family-redistribute"),
                   leaf("protocol", redistribution.protocol) +
                       leaf("process", redistribution.process) +
                       leaf("route-map", redistribution.route_map));
}
std::string xml(const Family &family) {
    std::string networks;
    std::string neighbors;
    std::string redistributions;
    for (const auto &entry : family.networks) {
        networks += xml(family, entry);
    }
    for (const auto &entry : family.neighbors) {
        neighbors += xml(family, entry);
    }
    for (const auto &entry : family.vrf_neighbors) {
        neighbors += xml(family, entry);
    }
    for (const auto &entry : family.redistributions) {
        redistributions += xml(family, entry);
    }
    return element(family_list(family), family_keys(family) +
                                            container(family, "network", networks) +
                                            container(family, "neighbor", neighbors) +
                                            container(family, "redistribute", redistributions));
}

std::string whole_configuration() {
    std::string neighbors;
    for (const auto &neighbor : globle_neighbors) {
        neighbors += element("globle-neighbor", leaf("neighbor-address", neighbor.address) +
                                                    neighbor_settings(neighbor));
    }
    std::string plain;
    std::string vrfs;
    for (const auto &family : families) {
        (family.vrf.empty() ? plain : vrfs) += xml(family);
    }
    return router_bgp(leaf("as", std::to_string(as)) +
                      element("bgp", leaf("router-id", "192.0.2.1") +
                                         element("bgp-globle-neighbors", neighbors)) +
                      element("bgp-address-family", plain) +
                      element("bgp-address-family-vrf", vrfs));
}

// --- As the daemon receives it ------------------------------------------------------

struct Sent {
    std::int32_t sub_mod;
    std::string payload;

    bool operator==(const Sent &other) const {
        return sub_mod == other.sub_mod && payload == other.payload;
    }
};
std::ostream &operator<<(std::ostream &stream, const Sent &sent) {
    return stream << configd::readable(
               configd::make_message(MODULE_ID_BGP, sent.sub_mod, sent.payload));
}
using Messages = std::vector<Sent>;

template <typename Record>
Sent sent(std::int32_t sub_mod, const Record &record) {
    return {sub_mod, {reinterpret_cast<const char *>(&record), sizeof record}};
}
template <std::size_t size>
void put(char (&field)[size], const std::string &text) {
    std::memcpy(field, text.data(), text.size());
}

Sent router_id(std::int32_t op, const std::string &text) {
    bgp_globle_config record{};
    record.op = op;
    record.bgp_id = as;
    put(record.router_id, text);
    return sent(BGP_SUB_ROUTER_ID, record);
}

bgp_globle_neighbor_config globle_record(std::int32_t op, const GlobleNeighbor &neighbor) {
    bgp_globle_neighbor_config record{};
    record.op = op;
    record.bgp_id = as;
    put(record.neighbor_ip_or_tag, neighbor.address);
    return record;
}

// A created neighbor: one record for each leaf; each also contains the leaves before it.
void add_created(Messages &messages, const GlobleNeighbor &neighbor) {
    auto record = globle_record(1, neighbor);
    put(record.remote_as, neighbor.remote_as);
    messages.push_back(sent(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, record));
    put(record.description, neighbor.description);
    messages.push_back(sent(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, record));
    record.ebgp_multihop = neighbor.multihop;
    messages.push_back(sent(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, record));
    put(record.update_source, neighbor.update_source);
    messages.push_back(sent(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, record));
}
Sent deleted_neighbor(const GlobleNeighbor &neighbor) {
    auto record = globle_record(0, neighbor);
    put(record.remote_as, neighbor.remote_as);
    return sent(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, record);
}

// A record of an address family with only the fields that all of them have.
template <typename Record>
Record family_record(const Family &family, std::int32_t op) {
    Record record{};
    record.op = op;
    record.bgp_id = as;
    record.address_family.afi = family.afi;
    record.address_family.safi = family.safi;
    put(record.address_family.vrf_name, family.vrf);
    return record;
}

Sent network_message(const Family &family, std::int32_t op, const Network &network) {
    auto record = family_record<bgp_address_family_network_universal_val>(family, op);
    put(record.network_ip_str, network.prefix);
    put(record.route_map, network.route_map);
    record.backdoor = network.backdoor ? 1 : 0;
    return sent(BGP_SUB_NETWORK, record);
}
Sent redistribute_message(const Family &family, std::int32_t op, const Redistribution &entry) {
    auto record = family_record<bgp_address_family_redistribute_universal_val>(family, op);
    put(record.protocol_name, entry.protocol);
    put(record.protocol_id_or_tag, entry.process);
    put(record.route_map, entry.route_map);
    return sent(BGP_SUB_REDISTRIBUTE, record);
}

using NeighborRecord = bgp_address_family_neighbor_universal_val;
NeighborRecord neighbor_record(const Family &family, std::int32_t op, const std::string &address) {
    auto record = family_record<NeighborRecord>(family, op);
    put(record.neighbor_ip_or_tag, address);
    return record;
}
void add_created(Messages &messages, const Family &family, const Neighbor &neighbor) {
    auto record = neighbor_record(family, 1, neighbor.address);
    record.active = 1;
    messages.push_back(sent(BGP_SUB_NEIGHBOR_ACTIVATE, record));
    record.next_hop_self = 1;
    messages.push_back(sent(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, record));
    record.route_reflector_client = 1;
    messages.push_back(sent(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, record));
}
void add_created(Messages &messages, const Family &family, const GlobleNeighbor &neighbor) {
    auto record = neighbor_record(family, 1, neighbor.address);
    put(record.remote_as, neighbor.remote_as);
    messages.push_back(sent(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, record));
    put(record.description, neighbor.description);
    messages.push_back(sent(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, record));
    record.ebgp_multihop = neighbor.multihop;
    messages.push_back(sent(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, record));
    put(record.update_source, neighbor.update_source);
    messages.push_back(sent(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, record));
    record.active = 1;
    messages.push_back(sent(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, record));
}
Sent deleted_neighbor(const Family &family, const Neighbor &neighbor) {
    auto record = neighbor_record(family, 0, neighbor.address);
    record.active = 1;
    return sent(BGP_SUB_NEIGHBOR_ACTIVATE, record);
}
Sent deleted_neighbor(const Family &family, const GlobleNeighbor &neighbor) {
    auto record = neighbor_record(family, 0, neighbor.address);
    put(record.remote_as, neighbor.remote_as);
    return sent(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, record);
}

Sent vrf_entry(std::int32_t op, const Family &family) {
    address_family_val record{};
    record.op = op;
    record.bgp_id = as;
    record.afi = family.afi;
    record.safi = family.safi;
    put(record.vrf_name, family.vrf);
    return sent(BGP_SUB_ADDRESS_FAMILY_VRF, record);
}

void add_created(Messages &messages, const Family &family) {
    if (!family.vrf.empty()) {
        messages.push_back(vrf_entry(1, family));
    }
    for (const auto &entry : family.networks) {
        messages.push_back(network_message(family, 1, entry));
    }
    for (const auto &entry : family.neighbors) {
        add_created(messages, family, entry);
    }
    for (const auto &entry : family.vrf_neighbors) {
        add_created(messages, family, entry);
    }
    for (const auto &entry : family.redistributions) {
        messages.push_back(redistribute_message(family, 1, entry));
    }
}

// The records of a deleted family: one for each entry, or one for the family of a VRF.
void add_deleted(Messages &messages, const Family &family) {
    if (!family.vrf.empty()) {
        messages.push_back(vrf_entry(0, family));
        return;
    }
    for (const auto &entry : family.networks) {
        messages.push_back(network_message(family, 0, entry));
    }
    for (const auto &entry : family.neighbors) {
        messages.push_back(deleted_neighbor(family, entry));
    }
    for (const auto &entry : family.redistributions) {
        messages.push_back(redistribute_message(family, 0, entry));
    }
}

Messages whole_creation() {
    Messages messages = {sent(BGP_SUB_BGP_AS, bgp_as_val{1, as}), router_id(1, "192.0.2.1")};
    for (const auto &neighbor : globle_neighbors) {
        add_created(messages, neighbor);
    }
    for (const auto &family : families) {
        add_created(messages, family);
    }
    return messages;
}

class ConfigurationOnDatastore : public testing::Test {
  protected:
    // Makes an edit that has to be accepted and returns what it sent.
    Messages send(const std::string &edit) {
        const auto outcome = datastore.edit(edit);
        EXPECT_EQ(outcome.exit_code, 0) << edit << "\n" << outcome.output;
        return received();
    }
    Messages received() {
        Messages messages;
        for (const auto &message : daemon.take_messages()) {
            EXPECT_EQ(message.module, MODULE_ID_BGP);
            messages.push_back({message.sub_mod, std::string(message.payload())});
        }
        return messages;
    }
    void create_all() { ASSERT_EQ(send(whole_configuration()), whole_creation()); }

    Datastore datastore;
    RecordingDaemon daemon;
    Host host{datastore};
};

TEST_F(ConfigurationOnDatastore, IsCreatedInOneEdit) {
    create_all();
    EXPECT_EQ(send(whole_configuration()), Messages{}) << "the same once more changes nothing";
}

TEST_F(ConfigurationOnDatastore, GlobalSettingsChangeLeafByLeaf) {
    create_all();
    EXPECT_EQ(send(bgp(leaf("router-id", "192.0.2.99"))), Messages{router_id(1, "192.0.2.99")});
    EXPECT_EQ(send(bgp(deletion("router-id"))), Messages{router_id(0, "192.0.2.99")});
    for (const auto &neighbor : globle_neighbors) {
        const auto edit = [&](const std::string &content) {
            return globle(
                element("globle-neighbor", leaf("neighbor-address", neighbor.address) + content));
        };
        auto record = globle_record(1, neighbor);
        put(record.description, "renamed");
        EXPECT_EQ(send(edit(leaf("description", "renamed"))),
                  Messages{sent(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, record)});
        record.op = 0;
        EXPECT_EQ(send(edit(deletion("description"))),
                  Messages{sent(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, record)});

        record = globle_record(1, neighbor);
        record.ebgp_multihop = 17;
        EXPECT_EQ(send(edit(leaf("ebgp-multihop", "17"))),
                  Messages{sent(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, record)});
        record.op = 0;
        EXPECT_EQ(send(edit(deletion("ebgp-multihop"))),
                  Messages{sent(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, record)});

        record = globle_record(0, neighbor);
        put(record.update_source, neighbor.update_source);
        EXPECT_EQ(send(edit(deletion("update-source"))),
                  Messages{sent(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, record)});

        record = globle_record(1, neighbor);
        put(record.remote_as, "4294967295");
        EXPECT_EQ(send(edit(leaf("remote-as", "4294967295"))),
                  Messages{sent(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, record)});
    }
}

TEST_F(ConfigurationOnDatastore, FamilySettingsChangeLeafByLeaf) {
    create_all();
    for (const auto &family : families) {
        for (const auto &network : family.networks) {
            const auto edit = [&](const std::string &content) {
                return family_edit(family,
                                   container(family, "network",
                                             element(in_family(family, "family-network"),
                                                     leaf("prefix", network.prefix) + content)));
            };
            EXPECT_EQ(send(edit(leaf("route-map", "OTHER"))),
                      Messages{network_message(family, 1, {network.prefix, "OTHER", false})});
            EXPECT_EQ(send(edit(deletion("route-map"))),
                      Messages{network_message(family, 0, {network.prefix, "OTHER", false})});
            if (network.backdoor) {
                EXPECT_EQ(send(edit(deletion("backdoor"))),
                          Messages{network_message(family, 0, {network.prefix, "", true})});
            }
            EXPECT_EQ(send(edit("<backdoor/>")),
                      Messages{network_message(family, 1, {network.prefix, "", true})});
        }
        for (const auto &entry : family.redistributions) {
            const auto edit = [&](const std::string &content) {
                return family_edit(
                    family, container(family, "redistribute",
                                      element(in_family(family, "family-redistribute"),
                                              leaf("protocol", entry.protocol) +
                                                  leaf("process", entry.process) + content)));
            };
            EXPECT_EQ(send(edit(leaf("route-map", "OTHER"))),
                      Messages{redistribute_message(family, 1,
                                                    {entry.protocol, entry.process, "OTHER"})});
            EXPECT_EQ(send(edit(deletion("route-map"))),
                      Messages{redistribute_message(family, 0,
                                                    {entry.protocol, entry.process, "OTHER"})});
        }
    }
}

TEST_F(ConfigurationOnDatastore, FamilyNeighborsChangeLeafByLeaf) {
    create_all();
    const Family &family = families[0];
    for (const auto &neighbor : family.neighbors) {
        const auto edit = [&](const std::string &content) {
            return family_edit(
                family, container(family, "neighbor",
                                  element("family-neighbor",
                                          leaf("neighbor-address", neighbor.address) + content)));
        };
        auto record = neighbor_record(family, 0, neighbor.address);
        record.route_reflector_client = 1;
        EXPECT_EQ(send(edit(deletion("route-reflector-client"))),
                  Messages{sent(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, record)});
        // The deactivation includes the deletion of the other leaf.
        EXPECT_EQ(send(edit(deletion("activate") + deletion("next-hop-self"))),
                  Messages{deleted_neighbor(family, neighbor)});
        record = neighbor_record(family, 1, neighbor.address);
        record.next_hop_self = 1;
        EXPECT_EQ(send(edit("<next-hop-self/>")),
                  Messages{sent(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, record)});
    }
}

TEST_F(ConfigurationOnDatastore, VrfNeighborsChangeLeafByLeaf) {
    create_all();
    const Family &family = families[2];
    for (const auto &neighbor : family.vrf_neighbors) {
        const auto edit = [&](const std::string &content) {
            return family_edit(
                family, container(family, "neighbor",
                                  element("family-vrf-neighbor",
                                          leaf("neighbor-address", neighbor.address) + content)));
        };
        auto record = neighbor_record(family, 1, neighbor.address);
        put(record.description, "renamed");
        EXPECT_EQ(send(edit(leaf("description", "renamed"))),
                  Messages{sent(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, record)});
        record = neighbor_record(family, 1, neighbor.address);
        record.ebgp_multihop = 200;
        EXPECT_EQ(send(edit(leaf("ebgp-multihop", "200"))),
                  Messages{sent(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, record)});
        record = neighbor_record(family, 0, neighbor.address);
        record.active = 1;
        EXPECT_EQ(send(edit(deletion("activate"))),
                  Messages{sent(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, record)});
        record = neighbor_record(family, 0, neighbor.address);
        put(record.update_source, neighbor.update_source);
        EXPECT_EQ(send(edit(deletion("update-source"))),
                  Messages{sent(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, record)});
        // The deletion of the remote AS includes the deletion of the other leaves.
        EXPECT_EQ(send(edit(deletion("remote-as") + deletion("description"))),
                  Messages{deleted_neighbor(family, neighbor)});
    }
}

TEST_F(ConfigurationOnDatastore, IsDeletedPieceByPiece) {
    create_all();
    for (const auto &neighbor : globle_neighbors) {
        EXPECT_EQ(
            send(globle(deletion("globle-neighbor", leaf("neighbor-address", neighbor.address)))),
            Messages{deleted_neighbor(neighbor)});
    }
    for (const auto &family : families) {
        for (const auto &network : family.networks) {
            EXPECT_EQ(
                send(family_edit(family, container(family, "network",
                                                   deletion(in_family(family, "family-network"),
                                                            leaf("prefix", network.prefix))))),
                Messages{network_message(family, 0, network)});
        }
        const auto neighbor_deletion = [&](const std::string &address) {
            return family_edit(family, container(family, "neighbor",
                                                 deletion(in_family(family, "family-neighbor"),
                                                          leaf("neighbor-address", address))));
        };
        for (const auto &neighbor : family.neighbors) {
            EXPECT_EQ(send(neighbor_deletion(neighbor.address)),
                      Messages{deleted_neighbor(family, neighbor)});
        }
        for (const auto &neighbor : family.vrf_neighbors) {
            EXPECT_EQ(send(neighbor_deletion(neighbor.address)),
                      Messages{deleted_neighbor(family, neighbor)});
        }
        for (const auto &entry : family.redistributions) {
            EXPECT_EQ(send(family_edit(family,
                                       container(family, "redistribute",
                                                 deletion(in_family(family, "family-redistribute"),
                                                          leaf("protocol", entry.protocol) +
                                                              leaf("process", entry.process))))),
                      Messages{redistribute_message(family, 0, entry)});
        }
    }
    for (const auto &family : families) {
        const Messages expected = family.vrf.empty() ? Messages{} : Messages{vrf_entry(0, family)};
        EXPECT_EQ(send(router_bgp(element("bgp-" + family_list(family),
                                          deletion(family_list(family), family_keys(family))))),
                  expected);
    }
    EXPECT_EQ(send(router_bgp(deletion("as"))), Messages{sent(BGP_SUB_BGP_AS, bgp_as_val{0, as})});
}

TEST_F(ConfigurationOnDatastore, IsDeletedInOneEditWhileTheAsStays) {
    create_all();
    Messages expected;
    for (const auto &neighbor : globle_neighbors) {
        expected.push_back(deleted_neighbor(neighbor));
    }
    for (const auto &family : families) {
        add_deleted(expected, family);
    }
    Messages messages = send(router_bgp(deletion("bgp") + deletion("bgp-address-family") +
                                        deletion("bgp-address-family-vrf")));
    // The datastore decides the position of the router identifier among its siblings.
    const auto found = std::find(messages.begin(), messages.end(), router_id(0, "192.0.2.1"));
    ASSERT_NE(found, messages.end());
    messages.erase(found);
    EXPECT_EQ(messages, expected);
}

TEST_F(ConfigurationOnDatastore, DeletingEverythingSendsTheAsOnly) {
    create_all();
    EXPECT_EQ(send(R"(<router-bgp xmlns="urn:orv:params:xml:ns:yang:orv_bgp")"
                   R"( xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0")"
                   R"( nc:operation="delete"/>)"),
              Messages{sent(BGP_SUB_BGP_AS, bgp_as_val{0, as})});
    EXPECT_EQ(datastore.configuration().find("router-bgp"), std::string::npos);
}

TEST_F(ConfigurationOnDatastore, RefusalInTheMiddleEndsTheEditAndLeavesTheDatastoreAsItWas) {
    datastore.edit(router_bgp(leaf("as", "65001")));
    received();
    const std::string before = datastore.configuration();
    daemon.answer_next(configd::ResultCode{0});
    daemon.answer_next(configd::ResultCode{SR_ERR_NO_EXISTS_CONFIG});
    std::string networks;
    for (const auto &network : families[0].networks) {
        networks += xml(families[0], network);
    }
    EXPECT_NE(datastore.edit(family_edit(families[0], container(families[0], "network", networks)))
                  .exit_code,
              0);
    EXPECT_EQ(received(), (Messages{network_message(families[0], 1, families[0].networks[0]),
                                    network_message(families[0], 1, families[0].networks[1])}));
    EXPECT_EQ(datastore.configuration(), before);
}

TEST_F(ConfigurationOnDatastore, TextThatFillsItsFieldInBytesIsTakenAndALongerOneIsRefused) {
    datastore.edit(router_bgp(leaf("as", "65001")));
    received();
    // The model counts characters, the record bytes: "é" takes two.
    const auto described = [](std::size_t letters, const std::string &more) {
        std::string text = more;
        for (std::size_t i = 0; i < letters; ++i) {
            text += "\u00e9";
        }
        return globle(element("globle-neighbor", leaf("neighbor-address", "192.0.2.11") +
                                                     leaf("remote-as", "1") +
                                                     leaf("description", text)));
    };
    EXPECT_NE(datastore.edit(described(41, "")).exit_code, 0) << "82 bytes";
    received();
    EXPECT_EQ(send(described(40, "x")).size(), 2U) << "81 bytes";
}

TEST_F(ConfigurationOnDatastore, ThousandNetworksAreAThousandRecords) {
    datastore.edit(router_bgp(leaf("as", "65001")));
    received();
    std::string networks;
    Messages expected;
    for (int i = 0; i < 1000; ++i) {
        const Network network{"10." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                                  ".0/24",
                              "MAP", false};
        networks += xml(families[0], network);
        expected.push_back(network_message(families[0], 1, network));
    }
    EXPECT_EQ(send(family_edit(families[0], container(families[0], "network", networks))),
              expected);
}

} // namespace
