// Every callback in a program that replaces sysrepo's functions: it does what its description says,
// and passes no invalid session or array to the real library.
#include "captured_output.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"
#include "standins.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace {

using standin::plugin;
using standin::state;
using support::CapturedOutput;
using testing::HasSubstr;

template <typename... Records>
std::string bytes(const Records &...records) {
    std::string all;
    (all.append(reinterpret_cast<const char *>(&records), sizeof records), ...);
    return all;
}

std::string evpn_reply(std::uint32_t announced, std::uint32_t distinguishers) {
    using namespace std::string_literals;
    const std::uint32_t one = 1;
    return bytes(announced, distinguishers) + "rd\0"s + bytes(one) + "r\0\1\1\1\0\0\0\0\0\0"s;
}

std::string info_reply(std::uint32_t next_hops, std::uint32_t networks) {
    bgp_rpc_ip_bgp_info_output_public table{};
    table.prefix_number = networks;
    return bytes(next_hops, table, bgp_rpc_ip_bgp_info_output_entry{});
}

std::string neighbor_reply(std::uint32_t peers) {
    return bytes(peers, bgp_rpc_ip_bgp_neighbor_output_neighbor{});
}

std::string summary_reply(std::uint32_t neighbors) {
    bgp_rpc_ip_bgp_summary_output_neighbors block{};
    block.neighbor_number = neighbors;
    return bytes(block, bgp_rpc_ip_bgp_summary_output_entry{});
}

// An RPC, and replies to it.
struct Call {
    const char *path;
    int sub_mod;
    std::string one; // of one entry
    std::size_t values;
    std::string none; // of no entry
    std::string too_many;
    const char *no_array; // what it prints without an array
    int result;           // and what it returns
};

const std::vector<Call> &calls() {
    static const std::vector<Call> rows = {
        {"/orv_bgp:ip-bgp-evpn", 18, evpn_reply(3, 1), 3, evpn_reply(3, 0),
         evpn_reply(0xFFFFFFFF, 1), "realloc failed\n", 0},
        {"/orv_bgp:ip-bgp-info", 19, info_reply(0, 1), 4, info_reply(0, 0),
         info_reply(0xFFFFFFFF, 1), "bgp info realloc failed!\n", -1},
        {"/orv_bgp:ip-bgp-neighbor", 20, neighbor_reply(1), 20, neighbor_reply(0),
         neighbor_reply(0xFFFFFFFF), "bgp neighbor realloc failed!\n", -1},
        {"/orv_bgp:ip-bgp-summary", 21, summary_reply(1), 15, summary_reply(0),
         summary_reply(0xFFFFFFFF), "bgp info realloc failed!\n", -1},
    };
    return rows;
}

// Values that the library has not allocated.
class Array {
  public:
    explicit Array(bool is_static) : own_(is_static ? nullptr : new sr_val_t[size]{}) {
        fixed_ = {};
    }
    Array(const Array &) = delete;
    Array &operator=(const Array &) = delete;
    ~Array() {
        clear();
        delete[] own_;
    }
    sr_val_t *get() { return own_ == nullptr ? fixed_.data() : own_; }

    std::size_t written() {
        return static_cast<std::size_t>(std::count_if(
            get(), get() + size, [](const sr_val_t &value) { return value.xpath != nullptr; }));
    }
    void clear() {
        for (sr_val_t *value = get(); value != get() + size; ++value) {
            if (value->type == SR_STRING_T || value->type == SR_ENUM_T) {
                std::free(value->data.string_val);
            }
            std::free(value->xpath);
            *value = {};
        }
    }

    static constexpr std::size_t size = 64;

  private:
    static std::array<sr_val_t, size> fixed_;
    sr_val_t *own_;
};
std::array<sr_val_t, Array::size> Array::fixed_;

// Registered by stand-ins, with and without the traces.
class StandIns : public testing::TestWithParam<bool> {
  protected:
    StandIns() {
        state() = {};
        state().as = 100;
        *plugin().netconf_plugin_context = 0;
        *plugin().debug_bgp = *plugin().com_printf_flag = GetParam() ? 1 : 0;
        EXPECT_EQ(plugin().init(standin::session(), nullptr), 0);
    }
    ~StandIns() override {
        *plugin().debug_bgp = *plugin().com_printf_flag = 0;
        EXPECT_EQ(state().told, 0) << "nobody is told a reason";
        EXPECT_EQ(state().released, 0) << "no array is released";
        plugin().cleanup(standin::session(), nullptr);
        if (*plugin().netconf_plugin_context > 0) {
            close(*plugin().netconf_plugin_context);
        }
    }

    int call(const Call &row, const std::string &payload, sr_val_t **output, std::size_t *count) {
        daemon.answer_next(configd::Reply{MODULE_ID_BGP, row.sub_mod, 0, payload});
        return call_with(row.path, SR_EV_RPC, output, count);
    }
    static int call_with(const char *path, sr_event_t event, sr_val_t **output,
                         std::size_t *count) {
        std::string xpath = std::string(path) + "/get-all";
        sr_val_t input{};
        input.xpath = xpath.data();
        return state().calls.at(path)(standin::session(), path, &input, 1, event, 1, output, count,
                                      nullptr);
    }

    support::RecordingDaemon daemon;
};
INSTANTIATE_TEST_SUITE_P(, StandIns, testing::Bool(),
                         [](const auto &row) { return row.param ? "Traced" : "Quiet"; });

TEST_P(StandIns, AnswerIsWrittenIntoTheArrayOfTheCaller) {
    for (const bool is_static : {true, false}) {
        for (const Call &row : calls()) {
            for (const auto &[payload, values] :
                 {std::pair{&row.one, row.values}, std::pair{&row.none, std::size_t{0}}}) {
                Array array(is_static);
                state().array = array.get();
                sr_val_t *output = nullptr;
                std::size_t count = 0;
                const CapturedOutput printed;
                EXPECT_EQ(call(row, *payload, &output, &count), 0) << row.path;
                EXPECT_EQ(output, array.get());
                EXPECT_EQ(count, values);
                EXPECT_EQ(array.written(), values);
            }
        }
    }
}

TEST_P(StandIns, WithoutALargerArrayTheParserUsesTheOldOne) {
    Array array(true);
    for (const Call &row : calls()) {
        for (const std::string *payload : {&row.one, &row.too_many}) {
            const bool asked = payload == &row.one;
            for (sr_val_t *left : {array.get(), static_cast<sr_val_t *>(nullptr)}) {
                for (const std::size_t before : {0U, 1U, 2U, 3U, 64U}) {
                    state().reallocs.clear();
                    state().realloc_result = SR_ERR_NOMEM;
                    state().array = left;
                    sr_val_t *output = left;
                    std::size_t count = before;
                    const CapturedOutput printed;
                    EXPECT_EQ(call(row, *payload, &output, &count), row.result) << row.path;
                    EXPECT_THAT(printed.text(), HasSubstr(row.no_array));
                    EXPECT_EQ(state().reallocs.size(), asked ? 1U : 0U);
                    const std::size_t room = before == 0 ? row.values : before;
                    const std::size_t written =
                        row.result != 0 || left == nullptr ? 0 : std::min(row.values, room);
                    EXPECT_EQ(count, row.result != 0 ? before : written);
                    EXPECT_EQ(array.written(), written);
                    array.clear();
                }
            }
        }
    }
}

TEST_P(StandIns, RpcWithAnotherEventIsRefused) {
    for (const auto &[path, callback] : state().calls) {
        for (const sr_event_t event : {SR_EV_CHANGE, SR_EV_DONE, SR_EV_ABORT}) {
            sr_val_t *output = nullptr;
            std::size_t count = 0;
            const CapturedOutput printed;
            EXPECT_EQ(call_with(path.c_str(), event, &output, &count), 10) << path;
            EXPECT_THAT(printed.text(), HasSubstr("invalid argument.\n"));
        }
    }
}

TEST_P(StandIns, RpcWithoutARequiredArgumentIsRefused) {
    for (const auto &[path, callback] : state().calls) {
        const CapturedOutput printed;
        const sr_val_t *none = nullptr;
        EXPECT_EQ(
            callback(standin::session(), nullptr, none, 0, SR_EV_RPC, 1, nullptr, nullptr, nullptr),
            1);
        EXPECT_EQ(callback(nullptr, path.c_str(), none, 0, SR_EV_RPC, 1, nullptr, nullptr, nullptr),
                  1);
        EXPECT_THAT(printed.text(), HasSubstr("inval arg!\n"));
    }
    for (const Call &row : calls()) {
        const CapturedOutput printed;
        EXPECT_EQ(call(row, row.one, nullptr, nullptr), -1);
        EXPECT_THAT(printed.text(), HasSubstr("reply_buf is NULL\n"));
    }
}

TEST_P(StandIns, RpcFailsWithoutAReplyOrWithTheReplyToAnotherQuery) {
    for (const Call &row : calls()) {
        sr_val_t *output = nullptr;
        std::size_t count = 0;
        const CapturedOutput printed;
        for (const char *piece : {"", "abc"}) {
            daemon.answer_next(configd::RawBytes{piece, true});
            EXPECT_EQ(call_with(row.path, SR_EV_RPC, &output, &count), 14) << row.path;
        }
        daemon.answer_next(configd::Reply{MODULE_ID_BGP, 1, 0, row.one});
        EXPECT_EQ(call_with(row.path, SR_EV_RPC, &output, &count), -1) << row.path;
        EXPECT_EQ(output, nullptr);
    }
}

TEST_P(StandIns, RpcNamesTheInputThatIsTooLong) {
    std::string xpath = "/orv_bgp:ip-bgp-info/vrf-name";
    std::string name(65, 'v');
    sr_val_t input{};
    input.xpath = xpath.data();
    input.type = SR_STRING_T;
    input.data.string_val = name.data();
    const CapturedOutput printed;
    EXPECT_EQ(state().calls.at("/orv_bgp:ip-bgp-info")(standin::session(), "/orv_bgp:ip-bgp-info",
                                                       &input, 1, SR_EV_RPC, 1, nullptr, nullptr,
                                                       nullptr),
              16);
    EXPECT_THAT(printed.text(), HasSubstr("is 65 bytes long, the limit is 64\n"));
}

// --- Edits ------------------------------------------------------------------------------

struct Edit {
    const char *path;
    const char *leaf;
    const char *text; // nullptr: a number
};
const Edit edits[] = {
    {"/orv_bgp:router-bgp/as", "", nullptr},
    {"/orv_bgp:router-bgp/bgp",
     "/bgp-globle-neighbors/globle-neighbor[neighbor-address='10.0.0.1']/remote-as", "200"},
    {"/orv_bgp:router-bgp/bgp-address-family/address-family",
     "[afi='AFI_IP'][safi='SAFI_UNICAST']/bgp-family-networks/"
     "family-network[prefix='10.1.0.0/16']/route-map",
     "map"},
    {"/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
     "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']/bgp-family-vrf-neighbors/"
     "family-vrf-neighbor[neighbor-address='10.0.0.1']/remote-as",
     "200"},
};

// A value of the program, with texts in buffers that may be cut.
struct Value {
    Value(std::string path, const char *content) : xpath(std::move(path)) {
        value.xpath = xpath.data();
        value.type = content == nullptr ? SR_UINT32_T : SR_STRING_T;
        if (content == nullptr) {
            value.data.uint32_val = 7;
        } else {
            text = content;
            value.data.string_val = text.data();
        }
    }
    Value(const Value &) = delete;
    Value &operator=(const Value &) = delete;

    std::string xpath;
    std::string text;
    sr_val_t value{};
};

class StandInEdits : public StandIns {
  protected:
    static int edit(const Edit &row, std::vector<standin::Change> changes,
                    sr_event_t event = SR_EV_CHANGE) {
        state().changes = std::move(changes);
        return state().edits.at(row.path)(standin::session(), "orv_bgp", row.path, event, 1,
                                          nullptr);
    }
};
INSTANTIATE_TEST_SUITE_P(, StandInEdits, testing::Bool(),
                         [](const auto &row) { return row.param ? "Traced" : "Quiet"; });

TEST_P(StandInEdits, ChangeIsSentAndTheDaemonsCodeIsTheResult) {
    for (const Edit &row : edits) {
        for (const auto operation : {SR_OP_CREATED, SR_OP_MODIFIED, SR_OP_DELETED, SR_OP_MOVED}) {
            for (const int code : {0, 5, 16, 20, -1}) {
                Value old_value(std::string(row.path) + row.leaf, row.text);
                Value new_value(std::string(row.path) + row.leaf, row.text);
                daemon.answer_next(configd::ResultCode{code});
                const CapturedOutput printed;
                EXPECT_EQ(edit(row, {{operation, &old_value.value, &new_value.value}}),
                          code == 5 ? 0 : code)
                    << row.path;
                EXPECT_EQ(daemon.take_messages().size(), 1U);
            }
        }
    }
}

TEST_P(StandInEdits, InvalidChangeIsNotSent) {
    for (const Edit &row : edits) {
        Value value(std::string(row.path) + row.leaf, row.text);
        const bool is_globle = row.path == std::string("/orv_bgp:router-bgp/bgp");
        const CapturedOutput printed;
        EXPECT_EQ(edit(row, {{SR_OP_DELETED, nullptr, &value.value}}), is_globle ? 7 : 0);
        EXPECT_THAT(printed.text(), HasSubstr("choose value for oper 2 failed."));
        value.value.xpath = nullptr;
        EXPECT_EQ(edit(row, {{SR_OP_CREATED, nullptr, &value.value}}), 7);
        EXPECT_THAT(printed.text(), HasSubstr("get node name from xpath (null) fail\n"));
        EXPECT_TRUE(daemon.take_messages().empty());
    }
}

TEST_P(StandInEdits, ValueOfATypeWithoutTextIsRefused) {
    for (const Edit &row : edits) {
        if (row.text == nullptr) {
            continue;
        }
        for (const auto type : {SR_UINT8_T, SR_UINT16_T, SR_UINT32_T, SR_UINT64_T, SR_BOOL_T}) {
            Value value(std::string(row.path) + row.leaf, nullptr);
            value.value.type = type;
            const CapturedOutput printed;
            EXPECT_EQ(edit(row, {{SR_OP_CREATED, nullptr, &value.value}}), 16);
            EXPECT_THAT(printed.text(), HasSubstr("has no text\n"));
        }
    }
}

TEST_P(StandInEdits, WithoutAnAsOnlyDeletionsSucceed) {
    state().as = 0;
    for (const Edit &row : edits) {
        if (row.text == nullptr) {
            continue;
        }
        Value value(std::string(row.path) + row.leaf, row.text);
        const CapturedOutput printed;
        EXPECT_EQ(edit(row, {{SR_OP_CREATED, nullptr, &value.value}}), 18);
        EXPECT_EQ(edit(row, {{SR_OP_DELETED, &value.value, nullptr}}), 0);
    }
    EXPECT_TRUE(daemon.take_messages().empty());
}

TEST_P(StandInEdits, FailureOfSysrepoIsReturned) {
    state().open_result = SR_ERR_NOMEM;
    for (const Edit &row : edits) {
        const CapturedOutput printed;
        EXPECT_EQ(edit(row, {}), 4);
        EXPECT_THAT(printed.text(), HasSubstr("Get change iter for xpath "));
    }
}

TEST_P(StandInEdits, EndAndAbortDoNothing) {
    for (const Edit &row : edits) {
        const CapturedOutput printed;
        EXPECT_EQ(edit(row, {}, SR_EV_DONE), 0);
        EXPECT_EQ(edit(row, {}, SR_EV_ABORT), 0);
        EXPECT_EQ(state().edits.at(row.path)(standin::session(), nullptr, nullptr, SR_EV_CHANGE, 1,
                                             nullptr),
                  1)
            << "without a path";
    }
    EXPECT_TRUE(daemon.take_messages().empty());
}

TEST_P(StandInEdits, VariablesFollow) {
    Value value(edits[0].path, nullptr);
    const CapturedOutput printed;
    EXPECT_EQ(edit(edits[0], {{SR_OP_CREATED, nullptr, &value.value}}), 0);
    EXPECT_EQ(*plugin().g_bgp_id, 7U);
    EXPECT_GT(*plugin().netconf_plugin_context, 0);
    EXPECT_EQ(*plugin().bgp_nc, 0);
    sr_val_t *output = nullptr;
    std::size_t count = 0;
    call(calls()[0], "payload", &output, &count);
    EXPECT_EQ(std::string(plugin().buf + 16, 7), "payload");
}

} // namespace
