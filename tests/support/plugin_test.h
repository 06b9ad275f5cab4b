// Shared by the unit tests of the plug-in: a clean plug-in and a clean scripted
// sysrepo before each test; after it, nothing of sysrepo may be left open.
#ifndef PLUGIN_TEST_H
#define PLUGIN_TEST_H

#include "bgp_plugin.h"
#include "captured_output.h"
#include "plugin_public.h"
#include "scripted_sysrepo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace support {

class PluginTest : public testing::Test {
  protected:
    PluginTest() {
        sr_plugin_cleanup_cb(scripted::session(), nullptr);
        scripted::reset();
        set_switches(0, 0);
        g_bgp_id = 0;
        bgp_nc = 0;
        if (netconf_plugin_context > 0) {
            plugin_close(netconf_plugin_context);
        }
        netconf_plugin_context = 0;
    }
    ~PluginTest() override {
        EXPECT_EQ(scripted::sysrepo().values_open, 0U) << "values not freed";
        EXPECT_EQ(scripted::sysrepo().iterators_open, 0U) << "iterators not freed";
        set_switches(0, 0);
    }

    static void set_switches(int debug, int trace) {
        debug_bgp = debug;
        com_printf_flag = trace;
    }

    // Registers the plug-in: sysrepo is its host from now on.
    static void host_plugin() {
        ASSERT_EQ(sr_plugin_init_cb(scripted::session(), nullptr), SR_ERR_OK);
        scripted::sysrepo().registrations.clear();
        sr_unsubscribe(scripted::sysrepo().handle);
        scripted::sysrepo().unsubscribed.clear();
    }

    // The AS number that the datastore holds; 0: none.
    static void configure_as(std::uint32_t as) {
        const std::string path = "/orv_bgp:router-bgp/as";
        scripted::sysrepo().items.erase(path);
        if (as != 0) {
            scripted::sysrepo().items.emplace(path, scripted::number(path, as));
        }
    }
};

// The bytes of a record as they are sent.
template <typename Record>
std::string bytes_of(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

// A record of zeros with a text in one of its fields.
template <typename Record>
Record zeroed() {
    Record record;
    std::memset(&record, 0, sizeof record);
    return record;
}
template <std::size_t size>
void put(char (&field)[size], const std::string &text) {
    std::memcpy(field, text.data(), text.size());
}

} // namespace support

#endif
