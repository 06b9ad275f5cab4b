#include "plugin_test.h"

#include <array>
#include <utility>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;

class Helpers : public support::PluginTest {};

TEST_F(Helpers, OperationCodes) {
    EXPECT_EQ(changeOp_switch_config_set(SR_OP_CREATED), 1);
    EXPECT_EQ(changeOp_switch_config_set(SR_OP_MODIFIED), 1);
    EXPECT_EQ(changeOp_switch_config_set(SR_OP_DELETED), 0);
    EXPECT_EQ(changeOp_switch_config_set(SR_OP_MOVED), -1);
}

constexpr std::array<std::pair<const char *, std::uint32_t>, 3> afis = {
    {{"AFI_IP", 1}, {"AFI_IPV6", 2}, {"AFI_L2VPN", 3}}};
constexpr std::array<std::pair<const char *, std::uint32_t>, 4> safis = {
    {{"SAFI_UNICAST", 1}, {"SAFI_MULTICAST", 2}, {"SAFI_EVPN", 5}, {"SAFI_VRF", 71}}};

TEST_F(Helpers, FamilyNamesHaveNumbersAndBack) {
    for (const auto &[name, number] : afis) {
        EXPECT_EQ(bgp_key_afi_str_to_int(name), number);
        EXPECT_STREQ(bgp_key_afi_int_to_str(number), name);
    }
    for (const auto &[name, number] : safis) {
        EXPECT_EQ(bgp_key_safi_str_to_int(name), number);
        EXPECT_STREQ(bgp_key_safi_int_to_str(number), name);
    }
}

TEST_F(Helpers, OtherTextsAreNoFamily) {
    for (const char *name : {"", "afi_ip", "AFI_IP ", " AFI_IP", "AFI_I", "AFI_IPV", "AFI_IPV66",
                             "SAFI_UNICAST", "1"}) {
        EXPECT_EQ(bgp_key_afi_str_to_int(name), 0U) << name;
    }
    for (const char *name : {"", "safi_vrf", "SAFI_VRF2", "SAFI_VR", "AFI_IP", "71"}) {
        EXPECT_EQ(bgp_key_safi_str_to_int(name), 0U) << name;
    }
    EXPECT_EQ(bgp_key_afi_str_to_int(nullptr), 0U);
    EXPECT_EQ(bgp_key_safi_str_to_int(nullptr), 0U);
}

TEST_F(Helpers, OtherNumbersHaveNoName) {
    for (const std::uint32_t number : {0U, 4U, 71U, 0xffffffffU}) {
        EXPECT_EQ(bgp_key_afi_int_to_str(number), nullptr) << number;
    }
    for (const std::uint32_t number : {0U, 3U, 4U, 6U, 70U, 72U, 0xffffffffU}) {
        EXPECT_EQ(bgp_key_safi_int_to_str(number), nullptr) << number;
    }
}

TEST_F(Helpers, ListContainersAreSkippedAndNothingElse) {
    for (const char *name :
         {"bgp-family-networks", "bgp-family-neighbors", "bgp-family-redistributes",
          "bgp-globle-neighbors", "bgp-family-vrf-networks", "bgp-family-vrf-neighbors",
          "bgp-family-vrf-redistributes"}) {
        EXPECT_EQ(is_continue_by_node_name(name), 1) << name;
        EXPECT_EQ(is_continue_by_node_name((std::string(name) + "s").c_str()), 0) << name;
        EXPECT_EQ(is_continue_by_node_name(name + 1), 0) << name;
    }
    for (const char *name : {"", "globle-neighbor", "family-network", "bgp-family-network"}) {
        EXPECT_EQ(is_continue_by_node_name(name), 0) << name;
    }
    EXPECT_EQ(is_continue_by_node_name(nullptr), 0);
}

class ChooseValue : public Helpers {
  protected:
    // The chosen value; the result is in `result`.
    sr_val_t *choose(sr_change_oper_t operation, sr_val_t *old_value, sr_val_t *new_value) {
        sr_val_t *chosen = &other_;
        result = plugin_value_choose(operation, old_value, new_value, &chosen);
        return chosen;
    }
    sr_val_t old_{};
    sr_val_t new_{};
    sr_val_t other_{};
    int result = -1;
};

TEST_F(ChooseValue, NewOneOfACreatedOrModifiedNode) {
    EXPECT_EQ(choose(SR_OP_CREATED, &old_, &new_), &new_);
    EXPECT_EQ(choose(SR_OP_MODIFIED, &old_, &new_), &new_);
    EXPECT_EQ(result, SR_ERR_OK);
}

TEST_F(ChooseValue, OldOneOfAnyOtherOperation) {
    EXPECT_EQ(choose(SR_OP_DELETED, &old_, &new_), &old_);
    EXPECT_EQ(choose(SR_OP_MOVED, &old_, &new_), &old_);
    EXPECT_EQ(result, SR_ERR_OK);
}

TEST_F(ChooseValue, MissingValueIsAnInternalErrorAndIsStored) {
    for (const auto operation : {SR_OP_CREATED, SR_OP_MODIFIED}) {
        EXPECT_EQ(choose(operation, &old_, nullptr), nullptr);
        EXPECT_EQ(result, SR_ERR_INTERNAL);
    }
    for (const auto operation : {SR_OP_DELETED, SR_OP_MOVED}) {
        EXPECT_EQ(choose(operation, nullptr, &new_), nullptr);
        EXPECT_EQ(result, SR_ERR_INTERNAL);
    }
}

TEST_F(ChooseValue, IsTracedByTheTransportsSwitch) {
    const CapturedOutput output;
    set_switches(1, 0);
    choose(SR_OP_DELETED, &old_, &new_);
    EXPECT_EQ(output.text(), "");
    set_switches(0, 1);
    choose(SR_OP_DELETED, &old_, &new_);
    EXPECT_EQ(output.text(), "\nin plugin_value_choose changeOp is 2\n");
}

TEST_F(Helpers, ConfiguredAsIsReadFromTheSession) {
    configure_as(65001);
    std::uint32_t as = 7;
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(scripted::session(), &as), SR_ERR_OK);
    EXPECT_EQ(as, 65001U);
    EXPECT_EQ(sysrepo().item_paths, std::vector<std::string>{"/orv_bgp:router-bgp/as"});
    EXPECT_EQ(sysrepo().item_timeouts, std::vector<std::uint32_t>{0});
}

TEST_F(Helpers, LargestAsIsRead) {
    configure_as(4294967295U);
    std::uint32_t as = 0;
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(scripted::session(), &as), SR_ERR_OK);
    EXPECT_EQ(as, 4294967295U);
}

TEST_F(Helpers, WithoutASessionNothingIsRead) {
    configure_as(65001);
    std::uint32_t as = 7;
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(nullptr, &as), SR_ERR_INVAL_ARG);
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(scripted::session(), nullptr), SR_ERR_INVAL_ARG);
    EXPECT_EQ(as, 7U);
    EXPECT_TRUE(sysrepo().item_paths.empty());
}

TEST_F(Helpers, AnyReadErrorMeansThatNoAsIsConfigured) {
    for (const int code : {SR_ERR_NOT_FOUND, SR_ERR_UNAUTHORIZED, SR_ERR_TIME_OUT}) {
        configure_as(65001);
        sysrepo().item_result = code;
        std::uint32_t as = 7;
        EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(scripted::session(), &as), SR_ERR_NOT_FOUND);
        EXPECT_EQ(as, 7U);
    }
}

TEST_F(Helpers, SuccessWithoutAValueMeansThatNoAsIsConfigured) {
    sysrepo().item_is_null = true;
    std::uint32_t as = 7;
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(scripted::session(), &as), SR_ERR_NOT_FOUND);
    EXPECT_EQ(as, 7U);
}

TEST_F(Helpers, AsOfZeroMeansThatNoAsIsConfigured) {
    sysrepo().items.emplace("/orv_bgp:router-bgp/as",
                            scripted::number("/orv_bgp:router-bgp/as", 0));
    std::uint32_t as = 7;
    EXPECT_EQ(ip_bgp_check_bgp_as_config_exist(scripted::session(), &as), SR_ERR_NOT_FOUND);
    EXPECT_EQ(as, 7U);
}

TEST_F(Helpers, ReadingTheAsIsTraced) {
    set_switches(1, 0);
    std::uint32_t as = 0;
    const CapturedOutput output;
    configure_as(65001);
    ip_bgp_check_bgp_as_config_exist(scripted::session(), &as);
    configure_as(0);
    ip_bgp_check_bgp_as_config_exist(scripted::session(), &as);
    EXPECT_EQ(output.text(), "[ip_bgp_check_bgp_as_config_exist][169] rc:0\n"
                             "[ip_bgp_check_bgp_as_config_exist][175] bgp router id:65001\n"
                             "[ip_bgp_check_bgp_as_config_exist][169] rc:5\n");
}

} // namespace
