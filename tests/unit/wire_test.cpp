#include "file_bytes.h"
#include "netconf_bgp_public.h"
#include "netconf_public.h"
#include "wire/tables.h"

#include <gtest/gtest.h>

#include <string>

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

TEST(Wire, TheHeadersMeanTheSameInC) {
    EXPECT_EQ(wire_c11_last_sub_module(), BGP_SUB_MAX);
    EXPECT_EQ(wire_c11_header_size(), sizeof(netconf_data_struc));
}

TEST(Wire, TablesOfTheDissectorAndOfTheDocumentAreThoseOfTheRecords) {
    const std::string root = SOURCE_DIRECTORY;
    const std::string document = configd::read_file(PROTOCOL_DOCUMENT);
    const std::string header =
        configd::read_file(root + "/Platform/CONFIG/netconf/plugin/netconf_bgp_public.h");
    EXPECT_TRUE(document == configd::wire::with_tables(document, header)) << "run make wire";
    EXPECT_TRUE(configd::read_file(root + "/tools/wireshark/orv_bgp_tables.lua") ==
                configd::wire::dissector_tables())
        << "run make wire";
}

} // namespace
