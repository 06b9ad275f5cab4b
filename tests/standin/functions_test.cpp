// The functions that the callbacks use, called directly before anything is registered.
#include "bgp_plugin.h"
#include "captured_output.h"
#include "standins.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace {

using support::CapturedOutput;

sr_session_ctx_t *nobodys() {
    return standin::session();
}

TEST(Direct, RpcWithAnotherEventIsRefused) {
    for (const auto &[path, callback] : {std::pair{"/orv_bgp:ip-bgp-info", ip_bgp_info_cb},
                                         std::pair{"/orv_bgp:ip-bgp-neighbor", ip_bgp_neighbor_cb},
                                         std::pair{"/orv_bgp:ip-bgp-summary", ip_bgp_summary_cb}}) {
        const CapturedOutput printed;
        EXPECT_EQ(callback(nobodys(), path, nullptr, 0, SR_EV_CHANGE, 1, nullptr, nullptr, nullptr),
                  10);
    }
}

TEST(Direct, HelpersAcceptAnyArguments) {
    std::uint32_t as = 5;
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(nullptr, &as), 1);
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(nobodys(), nullptr), 1);
    EXPECT_EQ(is_continue_by_node_name(nullptr), 0);
    EXPECT_EQ(bgp_key_afi_str_to_int(nullptr), 0U);
    EXPECT_EQ(bgp_key_safi_str_to_int(nullptr), 0U);
    EXPECT_EQ(bgp_key_afi_int_to_str(0), nullptr);
    EXPECT_EQ(bgp_key_safi_int_to_str(UINT32_MAX), nullptr);
    EXPECT_EQ(bgp_input_parse(nullptr, nullptr, 19), 14);
    EXPECT_EQ(plugin_config(nullptr, 8, 0, MODULE_ID_BGP, 1), 10);
    const CapturedOutput printed;
    EXPECT_EQ(sendAndGetReplyBuff(-1, nullptr), nullptr);
    EXPECT_EQ(bgp_plugin_send_and_receive(-1, nullptr, 8, 18), nullptr);
    char query = 'q';
    EXPECT_EQ(bgp_plugin_send_and_receive(-1, &query, INT_MAX, 18), nullptr);
    EXPECT_EQ(plugin_send_and_receive(-1, &query, INT_MAX, 0, MODULE_ID_BGP, 1), 4);
}

// The functions of the transport have the types that other programs declare them with.
TEST(Direct, PrototypesTakeWritableArguments) {
    int (*const config)(void *, int, int, int, int) = plugin_config;
    int (*const exchange)(int, void *, int, int, int, int) = plugin_send_and_receive;
    int (*const response)(int, netconf_data_struc *, sr_error_t *) = sendAndGetResponseCode;
    netconf_data_struc *(*const reply)(int, netconf_data_struc *) = sendAndGetReplyBuff;
    EXPECT_TRUE(config != nullptr && exchange != nullptr && response != nullptr &&
                reply != nullptr);
}

using ReplyParser = int (*)(sr_val_t **, size_t *, netconf_data_struc *);
constexpr std::pair<int, ReplyParser> reply_parsers[] = {{18, ip_bgp_evpn_output_parse},
                                                         {19, ip_bgp_info_output_parse},
                                                         {20, ip_bgp_neighbor_output_parse},
                                                         {21, ip_bgp_summary_output_parse}};

TEST(Direct, ReplyParsersRefuseWhatIsMissingAndWhatIsAnothers) {
    sr_val_t *output = nullptr;
    size_t count = 3;
    netconf_data_struc reply{MODULE_ID_BGP, 1, 0, 16};
    for (const auto &[sub_mod, parse] : reply_parsers) {
        const CapturedOutput printed;
        EXPECT_EQ(parse(nullptr, &count, &reply), -1);
        EXPECT_EQ(parse(&output, nullptr, &reply), -1);
        EXPECT_EQ(parse(&output, &count, nullptr), -1);
        EXPECT_EQ(printed.text(), "reply_buf is NULL\nreply_buf is NULL\nreply_buf is NULL\n");
        EXPECT_EQ(parse(&output, &count, &reply), -1);
        EXPECT_EQ(count, 3U);
    }
}

// A reply of nothing but one byte, in a buffer as long as the transport's.
TEST(Direct, ReplyParsersEndWhateverTheReplyHolds) {
    std::vector<char> room(BUF_SIZE_MAX);
    auto *reply = reinterpret_cast<netconf_data_struc *>(room.data());
    for (const int byte : {0, 1, 0x78, 0x7F, 0x80, 0xFF}) {
        std::memset(room.data(), byte, room.size());
        for (const auto &[sub_mod, parse] : reply_parsers) {
            for (const int length : {INT_MIN, -1, 0, 16, 1000, BUF_SIZE_MAX, INT_MAX}) {
                standin::state() = {};
                standin::state().realloc_result = SR_ERR_NOMEM;
                reply->module = MODULE_ID_BGP;
                reply->subMod = sub_mod;
                reply->dataLen = length;
                sr_val_t *output = nullptr;
                size_t count = 0;
                const CapturedOutput printed;
                const int rc = parse(&output, &count, reply);
                EXPECT_TRUE(rc == 0 || rc == -1);
                EXPECT_EQ(count, 0U);
                EXPECT_EQ(output, nullptr);
            }
        }
    }
}

} // namespace
