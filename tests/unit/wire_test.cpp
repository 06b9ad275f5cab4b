#include "netconf_bgp_public.h"
#include "netconf_public.h"

#include <gtest/gtest.h>

extern "C" {
int wire_c11_last_sub_module(void);
std::size_t wire_c11_header_size(void);
}

namespace {

// The headers assert the layouts. This checks the numbers in messages, and that C and
// C++ agree.

TEST(Wire, ModuleNumbers) {
    EXPECT_EQ(MODULE_ID_USER, 1);
    EXPECT_EQ(MODULE_ID_VLAN, 2);
    EXPECT_EQ(MODULE_ID_BGP, 3);
    EXPECT_EQ(MODULE_ID_STATIS, 4);
    EXPECT_EQ(MODULE_ID_VXLAN, 5);
    EXPECT_EQ(MODULE_ID_COMMON, 6);
    EXPECT_EQ(MODULE_ID_ROUTE, 7);
    EXPECT_EQ(MODULE_ID_ALL, 8);
}

TEST(Wire, OperationCodes) {
    EXPECT_EQ(GET, 1);
    EXPECT_EQ(GET_ALL, 2);
    EXPECT_EQ(GET_WITH_VALUE, 3);
    EXPECT_EQ(CLEAR_NVI, 4);
    EXPECT_EQ(CLEAR_NVE, 5);
}

TEST(Wire, ResultCodesContinueTheLibrarysNumbering) {
    EXPECT_EQ(SR_ERR_INVALID_VALUE, 16);
    EXPECT_EQ(SR_ERR_NO_EXISTS_CONFIG, 17);
    EXPECT_EQ(SR_ERR_CONFIG_FAILED, 18);
    EXPECT_EQ(SR_ERR_NOT_SUPPORT, 19);
    EXPECT_EQ(SR_ERR_SOCKET_FAILED, 20);
}

TEST(Wire, SubModuleCodesCountFromOneWithoutGaps) {
    const int codes[] = {BGP_SUB_BGP_AS,
                         BGP_SUB_ROUTER_ID,
                         BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS,
                         BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION,
                         BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP,
                         BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE,
                         BGP_SUB_NETWORK,
                         BGP_SUB_REDISTRIBUTE,
                         BGP_SUB_NEIGHBOR_ACTIVATE,
                         BGP_SUB_NEIGHBOR_NEXT_HOP_SELF,
                         BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET,
                         BGP_SUB_ADDRESS_FAMILY_VRF,
                         BGP_SUB_NEIGHBOR_VRF_REMOTE_AS,
                         BGP_SUB_NEIGHBOR_VRF_ACTIVATE,
                         BGP_SUB_NEIGHBOR_VRF_DESCRIPTION,
                         BGP_SUB_NEIGHBOR_VRF_MULTIHOP,
                         BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE,
                         BGP_SUB_RPC_IP_BGP_EVPN,
                         BGP_SUB_RPC_IP_BGP_INFO,
                         BGP_SUB_RPC_IP_BGP_NEIGHBOR,
                         BGP_SUB_RPC_IP_BGP_SUMMARY,
                         BGP_SUB_RPC_CLEAR_IP_BGP,
                         BGP_SUB_MAX};
    int expected = 1;
    for (const int code : codes) {
        EXPECT_EQ(code, expected++);
    }
    EXPECT_EQ(expected, 24);
}

TEST(Wire, TheHeadersMeanTheSameInC) {
    EXPECT_EQ(wire_c11_last_sub_module(), BGP_SUB_MAX);
    EXPECT_EQ(wire_c11_header_size(), sizeof(netconf_data_struc));
}

} // namespace
