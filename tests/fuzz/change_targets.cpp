// The four change callbacks, compared with their model.
#include "change_input.h"
#include "change_model.h"
#include "targets.h"

#include "message.h"

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace fuzz {

namespace {

using scripted::Change;
using scripted::Value;
using support::ChangedList;
using support::ChangeModel;
using support::Edit;
using support::ModelledCallback;

// Enough to begin a record, add to it, send it and begin others. More changes take time and reach
// no further code.
constexpr std::size_t most_changes = 12;

template <typename Kind>
Kind kind(Input &input) {
    return static_cast<Kind>(input.byte() % static_cast<std::uint32_t>(Kind::count));
}

// --- Paths ---------------------------------------------------------------------------

// A node that may change: below the entry of the callback's path, or of a list in it.
struct Node {
    const ChangedList *list;   // nullptr: none
    std::string name;          // empty: the entry itself
    bool is_container = false; // around the list
};

std::vector<Node> nodes_of(const ModelledCallback &row) {
    std::vector<Node> nodes{{nullptr, ""}, {nullptr, "router-id"}};
    for (const char *key : row.keys) {
        nodes.push_back({nullptr, key});
    }
    for (const ChangedList &list : row.lists) {
        nodes.push_back({&list, "", true});
        nodes.push_back({&list, ""});
        for (const auto &names : {list.keys, list.leaves}) {
            for (const char *name : names) {
                nodes.push_back({&list, name});
            }
        }
    }
    return nodes;
}

const std::vector<std::string> &usual_keys(const std::string &key) {
    static const std::map<std::string, std::vector<std::string>> known = {
        {"afi", {"AFI_IP", "AFI_IPV6", "AFI_L2VPN", "afi_ip"}},
        {"safi", {"SAFI_UNICAST", "SAFI_VRF", "SAFI_EVPN", "SAFI_MULTICAST", "SAFI_X"}}};
    static const std::vector<std::string> others = {
        "a", "bgp-family-networks", "bgp-family-vrf-neighbors", "it's", "a]b", "a/b"};
    const auto found = known.find(key);
    return found == known.end() ? others : found->second;
}

std::string predicate(Input &input, const std::string &key) {
    const std::vector<std::string> &usual = usual_keys(key);
    std::string text = usual[0];
    const char *quote = "'";
    switch (kind<KeyIs>(input)) {
    case KeyIs::another:
        text = usual[input.byte() % usual.size()];
        break;
    case KeyIs::free:
        text = input.text();
        break;
    case KeyIs::long_:
        text = std::string(input.half() % 2000, 'k');
        break;
    case KeyIs::missing:
        return {};
    case KeyIs::double_quoted:
        quote = "\"";
        break;
    default:
        break;
    }
    return "[" + key + "=" + quote + text + quote + "]";
}

std::string sound_path(Input &input, const ModelledCallback &row, const Node &node) {
    std::string path = row.subscription;
    for (const char *key : row.keys) {
        path += predicate(input, key);
    }
    if (node.list != nullptr) {
        const std::string list = node.list->path;
        if (node.is_container) {
            return path + list.substr(0, list.rfind('/'));
        }
        path += list;
        for (const char *key : node.list->keys) {
            path += predicate(input, key);
        }
    }
    return node.name.empty() ? path : path + "/" + node.name;
}

std::optional<std::string> read_path(Input &input, const ModelledCallback &row, const Node &node) {
    std::string path = sound_path(input, row, node);
    switch (kind<Wrong>(input)) {
    case Wrong::cut:
        path.resize(input.half() % (path.size() + 1));
        break;
    case Wrong::continued:
        path += input.text();
        break;
    case Wrong::spliced: {
        const std::size_t at = input.half() % (path.size() + 1);
        path.insert(at, input.text());
        break;
    }
    case Wrong::replaced:
        path = input.text();
        break;
    case Wrong::lengthened:
        path.insert(std::min(path.rfind('/'), path.size()),
                    "[other='" + std::string(input.half() % 4000, 'o') + "']");
        break;
    case Wrong::missing:
        return std::nullopt;
    default:
        break;
    }
    return path;
}

// --- Values and changes ------------------------------------------------------------------

constexpr sr_type_t types[] = {
    SR_UNKNOWN_T,    SR_LIST_T,         SR_CONTAINER_T, SR_CONTAINER_PRESENCE_T,
    SR_LEAF_EMPTY_T, SR_NOTIFICATION_T, SR_BINARY_T,    SR_BITS_T,
    SR_BOOL_T,       SR_DECIMAL64_T,    SR_ENUM_T,      SR_IDENTITYREF_T,
    SR_INSTANCEID_T, SR_INT8_T,         SR_INT16_T,     SR_INT32_T,
    SR_INT64_T,      SR_STRING_T,       SR_UINT8_T,     SR_UINT16_T,
    SR_UINT32_T,     SR_UINT64_T,       SR_ANYXML_T,    SR_ANYDATA_T};

Value read_value(Input &input) {
    switch (kind<ValueIs>(input)) {
    case ValueIs::number:
        return {{}, SR_UINT32_T, {}, input.number()};
    case ValueIs::empty:
        return {{}, SR_LEAF_EMPTY_T, {}, 0};
    case ValueIs::list:
        return {{}, SR_LIST_T, {}, 0};
    case ValueIs::container:
        return {{}, SR_CONTAINER_T, {}, 0};
    case ValueIs::long_text:
        return {{}, SR_STRING_T, std::string(input.half() % 6000, 't'), 0};
    case ValueIs::any_type: {
        const sr_type_t type = input.pick(types);
        const std::uint32_t number = input.number();
        // sysrepo sets no data for a type that it does not know.
        return {{}, type, std::to_string(number), type == SR_UNKNOWN_T ? 0 : number};
    }
    case ValueIs::missing:
        return {{}, SR_STRING_T, {}, 0};
    default:
        return {{}, SR_STRING_T, input.text(), 0};
    }
}

Change read_change(Input &input, const ModelledCallback &row, const std::vector<Node> &nodes) {
    constexpr sr_change_oper_t operations[] = {SR_OP_CREATED, SR_OP_MODIFIED, SR_OP_DELETED,
                                               SR_OP_MOVED};
    const sr_change_oper_t operation = input.pick(operations);
    const Has has = kind<Has>(input);
    const std::optional<std::string> path =
        read_path(input, row, nodes[input.byte() % nodes.size()]);
    Value chosen = read_value(input);
    chosen.xpath = path;
    const Value other{path, SR_STRING_T, "the other one", 0};
    Change change = support::change_of(operation, chosen, other);
    const bool is_set = operation == SR_OP_CREATED || operation == SR_OP_MODIFIED;
    switch (has) {
    case Has::both:
        (is_set ? change.old_value : change.new_value) = other;
        break;
    case Has::only_the_other:
        (is_set ? change.old_value : change.new_value) = other;
        (is_set ? change.new_value : change.old_value).reset();
        break;
    case Has::none:
        return support::without_value(operation);
    default:
        break;
    }
    return change;
}

// A callback, and the nodes that may change.
struct ChangeTarget {
    explicit ChangeTarget(const ModelledCallback &callback)
        : row(callback), nodes(nodes_of(callback)) {}

    const ModelledCallback &row;
    const std::vector<Node> nodes;
};

Edit read_edit(Input &input, const ChangeTarget &target) {
    Edit edit;
    edit.as = input.pick(as_numbers);
    edit.event = input.pick(events);
    switch (kind<Failing>(input)) {
    case Failing::opening:
        edit.open_result = input.pick(failures);
        break;
    case Failing::next:
        edit.next_fails_at = input.byte();
        edit.next_result = input.pick(failures);
        break;
    default:
        break;
    }
    edit.answers.resize(input.byte() % 16);
    for (int &answer : edit.answers) {
        answer = input.pick(answers);
    }
    while (!input.empty() && edit.changes.size() < most_changes) {
        edit.changes.push_back(read_change(input, target.row, target.nodes));
    }
    support::keep_numbers_certain(edit);
    return edit;
}

// --- The comparison ------------------------------------------------------------------------

// Prints the edit when the callback does not do what the model does.
void agree(bool agrees, const char *why, const Edit &edit) {
    if (!agrees) {
        std::ostringstream text;
        text << edit;
        std::fputs(text.str().c_str(), stderr);
        require(false, why);
    }
}

// Whether a record of that length may be sent with that sub-module code. A list entry
// without its key sets the length of its own record and keeps the code of the pending
// one, so the two need not match.
bool is_record(const support::Sent &sent) {
    const configd::RecordKind *kind = configd::find_record_kind(sent.sub_mod);
    if (kind == nullptr || kind->is_query()) {
        return false;
    }
    for (int sub_mod = BGP_SUB_BGP_AS; sub_mod < BGP_SUB_RPC_IP_BGP_EVPN; ++sub_mod) {
        if (configd::find_record_kind(sub_mod)->record->size == sent.payload.size()) {
            return true;
        }
    }
    return false;
}

void run_change(const ChangeTarget &target, Input input) {
    const ModelledCallback &row = target.row;
    const bool traced = input.byte() % 2 != 0;
    const Edit edit = read_edit(input, target);
    ChangeModel model(edit);
    const int expected = row.model(model);

    support::SentRecords sends;
    g_bgp_id = 0;
    debug_bgp = traced ? 1 : 0;
    const int result = support::run_edit(row, edit, sends);
    debug_bgp = 0;
    const support::Records records = sends.take();

    for (const support::Sent &record : records) {
        agree(is_record(record), "what is sent is no record", edit);
    }
    agree(result == expected, "the result is not the expected one", edit);
    agree(records == model.sent, "the records are not the expected ones", edit);
    agree(g_bgp_id == model.bgp_id, "the AS number is not the expected one", edit);
    agree(scripted::sysrepo().values_open == 0, "values are not freed", edit);
    agree(scripted::sysrepo().iterators_open == 0, "the iterator is not freed", edit);
}

} // namespace

void as_change(const std::uint8_t *data, std::size_t size) {
    static const ChangeTarget target(support::modelled_callbacks()[0]);
    run_change(target, {data, size});
}

void globle_change(const std::uint8_t *data, std::size_t size) {
    static const ChangeTarget target(support::modelled_callbacks()[1]);
    run_change(target, {data, size});
}

void family_change(const std::uint8_t *data, std::size_t size) {
    static const ChangeTarget target(support::modelled_callbacks()[2]);
    run_change(target, {data, size});
}

void vrf_family_change(const std::uint8_t *data, std::size_t size) {
    static const ChangeTarget target(support::modelled_callbacks()[3]);
    run_change(target, {data, size});
}

} // namespace fuzz
