// The parsers of the seven lists, called directly. ChangeProperty compares what they do in their
// callbacks.
#include "change_fields.h"
#include "plugin_test.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using support::bytes_of;
using support::CapturedOutput;

using Parse = int (*)(sr_session_ctx_t *session, sr_change_oper_t operation, sr_val_t *value,
                      const address_family_val *family, const char *node, void *record,
                      std::uint32_t *length, std::uint32_t *sub_mod);

template <typename Record, auto parser>
int parse_as(sr_session_ctx_t *session, sr_change_oper_t operation, sr_val_t *value,
             [[maybe_unused]] const address_family_val *family, const char *node, void *record,
             std::uint32_t *length, std::uint32_t *sub_mod) {
    auto *typed = static_cast<Record *>(record);
    if constexpr (std::is_same_v<Record, bgp_globle_neighbor_config>) {
        return parser(session, operation, value, node, typed, length, sub_mod);
    } else {
        return parser(session, operation, value, family, node, typed, length, sub_mod);
    }
}

struct ListParser {
    const char *name;
    const char *list;
    const EntryRecord &record;
    bool in_family; // otherwise the list is the instance's
    Parse parse;

    std::size_t keys() const { return record.keys[1].node == nullptr ? 1 : 2; }

    friend void PrintTo(const ListParser &row, std::ostream *out) { *out << row.name; }
};

using Network = bgp_address_family_network_universal_val;
using Neighbor = bgp_address_family_neighbor_universal_val;
using Redistribute = bgp_address_family_redistribute_universal_val;
const ListParser parsers[] = {
    {"Globle", "globle-neighbor", globle_neighbor_record, false,
     parse_as<bgp_globle_neighbor_config, container_bgp_globle_neighbor_plugin_change_parse>},
    {"Network", "family-network", network_record, true,
     parse_as<Network, container_address_family_network_plugin_change_parse>},
    {"Neighbor", "family-neighbor", neighbor_record, true,
     parse_as<Neighbor, container_address_family_neighbor_plugin_change_parse>},
    {"Redistribute", "family-redistribute", redistribute_record, true,
     parse_as<Redistribute, container_address_family_redistribute_plugin_change_parse>},
    {"VrfNetwork", "family-vrf-network", network_record, true,
     parse_as<Network, container_address_family_vrf_network_plugin_change_parse>},
    {"VrfNeighbor", "family-vrf-neighbor", vrf_neighbor_record, true,
     parse_as<Neighbor, container_address_family_vrf_neighbor_plugin_change_parse>},
    {"VrfRedistribute", "family-vrf-redistribute", redistribute_record, true,
     parse_as<Redistribute, container_address_family_vrf_redistribute_plugin_change_parse>}};

// The operations of changes and of records.
constexpr std::pair<sr_change_oper_t, int> operations[] = {
    {SR_OP_CREATED, 1}, {SR_OP_MODIFIED, 1}, {SR_OP_DELETED, 0}, {SR_OP_MOVED, -1}};

void put(std::string &bytes, std::size_t offset, std::size_t size, std::string content) {
    content.resize(size, '\0');
    bytes.replace(offset, size, content);
}

std::string too_long(const char *node, std::size_t limit) {
    return std::string("value of ") + node + " is " + std::to_string(limit + 1) +
           " bytes long, the limit is " + std::to_string(limit) + "\n";
}

class ChangeParser : public support::PluginTest, public testing::WithParamInterface<ListParser> {
  protected:
    static constexpr std::uint32_t as = 100;
    static constexpr char fill = '\x5a';
    static constexpr std::uint32_t no_code = 77;

    ChangeParser() { g_bgp_id = as; }

    static const ListParser &row() { return GetParam(); }
    static const EntryRecord &layout() { return GetParam().record; }

    // The path of a node in an entry whose first `keys` keys are all "k".
    static std::string path_of(const std::string &node, std::size_t keys = 2) {
        std::string path = std::string("/orv_bgp:router-bgp/") + row().list;
        for (std::size_t i = 0; i < std::min(keys, row().keys()); ++i) {
            path += std::string("[") + layout().keys[i].node + "='k']";
        }
        return path + "/" + node;
    }
    // The result for a value, parsed into a record that holds `fill`.
    int parse(sr_change_oper_t operation, const scripted::Value &value, const char *node) {
        clear();
        sr_val_t *made = scripted::make_value(value);
        const int result = row().parse(scripted::session(), operation, made, &family_, node,
                                       record_.data(), &length_, &sub_mod_);
        sr_free_val(made);
        return result;
    }
    void clear() {
        record_ = std::string(layout().size, fill);
        length_ = 0;
        sub_mod_ = no_code;
    }
    // The record after its head and that many keys have been written.
    std::string written(int op, std::size_t keys = 2, char before = fill) const {
        std::string bytes(layout().size, before);
        put(bytes, 0, 4, bytes_of(op));
        put(bytes, 4, 4, bytes_of(as));
        if (row().in_family) {
            put(bytes, 8, 84, bytes_of(family_));
        }
        for (std::size_t i = 0; i < std::min(keys, row().keys()); ++i) {
            put(bytes, layout().keys[i].offset, layout().keys[i].size, "k");
        }
        return bytes;
    }
    void expect_only_written(const std::string &bytes, std::uint32_t code = no_code) const {
        EXPECT_EQ(record_, bytes);
        EXPECT_EQ(length_, layout().size);
        EXPECT_EQ(sub_mod_, code);
    }

    // The parsers copy the whole key of the family, whatever it contains.
    const address_family_val family_ = {3, 4, 5, 6, "any", {'\0', '\0', 'r'}};
    std::string record_;
    std::uint32_t length_ = 0;
    std::uint32_t sub_mod_ = no_code;
};

INSTANTIATE_TEST_SUITE_P(Lists, ChangeParser, testing::ValuesIn(parsers),
                         [](const auto &test) { return test.param.name; });

TEST_P(ChangeParser, LeafWritesHeadKeysAndItsFieldOnly) {
    for (const Leaf &leaf : layout().leaves) {
        if (leaf.node == nullptr) {
            continue;
        }
        const std::string path = path_of(leaf.node);
        const std::uint32_t number = leaf.puts == Puts::flag ? 1 : 200;
        const auto value = leaf.is_text ? scripted::text(path, "200") : scripted::number(path, 200);
        for (const auto &[operation, op] : operations) {
            // A leaf of the instance's neighbors is ready to be sent.
            EXPECT_EQ(parse(operation, value, leaf.node), row().in_family ? 0 : 1);
            std::string expected = written(op);
            put(expected, leaf.offset, leaf.size, leaf.is_text ? "200" : bytes_of(number));
            expect_only_written(expected, leaf.sub_mod == 0 ? layout().sub_mod : leaf.sub_mod);
        }
    }
}

TEST_P(ChangeParser, OtherNodesWriteHeadAndKeysAndOnlyTheFirstKeyLeafClearsTheRecord) {
    const char *const first_key = layout().keys[0].node;
    const std::uint32_t code = layout().sub_mod == 0 ? no_code : layout().sub_mod;
    for (const char *node :
         {first_key, layout().keys[row().keys() - 1].node, row().list, "other"}) {
        EXPECT_EQ(parse(SR_OP_DELETED, scripted::text(path_of(node), "k"), node), 0);
        expect_only_written(written(0, 2, node == first_key ? '\0' : fill), code);
    }
}

TEST_P(ChangeParser, MissingKeyIsAnErrorAfterTheHeadAndTheKeysBeforeIt) {
    const char *node = layout().leaves[0].node;
    for (std::size_t keys = 0; keys < row().keys(); ++keys) {
        const CapturedOutput output;
        EXPECT_EQ(parse(SR_OP_MOVED, scripted::text(path_of(node, keys), "1"), node),
                  SR_ERR_INTERNAL);
        expect_only_written(written(-1, keys));
        EXPECT_EQ(output.text(), std::string(layout().keys[keys].missing) + "\n");
    }
    const CapturedOutput output;
    EXPECT_EQ(parse(SR_OP_CREATED, {std::nullopt, SR_LEAF_EMPTY_T, std::nullopt, 0}, node),
              SR_ERR_INTERNAL);
    expect_only_written(written(1, 0));
}

TEST_P(ChangeParser, TextThatDoesNotFitLeavesItsFieldAsItWas) {
    for (const Leaf &leaf : layout().leaves) {
        if (leaf.node == nullptr || !leaf.is_text) {
            continue;
        }
        const CapturedOutput output;
        EXPECT_EQ(parse(SR_OP_CREATED,
                        scripted::text(path_of(leaf.node), std::string(leaf.size + 1, 'x')),
                        leaf.node),
                  SR_ERR_INVALID_VALUE);
        expect_only_written(written(1));
        EXPECT_EQ(output.text(), too_long(leaf.node, leaf.size));
    }
}

TEST_P(ChangeParser, KeyThatDoesNotFitLeavesItsFieldAsItWas) {
    for (std::size_t i = 0; i < row().keys(); ++i) {
        const Key &key = layout().keys[i];
        std::string path = path_of("other");
        const std::string start = std::string("[") + key.node + "='";
        path.insert(path.find(start) + start.size(), key.size, 'x');
        const CapturedOutput output;
        EXPECT_EQ(parse(SR_OP_CREATED, scripted::text(path, "1"), "other"), SR_ERR_INVALID_VALUE);
        expect_only_written(written(1, i));
        EXPECT_EQ(output.text(), too_long(key.node, key.size));
    }
}

// A look-up cuts the path, so the second key needs a working copy of it.
TEST_P(ChangeParser, PathOfTwoKeysMustFitItsWorkingCopy) {
    const char *node = layout().leaves[0].node;
    std::string path = path_of(node);
    path.resize(1000, 'x');
    const CapturedOutput output;
    const int result = parse(SR_OP_CREATED, scripted::text(path, "1"), node);
    if (row().keys() == 1) {
        EXPECT_EQ(result, row().in_family ? 0 : 1);
        return;
    }
    EXPECT_EQ(result, SR_ERR_INVALID_VALUE);
    expect_only_written(written(1, 0));
    EXPECT_THAT(output.text(), testing::EndsWith(" is 1000 bytes long, the limit is 999\n"));
}

TEST_P(ChangeParser, EveryMissingArgumentIsAnInternalError) {
    const char *node = layout().leaves[0].node;
    sr_val_t *value = scripted::make_value(scripted::text(path_of(node), "1"));
    // Each round leaves out one argument, the last one none.
    constexpr int the_family = 2;
    for (int missing = 0; missing <= 7; ++missing) {
        if (missing == the_family && !row().in_family) {
            continue;
        }
        const auto given = [missing](int argument, auto *pointer) {
            return argument == missing ? nullptr : pointer;
        };
        clear();
        const int result =
            row().parse(given(0, scripted::session()), SR_OP_CREATED, given(1, value),
                        given(the_family, &family_), given(3, node), given(4, record_.data()),
                        given(5, &length_), given(6, &sub_mod_));
        if (missing == 7) {
            EXPECT_EQ(result, row().in_family ? 0 : 1);
            continue;
        }
        EXPECT_EQ(result, SR_ERR_INTERNAL) << missing;
        EXPECT_EQ(record_, std::string(layout().size, fill));
        EXPECT_EQ(length_, 0U);
        EXPECT_EQ(sub_mod_, no_code);
    }
    sr_free_val(value);
}

} // namespace
