// A second, simple description of the change callbacks. Tests compare the
// callbacks with it.
#ifndef CHANGE_MODEL_H
#define CHANGE_MODEL_H

#include "changed_lists.h"
#include "record_expectations.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace support {

using scripted::Change;
using scripted::Value;

// One call of a callback, with the behavior of sysrepo and the daemon.
struct Edit {
    std::uint32_t as = 100;
    sr_event_t event = SR_EV_CHANGE;
    int open_result = SR_ERR_OK;
    std::size_t next_fails_at = SIZE_MAX;
    int next_result = SR_ERR_OK;
    std::vector<int> answers; // of the daemon; 0 after the last one
    std::vector<Change> changes;

    friend std::ostream &operator<<(std::ostream &out, const Edit &edit) {
        out << "as " << edit.as << " event " << edit.event << " open " << edit.open_result
            << " next fails at " << edit.next_fails_at << " with " << edit.next_result
            << "\nanswers";
        for (const int answer : edit.answers) {
            out << ' ' << answer;
        }
        for (const Change &change : edit.changes) {
            out << "\n  operation " << change.operation;
            print(out << "\n    old ", change.old_value);
            print(out << "\n    new ", change.new_value);
        }
        return out << '\n';
    }

  private:
    static void print(std::ostream &out, const std::optional<Value> &value) {
        if (!value) {
            out << '-';
            return;
        }
        out << value->xpath.value_or("(no path)") << " type " << value->type << ' '
            << value->text.value_or("(no text)") << ' ' << value->number;
    }
};

// --- The model -------------------------------------------------------------------------

// The behavior of a callback, as simple as possible and without regard to speed. The
// library's own functions extract texts from paths.
class ChangeModel {
  public:
    explicit ChangeModel(const Edit &edit) : bgp_id(edit.as), edit_(edit) {}

    // The result of each callback. Only the AS callback does not read the AS number
    // from the datastore: bgp_id is then the plug-in's previous value.
    int as() {
        bgp_id = 0;
        return call([this] { return as_walk(); });
    }
    int globle() {
        return call([this] { return globle_walk(); });
    }
    int family(bool in_vrf) {
        in_vrf_ = in_vrf;
        return call([this] { return family_walk(); });
    }

    Records sent;
    int lines = 0;        // that are always printed
    std::uint32_t bgp_id; // the plug-in's AS number after the call

  private:
    // Ends the call with a result.
    struct End {
        int result;
    };

    template <typename Walk>
    int call(Walk walk) {
        if (edit_.event == SR_EV_DONE || edit_.event == SR_EV_ABORT) {
            return 0;
        }
        if (edit_.open_result != 0) {
            ++lines;
            return edit_.open_result;
        }
        int result = 0;
        try {
            result = walk();
        } catch (const End &end) {
            result = end.result;
        }
        return result == 5 ? 0 : result;
    }

    [[noreturn]] void fail(int result) {
        ++lines;
        throw End{result};
    }

    // --- The send buffer

    void put32(std::size_t at, std::uint32_t number) { std::memcpy(data_ + at, &number, 4); }
    void put_text(std::size_t at, std::size_t size, const std::string &text) {
        if (text.size() > size) {
            fail(16);
        }
        std::memset(data_ + at, 0, size);
        std::memcpy(data_ + at, text.data(), text.size());
    }
    void put_text_of_value(std::size_t at, std::size_t size) {
        if (!has_text(value_->type) || !value_->text) {
            fail(16);
        }
        put_text(at, size, *value_->text);
    }
    int send() {
        sent.push_back({sub_mod_, operation_, {data_, length_}});
        const std::size_t index = sent.size() - 1;
        return index < edit_.answers.size() ? edit_.answers[index] : 0;
    }
    int send_the_last() {
        if (length_ == 0) {
            return 5;
        }
        return sub_mod_ == 0 ? 1 : send();
    }

    // --- The current change

    static bool has_text(sr_type_t type) {
        return type == SR_BINARY_T || type == SR_BITS_T || type == SR_ENUM_T ||
               type == SR_IDENTITYREF_T || type == SR_INSTANCEID_T || type == SR_STRING_T ||
               type == SR_ANYXML_T || type == SR_ANYDATA_T;
    }
    std::uint32_t number_of_value() const { return has_text(value_->type) ? 0 : value_->number; }
    std::uint32_t op() const {
        return operation_ == SR_OP_DELETED                                   ? 0
               : operation_ == SR_OP_CREATED || operation_ == SR_OP_MODIFIED ? 1
                                                                             : 0xffffffff;
    }
    bool path_has(const char *part) const { return path_.find(part) != std::string::npos; }
    bool node_is(std::initializer_list<const char *> names) const {
        return std::find(names.begin(), names.end(), node_) != names.end();
    }

    // Steps to the next change; false at the end of them.
    bool step() {
        const std::size_t position = position_++;
        if (position == edit_.next_fails_at) {
            if (edit_.next_result != 5) {
                throw End{edit_.next_result};
            }
            return false;
        }
        if (position >= edit_.changes.size()) {
            return false;
        }
        change_ = &edit_.changes[position];
        operation_ = change_->operation;
        return true;
    }
    // Whether the change is skipped because no AS is configured.
    bool passed_over() const {
        if (edit_.as != 0) {
            return false;
        }
        if (operation_ != SR_OP_DELETED) {
            throw End{18};
        }
        return true;
    }
    void choose(int result_without_value) {
        const bool set = operation_ == SR_OP_CREATED || operation_ == SR_OP_MODIFIED;
        const auto &chosen = set ? change_->new_value : change_->old_value;
        if (!chosen) {
            fail(result_without_value);
        }
        value_ = &*chosen;
        const char *name = value_->xpath ? sr_xpath_node_name(value_->xpath->c_str()) : nullptr;
        if (name == nullptr) {
            fail(7);
        }
        path_ = *value_->xpath;
        node_ = name;
    }
    bool is_container() const {
        return node_is({"bgp-family-networks", "bgp-family-neighbors", "bgp-family-redistributes",
                        "bgp-globle-neighbors", "bgp-family-vrf-networks",
                        "bgp-family-vrf-neighbors", "bgp-family-vrf-redistributes"});
    }
    // A key of a list in the change's path; false when it has none.
    bool list_key(const char *list, const char *key, std::string &text) const {
        std::string copy = path_;
        sr_xpath_ctx_t state{};
        const char *found = sr_xpath_key_value(copy.data(), list, key, &state);
        text = found == nullptr ? "" : found;
        return found != nullptr;
    }

    // --- AS number

    int as_walk() {
        while (step()) {
            choose(0);
            if (!node_is({"as"})) {
                continue;
            }
            put32(0, op());
            put32(4, number_of_value());
            sub_mod_ = 1;
            length_ = 8;
            const int result = send();
            if (result != 0) {
                return result;
            }
            bgp_id = op() == 1 ? number_of_value() : op() == 0 ? 0 : bgp_id;
        }
        return 0;
    }

    // --- Router identifier and global neighbors

    int globle_walk() {
        bool remote_as_deleted = false;
        while (step()) {
            if (passed_over()) {
                continue;
            }
            choose(7);
            if (is_container()) {
                continue;
            }
            bool ready = false;
            if (node_is({"router-id"})) {
                std::memset(data_, 0, 44);
                put32(0, op());
                put32(4, edit_.as);
                put_text_of_value(8, 33);
                sub_mod_ = 2;
                length_ = 44;
                ready = true;
            }
            if (path_has("/orv_bgp:router-bgp/bgp/bgp-globle-neighbors/globle-neighbor")) {
                ready = globle_neighbor();
            }
            if (!ready) {
                continue;
            }
            if (sub_mod_ >= 4 && sub_mod_ <= 6 && remote_as_deleted &&
                operation_ == SR_OP_DELETED) {
                sub_mod_ = 0;
                length_ = 0;
                continue;
            }
            const int result = send();
            remote_as_deleted = result == 0 && sub_mod_ == 3 && operation_ == SR_OP_DELETED;
            sub_mod_ = 0;
            length_ = 0;
            if (result != 0) {
                return result;
            }
        }
        return send_the_last();
    }

    // Whether the record is ready to be sent.
    bool globle_neighbor() {
        if (node_is({"neighbor-address"})) {
            std::memset(data_, 0, 412);
        }
        put32(0, op());
        put32(4, edit_.as);
        length_ = 412;
        std::string address;
        if (!list_key("globle-neighbor", "neighbor-address", address)) {
            fail(7);
        }
        put_text(8, 47, address);
        if (node_ == "remote-as") {
            put_text_of_value(55, 13);
            sub_mod_ = 3;
        } else if (node_ == "description") {
            put_text_of_value(68, 81);
            sub_mod_ = 4;
        } else if (node_ == "ebgp-multihop") {
            put32(408, number_of_value());
            sub_mod_ = 5;
        } else if (node_ == "update-source") {
            put_text_of_value(149, 257);
            sub_mod_ = 6;
        } else {
            return false;
        }
        return true;
    }

    // --- Address families

    int family_walk() {
        while (step()) {
            if (passed_over()) {
                continue;
            }
            choose(0);
            read_family();
            if (is_container()) {
                continue;
            }
            if (in_vrf_ ? dropped_in_vrf() : dropped()) {
                continue;
            }
            if (sends()) {
                const int result = send();
                sub_mod_ = 0;
                length_ = 0;
                if (result != 0) {
                    return result;
                }
            }
            if (in_vrf_ && node_ == "vrf-name" && safi_ == 71) {
                std::memset(data_, 0, sizeof data_);
                put32(0, op());
                put32(4, edit_.as);
                put32(8, afi_);
                put32(12, safi_);
                put_text(16, 65, vrf_name_);
                length_ = 84;
                sub_mod_ = 12;
            }
            parse();
        }
        return send_the_last();
    }

    // A key of the address family. The path is copied without a terminator, so the
    // end of an earlier path may follow it.
    std::string family_key(const char *key) {
        if (path_.size() > 999) {
            fail(16);
        }
        std::memcpy(lookup_, path_.data(), path_.size());
        sr_xpath_ctx_t state{};
        const char *text = sr_xpath_key_value(
            lookup_, in_vrf_ ? "address-family-vrf" : "address-family", key, &state);
        if (text == nullptr) {
            fail(7);
        }
        return text;
    }
    void read_family() {
        static const std::map<std::string, std::uint32_t> safis = {
            {"SAFI_UNICAST", 1}, {"SAFI_MULTICAST", 2}, {"SAFI_EVPN", 5}, {"SAFI_VRF", 71}};
        static const std::map<std::string, std::uint32_t> afis = {
            {"AFI_IP", 1}, {"AFI_IPV6", 2}, {"AFI_L2VPN", 3}};
        const auto safi = safis.find(family_key("safi"));
        if (safi == safis.end()) {
            fail(7);
        }
        safi_ = safi->second;
        const auto afi = afis.find(family_key("afi"));
        if (afi == afis.end()) {
            fail(7);
        }
        afi_ = afi->second;
        if (in_vrf_) {
            vrf_name_ = family_key("vrf-name");
            if (vrf_name_.size() > 65) {
                fail(16);
            }
        }
    }

    bool pending_is_deletion() const {
        std::uint32_t pending_op = 0;
        std::memcpy(&pending_op, data_, 4);
        return pending_op == 0;
    }
    bool dropped() const {
        return sub_mod_ == 9 && pending_is_deletion() && operation_ == SR_OP_DELETED &&
               node_is({"next-hop-self", "route-reflector-client"});
    }
    bool dropped_in_vrf() const {
        if (operation_ != SR_OP_DELETED) {
            return false;
        }
        if (sub_mod_ == 13) {
            return pending_is_deletion() &&
                   node_is({"activate", "description", "ebgp-multihop", "update-source"});
        }
        return sub_mod_ == 12 &&
               (path_has("bgp-family-vrf-networks") || path_has("bgp-family-vrf-neighbors") ||
                path_has("bgp-family-vrf-redistributes"));
    }
    bool sends() const {
        switch (sub_mod_) {
        case 0:
            return false;
        case 7:
            return !node_is({"route-map", "backdoor", "prefix"});
        case 8:
            return !node_is({"process", "route-map", "protocol"});
        default:
            return true;
        }
    }

    void parse() {
        if (path_has(in_vrf_ ? "bgp-family-vrf-networks" : "bgp-family-networks")) {
            network();
        } else if (path_has(in_vrf_ ? "bgp-family-vrf-neighbors" : "bgp-family-neighbors")) {
            neighbor();
        } else if (path_has(in_vrf_ ? "bgp-family-vrf-redistributes"
                                    : "bgp-family-redistributes")) {
            redistribute();
        }
    }
    void head(const char *clearing_node, std::uint32_t size) {
        if (node_ == clearing_node) {
            std::memset(data_, 0, size);
        }
        put32(0, op());
        put32(4, edit_.as);
        std::memset(data_ + 8, 0, 84);
        put32(16, afi_);
        put32(20, safi_);
        put_text(24, 65, in_vrf_ ? vrf_name_ : "");
        length_ = size;
    }
    void network() {
        head("prefix", 404);
        std::string prefix;
        if (!list_key(in_vrf_ ? "family-vrf-network" : "family-network", "prefix", prefix)) {
            ++lines;
            return;
        }
        put_text(92, 50, prefix);
        if (node_ == "route-map") {
            put_text_of_value(142, 257);
        } else if (node_ == "backdoor") {
            put32(400, 1);
        }
        sub_mod_ = 7;
    }
    void redistribute() {
        const char *list = in_vrf_ ? "family-vrf-redistribute" : "family-redistribute";
        head("protocol", 376);
        std::string text;
        if (!list_key(list, "protocol", text)) {
            ++lines;
            return;
        }
        put_text(92, 11, text);
        if (!list_key(list, "process", text)) {
            ++lines;
            return;
        }
        put_text(103, 16, text);
        if (node_ == "route-map") {
            put_text_of_value(119, 257);
        }
        sub_mod_ = 8;
    }
    void neighbor() {
        head("neighbor-address", 508);
        std::string address;
        if (!list_key(in_vrf_ ? "family-vrf-neighbor" : "family-neighbor", "neighbor-address",
                      address)) {
            ++lines;
            return;
        }
        put_text(92, 47, address);
        if (node_ == "activate") {
            put32(140, 1);
            sub_mod_ = in_vrf_ ? 14 : 9;
        } else if (!in_vrf_ && node_ == "next-hop-self") {
            put32(144, 1);
            sub_mod_ = 10;
        } else if (!in_vrf_ && node_ == "route-reflector-client") {
            put32(504, 1);
            sub_mod_ = 11;
        } else if (in_vrf_ && node_ == "remote-as") {
            put_text_of_value(148, 13);
            sub_mod_ = 13;
        } else if (in_vrf_ && node_ == "description") {
            put_text_of_value(161, 81);
            sub_mod_ = 15;
        } else if (in_vrf_ && node_ == "ebgp-multihop") {
            put32(500, number_of_value());
            sub_mod_ = 16;
        } else if (in_vrf_ && node_ == "update-source") {
            put_text_of_value(242, 257);
            sub_mod_ = 17;
        }
    }

    const Edit &edit_;
    bool in_vrf_ = false;
    char data_[1500] = {};
    std::size_t length_ = 0;
    int sub_mod_ = 0;
    char lookup_[1000] = {};
    std::size_t position_ = 0;
    const Change *change_ = nullptr;
    sr_change_oper_t operation_ = SR_OP_CREATED;
    const Value *value_ = nullptr;
    std::string path_;
    std::string node_;
    std::uint32_t afi_ = 0;
    std::uint32_t safi_ = 0;
    std::string vrf_name_;
};

// --- The callbacks -----------------------------------------------------------------------

// A callback, what changes below its path, and its model.
struct ModelledCallback {
    const char *name;
    ChangeCallback callback;
    const char *subscription;
    const std::vector<ChangedList> &lists;
    std::vector<const char *> keys;
    int (*model)(ChangeModel &model);
    std::vector<int> codes; // that it sends

    friend void PrintTo(const ModelledCallback &row, std::ostream *out) { *out << row.name; }
};

inline const std::vector<ModelledCallback> &modelled_callbacks() {
    static const std::vector<ChangedList> no_lists;
    static const std::vector<ModelledCallback> rows = {
        {"As",
         bgp_config_as_change_cb,
         "/orv_bgp:router-bgp/as",
         no_lists,
         {},
         [](ChangeModel &model) { return model.as(); },
         {1}},
        {"Globle",
         bgp_config_globle_bgp_change_cb,
         "/orv_bgp:router-bgp/bgp",
         lists_of_the_globle_part,
         {},
         [](ChangeModel &model) { return model.globle(); },
         {2, 3, 4, 5, 6}},
        {"Family",
         bgp_config_address_family_change_cb,
         "/orv_bgp:router-bgp/bgp-address-family/address-family",
         lists_of_families,
         {"afi", "safi"},
         [](ChangeModel &model) { return model.family(false); },
         {7, 8, 9, 10, 11}},
        {"VrfFamily",
         bgp_config_address_family_vrf_change_cb,
         "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
         lists_of_vrf_families,
         {"afi", "safi", "vrf-name"},
         [](ChangeModel &model) { return model.family(true); },
         {7, 8, 12, 13, 14, 15, 16, 17}}};
    return rows;
}

// Runs the callback on the edit and returns its result. The records are in `sends`;
// do not use it for other records meanwhile.
inline int run_edit(const ModelledCallback &row, const Edit &edit, SentRecords &sends) {
    scripted::reset();
    scripted::Sysrepo &sysrepo = scripted::sysrepo();
    sysrepo.open_result = edit.open_result;
    sysrepo.next_fails_at = edit.next_fails_at;
    sysrepo.next_result = edit.next_result;
    sysrepo.changes = edit.changes;
    if (edit.as != 0) {
        const std::string path = "/orv_bgp:router-bgp/as";
        sysrepo.items.emplace(path, scripted::number(path, edit.as));
    }
    sends.answer = [answers = edit.answers, next = std::size_t{0}]() mutable {
        return next < answers.size() ? answers[next++] : 0;
    };
    return row.callback(scripted::session(), "orv_bgp", row.subscription, edit.event, 1, nullptr);
}

// A text read as a number is part of a pointer, which a test cannot predict. Values
// that are read as numbers therefore have no text here.
inline void keep_number_certain(std::optional<Value> &value) {
    const char *name = value && value->xpath ? sr_xpath_node_name(value->xpath->c_str()) : nullptr;
    const ::Leaf *leaf = name == nullptr ? nullptr : leaf_named(name);
    if (leaf != nullptr && is_number(*leaf)) {
        value->text.reset();
    }
}
inline void keep_numbers_certain(Edit &edit) {
    for (Change &change : edit.changes) {
        keep_number_certain(change.old_value);
        keep_number_certain(change.new_value);
    }
}

} // namespace support

#endif
