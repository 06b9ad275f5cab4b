#include "plugin_test.h"
#include "wire.h"

#include <vector>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;

class Lifecycle : public support::PluginTest {
  protected:
    ~Lifecycle() override { sr_unsubscribe(sysrepo().handle); }
};

struct Expected {
    const char *module; // empty for an RPC
    const char *path;
    sr_module_change_cb change;
    sr_rpc_cb rpc;
};

constexpr Expected expected_registrations[] = {
    {"orv_bgp", "/orv_bgp:router-bgp/as", bgp_config_as_change_cb, nullptr},
    {"orv_bgp", "/orv_bgp:router-bgp/bgp", bgp_config_globle_bgp_change_cb, nullptr},
    {"orv_bgp", "/orv_bgp:router-bgp/bgp-address-family/address-family",
     bgp_config_address_family_change_cb, nullptr},
    {"orv_bgp", "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
     bgp_config_address_family_vrf_change_cb, nullptr},
    {"", "/orv_bgp:ip-bgp-evpn", nullptr, ip_bgp_evpn_cb},
    {"", "/orv_bgp:ip-bgp-info", nullptr, ip_bgp_info_cb},
    {"", "/orv_bgp:ip-bgp-neighbor", nullptr, ip_bgp_neighbor_cb},
    {"", "/orv_bgp:ip-bgp-summary", nullptr, ip_bgp_summary_cb},
    {"", "/orv_bgp:clear-ip-bgp", nullptr, clear_ip_bgp_cb},
};
static_assert(std::size(expected_registrations) == 4 + configd::query_count,
              "one row for each query");

TEST_F(Lifecycle, InitializationMakesTheRegistrationsInOrderOnOneHandle) {
    ASSERT_EQ(sr_plugin_init_cb(scripted::session(), nullptr), SR_ERR_OK);
    const auto &made = sysrepo().registrations;
    ASSERT_EQ(made.size(), std::size(expected_registrations));
    for (std::size_t i = 0; i < made.size(); ++i) {
        EXPECT_EQ(made[i].module, expected_registrations[i].module);
        EXPECT_EQ(made[i].path, expected_registrations[i].path);
        EXPECT_EQ(made[i].change, expected_registrations[i].change);
        EXPECT_EQ(made[i].rpc, expected_registrations[i].rpc);
        EXPECT_EQ(made[i].private_data, nullptr);
        EXPECT_EQ(made[i].priority, 0U);
        EXPECT_EQ(made[i].options, i == 0 ? SR_SUBSCR_DEFAULT : SR_SUBSCR_CTX_REUSE);
        EXPECT_EQ(made[i].joined, i != 0);
    }
    EXPECT_TRUE(sysrepo().unsubscribed.empty());
}

TEST_F(Lifecycle, InitializationLeavesThePrivateContextUntouched) {
    char mark = 0;
    void *context = &mark;
    ASSERT_EQ(sr_plugin_init_cb(scripted::session(), &context), SR_ERR_OK);
    EXPECT_EQ(context, &mark);
}

TEST_F(Lifecycle, SuccessPrintsNothingWithTheSwitchOff) {
    const CapturedOutput output;
    sr_plugin_init_cb(scripted::session(), nullptr);
    sr_plugin_cleanup_cb(scripted::session(), nullptr);
    EXPECT_EQ(output.text(), "");
}

TEST_F(Lifecycle, SuccessIsTraced) {
    set_switches(1, 0);
    const CapturedOutput output;
    sr_plugin_init_cb(scripted::session(), nullptr);
    sr_plugin_cleanup_cb(scripted::session(), nullptr);
    EXPECT_EQ(output.text(), "sysrepo bgp plugin INIT...OK\n orv_bgp plugin cleanup finished.\n");
}

// Each registration fails once.
class LifecycleFailure : public Lifecycle, public testing::WithParamInterface<std::size_t> {};

TEST_P(LifecycleFailure, UndoesTheEarlierRegistrationsAndReturnsTheCode) {
    const std::size_t failing = GetParam();
    const bool is_change = expected_registrations[failing - 1].change != nullptr;
    sysrepo().subscribe_fails_at = failing;
    sysrepo().subscribe_result = SR_ERR_NOMEM;
    const CapturedOutput output;
    EXPECT_EQ(sr_plugin_init_cb(scripted::session(), nullptr), SR_ERR_NOMEM);
    EXPECT_EQ(sysrepo().registrations.size(), failing - 1);
    EXPECT_EQ(sysrepo().unsubscribed.size(), failing == 1 ? 0U : 1U);
    const std::string own_line =
        "Failed to subscribe subtree change for /orv_bgp:router-bgp, error Out of memory\n";
    EXPECT_EQ(output.text(), (is_change ? own_line : "") +
                                 "Module 'orv_bgp' plugin initalization failed: Out of memory\n");
}

INSTANTIATE_TEST_SUITE_P(Registration, LifecycleFailure,
                         testing::Range<std::size_t>(1, std::size(expected_registrations) + 1));

TEST_F(Lifecycle, FailureIsTracedBehindTheOpeningText) {
    set_switches(1, 0);
    sysrepo().subscribe_fails_at = 2;
    sysrepo().subscribe_result = SR_ERR_INTERNAL;
    const CapturedOutput output;
    sr_plugin_init_cb(scripted::session(), nullptr);
    EXPECT_EQ(output.text(),
              "sysrepo bgp plugin INIT..."
              "Failed to subscribe subtree change for /orv_bgp:router-bgp, error Internal error\n"
              "Module 'orv_bgp' plugin initalization failed: Internal error\n");
}

TEST_F(Lifecycle, CleanUpUnsubscribesWhatTheHostPasses) {
    sr_plugin_cleanup_cb(scripted::session(), nullptr);
    EXPECT_EQ(sysrepo().unsubscribed, std::vector<void *>{nullptr});
}

} // namespace
