// The address families of the instance and of VRFs for the tests of their change
// callbacks and parsers: names, paths and records.
#ifndef FAMILY_PATHS_H
#define FAMILY_PATHS_H

#include "change_fields.h"
#include "record_expectations.h"

#include <ostream>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace support {

// --- The parts of the families -------------------------------------------------------

struct ListKey {
    const char *node;
    Field field;
    const char *missing; // the line for a path without it
};

using FamilyParser = int (*)(sr_session_ctx_t *session, sr_change_oper_t operation, sr_val_t *value,
                             const address_family_val *family, const char *node, void *record,
                             std::uint32_t *length, std::uint32_t *sub_mod);

// A list of an address family, and the container around it.
struct FamilyList {
    const char *container;
    const char *list;
    const EntryRecord &described; // by the plug-in
    int sub_mod;                  // of every node; 0: the leaf's own, and other nodes have none
    std::vector<ListKey> keys;
    std::vector<Leaf> leaves;
    FamilyParser parse;
    const char *parser;

    const Leaf &leaf(const std::string &node) const {
        for (const Leaf &row : leaves) {
            if (node == row.node) {
                return row;
            }
        }
        throw std::invalid_argument(node);
    }
};

struct FamilyKind {
    const char *name;
    ChangeCallback callback;
    const char *function;
    const char *subscription;
    const char *list;
    bool in_vrf;
    const char *closing;
    FamilyList network;
    FamilyList neighbor;
    FamilyList redistribute;
    // The neighbor's leaf whose deletion includes that of the others.
    const char *carrier;

    std::vector<const char *> carried() const {
        std::vector<const char *> nodes;
        for (const Leaf &row : neighbor.leaves) {
            if (std::string(row.node) != carrier) {
                nodes.push_back(row.node);
            }
        }
        return nodes;
    }

    std::vector<const FamilyList *> lists() const { return {&network, &neighbor, &redistribute}; }

    friend std::ostream &operator<<(std::ostream &out, const FamilyKind &kind) {
        return out << kind.name;
    }
};

template <typename Record, auto parser>
int parse_as(sr_session_ctx_t *session, sr_change_oper_t operation, sr_val_t *value,
             const address_family_val *family, const char *node, void *record,
             std::uint32_t *length, std::uint32_t *sub_mod) {
    return parser(session, operation, value, family, node, static_cast<Record *>(record), length,
                  sub_mod);
}

#define FAMILY_PARSER_OF(record, parser) support::parse_as<record, parser>, #parser

inline std::vector<ListKey> network_keys() {
    return {{"prefix", RECORD_FIELD(bgp_address_family_network_universal_val, network_ip_str),
             "network prefix is NULL.\n"}};
}
inline std::vector<Leaf> network_leaves() {
    return {{"route-map", 7, RECORD_FIELD(bgp_address_family_network_universal_val, route_map),
             Leaf::text},
            {"backdoor", 7, RECORD_FIELD(bgp_address_family_network_universal_val, backdoor),
             Leaf::flag}};
}
inline std::vector<ListKey> neighbor_keys() {
    return {{"neighbor-address",
             RECORD_FIELD(bgp_address_family_neighbor_universal_val, neighbor_ip_or_tag),
             "neighbor ip address is NULL.\n"}};
}
inline std::vector<ListKey> redistribute_keys() {
    return {{"protocol", RECORD_FIELD(bgp_address_family_redistribute_universal_val, protocol_name),
             "redistribute protocol is NULL.\n"},
            {"process",
             RECORD_FIELD(bgp_address_family_redistribute_universal_val, protocol_id_or_tag),
             "redistribute process is NULL.\n"}};
}
inline std::vector<Leaf> redistribute_leaves() {
    return {{"route-map", 8, RECORD_FIELD(bgp_address_family_redistribute_universal_val, route_map),
             Leaf::text}};
}

inline const FamilyKind &instance_family() {
    static const FamilyKind kind = {
        "Instance",
        bgp_config_address_family_change_cb,
        "bgp_config_address_family_change_cb",
        "/orv_bgp:router-bgp/bgp-address-family/address-family",
        "address-family",
        false,
        "address family change config over\n",
        {"bgp-family-networks", "family-network", network_record, 7, network_keys(),
         network_leaves(),
         FAMILY_PARSER_OF(bgp_address_family_network_universal_val,
                          container_address_family_network_plugin_change_parse)},
        {"bgp-family-neighbors",
         "family-neighbor",
         neighbor_record,
         0,
         neighbor_keys(),
         {{"activate", 9, RECORD_FIELD(bgp_address_family_neighbor_universal_val, active),
           Leaf::flag},
          {"next-hop-self", 10,
           RECORD_FIELD(bgp_address_family_neighbor_universal_val, next_hop_self), Leaf::flag},
          {"route-reflector-client", 11,
           RECORD_FIELD(bgp_address_family_neighbor_universal_val, route_reflector_client),
           Leaf::flag}},
         FAMILY_PARSER_OF(bgp_address_family_neighbor_universal_val,
                          container_address_family_neighbor_plugin_change_parse)},
        {"bgp-family-redistributes", "family-redistribute", redistribute_record, 8,
         redistribute_keys(), redistribute_leaves(),
         FAMILY_PARSER_OF(bgp_address_family_redistribute_universal_val,
                          container_address_family_redistribute_plugin_change_parse)},
        "activate"};
    return kind;
}

inline const FamilyKind &vrf_family() {
    static const FamilyKind kind = {
        "Vrf",
        bgp_config_address_family_vrf_change_cb,
        "bgp_config_address_family_vrf_change_cb",
        "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
        "address-family-vrf",
        true,
        "address family change vrf config over\n",
        {"bgp-family-vrf-networks", "family-vrf-network", network_record, 7, network_keys(),
         network_leaves(),
         FAMILY_PARSER_OF(bgp_address_family_network_universal_val,
                          container_address_family_vrf_network_plugin_change_parse)},
        {"bgp-family-vrf-neighbors",
         "family-vrf-neighbor",
         vrf_neighbor_record,
         0,
         neighbor_keys(),
         {{"remote-as", 13, RECORD_FIELD(bgp_address_family_neighbor_universal_val, remote_as),
           Leaf::text},
          {"activate", 14, RECORD_FIELD(bgp_address_family_neighbor_universal_val, active),
           Leaf::flag},
          {"description", 15, RECORD_FIELD(bgp_address_family_neighbor_universal_val, description),
           Leaf::text},
          {"ebgp-multihop", 16,
           RECORD_FIELD(bgp_address_family_neighbor_universal_val, ebgp_multihop), Leaf::number},
          {"update-source", 17,
           RECORD_FIELD(bgp_address_family_neighbor_universal_val, update_source), Leaf::text}},
         FAMILY_PARSER_OF(bgp_address_family_neighbor_universal_val,
                          container_address_family_vrf_neighbor_plugin_change_parse)},
        {"bgp-family-vrf-redistributes", "family-vrf-redistribute", redistribute_record, 8,
         redistribute_keys(), redistribute_leaves(),
         FAMILY_PARSER_OF(bgp_address_family_redistribute_universal_val,
                          container_address_family_vrf_redistribute_plugin_change_parse)},
        "remote-as"};
    return kind;
}

// --- Paths, values and records ----------------------------------------------------------

// The offsets of the fields of an address_family_val, as a separate record and
// embedded in the others.
struct FamilyFields {
    Field op, bgp_id, afi, safi, vrf_name;
};
constexpr FamilyFields family_fields(std::size_t start) {
    return {{start, 4}, {start + 4, 4}, {start + 8, 4}, {start + 12, 4}, {start + 16, 65}};
}

// The keys of an address family and their numbers.
struct Family {
    std::string afi = "AFI_IP";
    std::string safi = "SAFI_UNICAST";
    std::string vrf = "red"; // empty outside a VRF
    std::uint32_t afi_number = 1;
    std::uint32_t safi_number = 1;
};

// The contents of leaves, by their names.
using Settings = std::vector<std::pair<const char *, std::uint32_t>>;

// The list entry of an address family.
class FamilyEntry {
  public:
    explicit FamilyEntry(const FamilyKind &kind, Family family = {})
        : kind_(kind), family_(std::move(family)) {}

    std::string path(const std::string &node = "") const {
        return std::string(kind_.subscription) + "[afi='" + family_.afi + "'][safi='" +
               family_.safi + "']" + (kind_.in_vrf ? "[vrf-name='" + family_.vrf + "']" : "") +
               (node.empty() ? "" : "/" + node);
    }
    scripted::Value node() const { return scripted::node(path(), SR_LIST_T); }
    scripted::Value afi() const { return scripted::text(path("afi"), family_.afi, SR_ENUM_T); }
    scripted::Value safi() const { return scripted::text(path("safi"), family_.safi, SR_ENUM_T); }
    scripted::Value vrf() const { return scripted::text(path("vrf-name"), family_.vrf); }
    // A node without a parser.
    scripted::Value other(const std::string &name) const { return scripted::text(path(name), "1"); }

    // The start of every record of the family.
    RecordBytes &put_head(RecordBytes &record, int op) const {
        const FamilyFields family = family_fields(8);
        return record.put(Field{0, 4}, op)
            .put(Field{4, 4}, 100)
            .put(Field{8, 84}, "")
            .put(family.afi, family_.afi_number)
            .put(family.safi, family_.safi_number)
            .put(family.vrf_name, kind_.in_vrf ? family_.vrf : "");
    }
    // The record of the entry itself.
    RecordBytes record(int op) const {
        const FamilyFields family = family_fields(0);
        return RecordBytes(84)
            .put(family.op, op)
            .put(family.bgp_id, 100)
            .put(family.afi, family_.afi_number)
            .put(family.safi, family_.safi_number)
            .put(family.vrf_name, family_.vrf);
    }

    const FamilyKind &kind() const { return kind_; }

  private:
    const FamilyKind &kind_;
    Family family_;
};

// An entry of one of the lists of an address family.
class ListEntry {
  public:
    ListEntry(FamilyEntry family, const FamilyList &list, std::vector<std::string> keys)
        : family_(std::move(family)), list_(list), keys_(std::move(keys)) {}

    std::string path(const std::string &node = "") const {
        std::string path = family_.path(list_.container) + "/" + list_.list;
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            path += std::string("[") + list_.keys[i].node + "='" + keys_[i] + "']";
        }
        return path + (node.empty() ? "" : "/" + node);
    }
    scripted::Value container() const {
        return scripted::node(family_.path(list_.container), SR_CONTAINER_T);
    }
    scripted::Value node() const { return scripted::node(path(), SR_LIST_T); }
    scripted::Value key(std::size_t index = 0) const {
        return scripted::text(path(list_.keys[index].node), keys_[index]);
    }
    scripted::Value leaf(const std::string &name, std::uint32_t content = 1) const {
        return list_.leaf(name).value(path(name), content);
    }
    // A change of a leaf to 200, or from it when it is deleted or moved.
    scripted::Change change(sr_change_oper_t operation, const std::string &name) const {
        return change_of(operation, leaf(name, 200), leaf(name, 31));
    }
    // The entry's changes in sysrepo's order.
    std::vector<scripted::Change> changes(sr_change_oper_t operation,
                                          const Settings &settings) const {
        std::vector<scripted::Change> changes{change_of(operation, node(), node())};
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            changes.push_back(change_of(operation, key(i), key(i)));
        }
        for (const auto &[name, content] : settings) {
            changes.push_back(change_of(operation, leaf(name, content), leaf(name, content)));
        }
        return changes;
    }

    // The entry's record: built from zeros or over an earlier one's bytes.
    RecordBytes record(int op, const Settings &settings = {}) const {
        return over(RecordBytes(list_.described.size), op, settings);
    }
    RecordBytes over(const RecordBytes &earlier, int op, const Settings &settings = {}) const {
        RecordBytes record(list_.described.size, earlier);
        family_.put_head(record, op);
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            record.put(list_.keys[i].field, keys_[i]);
        }
        for (const auto &[name, content] : settings) {
            list_.leaf(name).put(record, content);
        }
        return record;
    }
    int sub_mod(const std::string &name) const { return list_.leaf(name).sub_mod; }

    const FamilyList &list() const { return list_; }
    const FamilyEntry &family() const { return family_; }

  private:
    FamilyEntry family_;
    const FamilyList &list_;
    std::vector<std::string> keys_;
};

// --- Tests of one kind ----------------------------------------------------------------

using Changes = std::vector<scripted::Change>;

// The changes of two edits, one after the other, as one edit.
inline Changes joined(Changes first, const Changes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class FamilyTest : public ChangeCallbackTest {
  protected:
    explicit FamilyTest(const FamilyKind &kind) : kind_(kind) {}

    const FamilyKind &kind() const { return kind_; }
    int change(Changes changes, sr_event_t event = SR_EV_CHANGE) const {
        return run(kind_.callback, kind_.subscription, std::move(changes), event);
    }

    FamilyEntry family(Family family = {}) const { return FamilyEntry(kind_, std::move(family)); }
    ListEntry network(const std::string &prefix = "10.1.0.0/16") const {
        return {family(), kind_.network, {prefix}};
    }
    ListEntry neighbor(const std::string &address = "10.0.0.1") const {
        return {family(), kind_.neighbor, {address}};
    }
    ListEntry redistribute(const std::string &protocol = "ospf",
                           const std::string &process = "7") const {
        return {family(), kind_.redistribute, {protocol, process}};
    }
    // An entry of each list.
    std::vector<ListEntry> entries() const { return {network(), neighbor(), redistribute()}; }

    // The changes of the walk that were traced, without the numbers of lines.
    std::string trace(Changes changes, sr_event_t event = SR_EV_CHANGE) const {
        set_switches(1, 0);
        const CapturedOutput output;
        change(std::move(changes), event);
        set_switches(0, 0);
        return std::regex_replace(output.text(), std::regex("\\]\\[[0-9]+\\]"), "][#]");
    }
    std::string traced(const std::string &text) const {
        return "[" + std::string(kind_.function) + "][#]" + text;
    }
    std::string begin_lines(int event = SR_EV_CHANGE) const {
        const std::string path = kind_.subscription;
        return "[ip_bgp_check_bgp_as_config_exist][#] rc:0\n"
               "[ip_bgp_check_bgp_as_config_exist][#] bgp router id:100\n" +
               traced("event is " + std::to_string(event) + ",p_xpath is " + path + ",xpath is " +
                      path + "//.\n");
    }
    std::string node_lines(sr_change_oper_t operation, const std::string &node,
                           const std::string &path) const {
        return "bgp node from xpath:" + std::string(kind_.subscription) + ", changeOper " +
               std::to_string(operation) + "\n" + traced("pNodeName='" + node + "'.\n") +
               traced("use_val->xpath = " + path + " \n");
    }
    std::string keys_line(int afi = 1, int safi = 1) const {
        return traced("get afi= " + std::to_string(afi) + ", safi = " + std::to_string(safi) +
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

  private:
    const FamilyKind &kind_;
};

} // namespace support

#endif
