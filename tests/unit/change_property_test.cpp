// Runs edits through the change callbacks and through their model: every two changes of any nodes,
// and random edits, valid and invalid ones. Both must send the same records and return the same
// result, and no object of sysrepo may be left open.
#include "change_model.h"
#include "random_rounds.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using scripted::Change;
using scripted::sysrepo;
using scripted::Value;
using support::ChangedList;
using support::ChangeModel;
using support::Edit;
using support::ModelledCallback;
using support::Records;

// The value of a node: its number or its text, or neither.
Value value_of(const std::string &path, const std::string &node, std::uint32_t number,
               const std::string &text) {
    const Leaf *leaf = support::leaf_named(node.c_str());
    if (leaf != nullptr && support::is_number(*leaf)) {
        return scripted::number(path, number);
    }
    return leaf != nullptr && leaf->is_text ? scripted::text(path, text)
                                            : scripted::node(path, SR_LEAF_EMPTY_T);
}

// --- Random edits -------------------------------------------------------------------------

class Edits {
  public:
    Edits(std::uint32_t seed, const char *subscription, const std::vector<ChangedList> &lists,
          std::vector<const char *> keys)
        : random_(seed), subscription_(subscription), lists_(lists), keys_(std::move(keys)) {}

    // Every second edit is valid; the others have a fault.
    Edit next() {
        Edit edit;
        const bool broken = one_in(2);
        const std::size_t parts = random_() % 5;
        for (std::size_t i = 0; i < parts; ++i) {
            add_part(edit.changes);
        }
        if (one_in(4)) {
            edit.answers.resize(random_() % 6);
            edit.answers.push_back(pick<int>({1, 5, 7, 16, 18, 20, -1, 1000000}));
        }
        edit.as = one_in(12) ? 0 : pick<std::uint32_t>({1, 100, 4294967295U});
        if (broken) {
            break_somewhere(edit);
        }
        support::keep_numbers_certain(edit);
        return edit;
    }

  private:
    bool one_in(std::uint32_t count) { return random_() % count == 0; }
    template <typename Item>
    Item pick(const std::vector<Item> &items) {
        return items[random_() % items.size()];
    }
    std::size_t index_in(std::size_t size) { return random_() % size; }

    // --- Sensible changes

    std::string entry_path() {
        std::string path = subscription_;
        for (const char *key : keys_) {
            path += std::string("[") + key + "='" + family_key(key) + "']";
        }
        return path;
    }
    std::string family_key(const std::string &key) {
        if (key == "afi") {
            return pick<const char *>({"AFI_IP", "AFI_IPV6", "AFI_L2VPN"});
        }
        if (key == "safi") {
            return pick<const char *>(
                {"SAFI_UNICAST", "SAFI_VRF", "SAFI_VRF", "SAFI_EVPN", "SAFI_MULTICAST"});
        }
        return pick<const char *>({"red", "blue", "a-vrf-with-a-longer-name"});
    }
    Value value_at(const std::string &path, const std::string &leaf) {
        const auto number = static_cast<std::uint32_t>(random_());
        const std::size_t length = random_() % 13;
        return value_of(path, leaf, number, std::string(length, letter()));
    }
    char letter() { return static_cast<char>('a' + random_() % 26); }
    Change change_at(sr_change_oper_t operation, const std::string &path, const std::string &leaf) {
        Value chosen = value_at(path, leaf);
        Value other = value_at(path, leaf);
        return support::change_of(operation, std::move(chosen), std::move(other));
    }

    void add_part(std::vector<Change> &changes) {
        const auto operation = pick<sr_change_oper_t>(
            {SR_OP_CREATED, SR_OP_CREATED, SR_OP_DELETED, SR_OP_DELETED, SR_OP_MODIFIED});
        const std::string entry = entry_path();
        if (one_in(4)) {
            changes.push_back(change_at(operation, entry, ""));
            for (const char *key : keys_) {
                changes.push_back(change_at(operation, entry + "/" + key, key));
            }
        }
        if (lists_.empty()) {
            changes.push_back(change_at(operation, entry, "as"));
            return;
        }
        if (keys_.empty() && one_in(2)) {
            changes.push_back(change_at(operation, entry + "/router-id", "router-id"));
        }
        const ChangedList &list = lists_[index_in(lists_.size())];
        std::string path = entry + list.path;
        if (one_in(3)) {
            changes.push_back(change_at(operation, path.substr(0, path.rfind('/')), ""));
        }
        for (const char *key : list.keys) {
            path += std::string("[") + key + "='" + std::string(random_() % 12, letter()) + "']";
        }
        if (one_in(2)) {
            changes.push_back(change_at(operation, path, ""));
            for (const char *key : list.keys) {
                changes.push_back(change_at(operation, path + "/" + key, key));
            }
        }
        for (const char *leaf : list.leaves) {
            if (one_in(2)) {
                changes.push_back(change_at(operation, path + "/" + leaf, leaf));
            }
        }
    }

    // --- Broken ones

    void break_somewhere(Edit &edit) {
        switch (random_() % 12) {
        case 0:
            edit.open_result = pick<int>({1, 5, 7});
            break;
        case 1:
            edit.next_fails_at = random_() % 8;
            edit.next_result = pick<int>({3, 4, 5, 7});
            break;
        case 2:
            edit.event = pick<sr_event_t>({SR_EV_DONE, SR_EV_ABORT, SR_EV_ENABLED});
            break;
        default:
            break;
        }
        const std::size_t count = edit.changes.empty() ? 0 : 1 + random_() % 3;
        for (std::size_t i = 0; i < count; ++i) {
            Change &change = edit.changes[index_in(edit.changes.size())];
            break_change(change);
        }
    }
    void break_change(Change &change) {
        auto &value = one_in(2) || !change.old_value ? change.new_value : change.old_value;
        switch (random_() % 9) {
        case 0:
            value.reset();
            return;
        case 1:
            change.operation = SR_OP_MOVED;
            change.old_value = change.old_value ? change.old_value : change.new_value;
            return;
        case 2:
            change.operation =
                pick<sr_change_oper_t>({SR_OP_CREATED, SR_OP_MODIFIED, SR_OP_DELETED});
            return;
        default:
            break;
        }
        if (!value || !value->xpath) {
            return;
        }
        switch (random_() % 8) {
        case 0:
            value->xpath.reset();
            return;
        case 1:
            value->text.reset();
            return;
        case 2:
            value->type = pick<sr_type_t>({SR_STRING_T, SR_ENUM_T, SR_BOOL_T, SR_UINT32_T,
                                           SR_INT64_T, SR_LEAF_EMPTY_T, SR_LIST_T, SR_BINARY_T,
                                           SR_CONTAINER_T, SR_DECIMAL64_T});
            return;
        case 3:
            value->text = std::string(
                pick<std::size_t>({0, 13, 14, 33, 34, 81, 82, 257, 258, 5000}), letter());
            return;
        default:
            break_path(*value->xpath);
        }
    }
    void break_path(std::string &path) {
        const std::size_t at = index_in(path.size() + 1);
        switch (random_() % 8) {
        case 0: // without its end
            path.resize(at);
            return;
        case 1: // without a piece
            path.erase(at, 1 + random_() % 12);
            return;
        case 2: // with a node more or another name
            path += pick<const char *>({"/unknown", "/router-id", "/vrf-name", "/prefix", "s"});
            return;
        case 3: // with a key that fills its field, or more
            replace_a_key(path, std::string(pick<std::size_t>(
                                                {0, 11, 12, 16, 17, 47, 48, 50, 51, 65, 66, 300}),
                                            letter()));
            return;
        case 4: // with a name where a key is
            replace_a_key(path,
                          pick<const char *>({"bgp-family-networks", "bgp-family-vrf-networks",
                                              "bgp-family-neighbors", "SAFI_X", "AFI_IP",
                                              "SAFI_VRF", "afi_ip"}));
            return;
        case 5: // as long as the working buffers, or longer
            lengthen(path, pick<std::size_t>({990, 998, 999, 1000, 1001, 1500, 4000}));
            return;
        case 6: // without its last key
            if (const std::size_t start = path.rfind('['); start != std::string::npos) {
                path.erase(start, path.find(']', start) + 1 - start);
            }
            return;
        default: // no path at all
            path = pick<const char *>({"", "/", "name", "/orv_bgp:router-bgp", "//", "[a='b']"});
        }
    }
    void replace_a_key(std::string &path, const std::string &text) {
        std::vector<std::size_t> starts;
        for (std::size_t i = path.find("='"); i != std::string::npos; i = path.find("='", i + 1)) {
            starts.push_back(i + 2);
        }
        if (starts.empty()) {
            return;
        }
        const std::size_t start = starts[index_in(starts.size())];
        path.replace(start, path.find('\'', start) - start, text);
    }
    static void lengthen(std::string &path, std::size_t length) {
        const std::size_t last = path.rfind('/');
        if (last == std::string::npos || path.size() + 12 > length) {
            return;
        }
        path.insert(last, "[other='" + std::string(length - path.size() - 10, 'x') + "']");
    }

    std::mt19937 random_;
    std::string subscription_;
    const std::vector<ChangedList> &lists_;
    std::vector<const char *> keys_;
};

// --- Every node ----------------------------------------------------------------------------

struct Node {
    std::string path;
    std::string name;
};

// The names of the nodes in an entry of a list, and of those of all lists.
std::set<std::string> names_of(const ChangedList &list) {
    std::set<std::string> names(list.keys.begin(), list.keys.end());
    names.insert(list.leaves.begin(), list.leaves.end());
    return names;
}
std::set<std::string> all_names() {
    std::set<std::string> names = {"router-id"};
    for (const ModelledCallback &row : support::modelled_callbacks()) {
        for (const ChangedList &list : row.lists) {
            names.merge(names_of(list));
        }
    }
    return names;
}

// The nodes of an entry of a callback, in whose lists every key is `key`: containers, list entries
// and what they hold. With `foreign`, also containers and lists of other callbacks, and in each
// list the nodes of all lists.
std::vector<Node> nodes_of(const ModelledCallback &row, const std::string &key, bool foreign) {
    static const std::map<std::string, std::string> family = {
        {"afi", "AFI_IP"}, {"safi", "SAFI_VRF"}, {"vrf-name", "red"}};
    std::string entry = row.subscription;
    for (const char *name : row.keys) {
        entry += std::string("[") + name + "='" + family.at(name) + "']";
    }
    std::vector<Node> nodes = {{entry, row.lists.empty() ? "as" : ""}};
    for (const char *name : {"afi", "safi", "vrf-name", "router-id", "unknown"}) {
        nodes.push_back({entry + "/" + name, name});
    }
    for (const ModelledCallback &other : support::modelled_callbacks()) {
        const bool own = &other.lists == &row.lists;
        if (!own && !foreign) {
            continue;
        }
        for (const ChangedList &list : other.lists) {
            std::string path = entry + list.path;
            nodes.push_back({path.substr(0, path.rfind('/')), ""});
            for (const char *name : list.keys) {
                path += std::string("[") + name + "='" + key + "']";
            }
            nodes.push_back({path, ""});
            for (const std::string &name : foreign ? all_names() : names_of(list)) {
                if (own) {
                    nodes.push_back({path + "/" + name, name});
                }
            }
        }
    }
    return nodes;
}

Change change_to(const Node &node, sr_change_oper_t operation) {
    return support::change_of(operation, value_of(node.path, node.name, 7, "new"),
                              value_of(node.path, node.name, 6, "old"));
}

// --- Both side by side ---------------------------------------------------------------------

class ChangeProperty : public support::PluginTest,
                       public testing::WithParamInterface<ModelledCallback> {
  protected:
    struct Outcome {
        int result;
        Records records;
    };
    // Runs the edit through the callback, and expects what the model does.
    Outcome run_as_modelled(const Edit &edit) {
        ChangeModel model(edit);
        const int expected = GetParam().model(model);
        g_bgp_id = 0;
        std::string output;
        Outcome outcome{};
        {
            const support::CapturedOutput captured;
            outcome.result = support::run_edit(GetParam(), edit, sends);
            output = captured.text();
        }
        outcome.records = sends.take();
        EXPECT_EQ(outcome.result, expected) << edit << output;
        EXPECT_EQ(outcome.records, model.sent) << edit << output;
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), model.lines) << edit << output;
        EXPECT_EQ(g_bgp_id, model.bgp_id) << edit;
        EXPECT_EQ(sysrepo().values_open, 0U) << edit;
        EXPECT_EQ(sysrepo().iterators_open, 0U) << edit;
        return outcome;
    }

    support::SentRecords sends;
};

INSTANTIATE_TEST_SUITE_P(Callbacks, ChangeProperty,
                         testing::ValuesIn(support::modelled_callbacks()),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_P(ChangeProperty, EveryTwoChangesDoWhatTheModelDoes) {
    const std::vector<Node> firsts = nodes_of(GetParam(), "a", false);
    std::vector<Node> seconds = nodes_of(GetParam(), "a", true);
    for (const Node &node : nodes_of(GetParam(), "b", false)) {
        seconds.push_back(node);
    }
    std::size_t rounds = 0;
    const auto step = static_cast<std::size_t>(10 / support::random_rounds(10));
    for (const Node &first : firsts) {
        for (const sr_change_oper_t before : {SR_OP_CREATED, SR_OP_DELETED}) {
            for (const Node &second : seconds) {
                for (const sr_change_oper_t after : {SR_OP_MODIFIED, SR_OP_DELETED, SR_OP_MOVED}) {
                    if (++rounds % step != 0) {
                        continue;
                    }
                    Edit edit;
                    edit.changes = {change_to(first, before), change_to(second, after)};
                    run_as_modelled(edit);
                    // A change without a value drops what is pending.
                    edit.changes.push_back(support::without_value(SR_OP_CREATED));
                    run_as_modelled(edit);
                    ASSERT_FALSE(HasFailure());
                }
            }
        }
    }
}

TEST_P(ChangeProperty, RandomEditsDoWhatTheModelDoes) {
    const int edits_per_callback = support::random_rounds(6000);
    Edits edits(20240501, GetParam().subscription, GetParam().lists, GetParam().keys);
    std::map<int, int> results;
    std::map<int, int> codes;
    for (int i = 0; i < edits_per_callback; ++i) {
        const Outcome outcome = run_as_modelled(edits.next());
        ASSERT_FALSE(HasFailure()) << "edit " << i;
        ++results[outcome.result];
        for (const auto &record : outcome.records) {
            ++codes[record.sub_mod];
        }
    }
    // The edits reach every result and every record of the callback.
    for (const int result : {0, 1, 7, 16, 18, 20, -1, 1000000}) {
        EXPECT_GE(results[result], edits_per_callback / 600) << "result " << result;
    }
    for (const int code : GetParam().codes) {
        EXPECT_GE(codes[code], edits_per_callback / 60) << "sub-module " << code;
    }
}

} // namespace
