// The shared object, loaded at run time and used through its exports, on a
// scripted sysrepo. The messages that it sends and reads are compared byte by
// byte.
#include "recording_daemon.h"
#include "scripted_sysrepo.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using scripted::created;
using scripted::deleted;
using scripted::moved;
using scripted::sysrepo;

bool is_big_endian() {
    const std::uint16_t number = 1;
    char first = 0;
    std::memcpy(&first, &number, 1);
    return first == 0;
}

// --- Messages as bytes -----------------------------------------------------------

// The four bytes of a number in a message on a big-endian switch.
using Word = std::array<unsigned char, 4>;

std::string in_host_order(Word word) {
    if (!is_big_endian()) {
        std::reverse(word.begin(), word.end());
    }
    return {word.begin(), word.end()};
}

// Zeros with numbers and texts in them.
class Bytes {
  public:
    explicit Bytes(std::size_t size) : bytes_(size, '\0') {}
    Bytes &number(std::size_t offset, Word word) { return text(offset, in_host_order(word)); }
    Bytes &text(std::size_t offset, const std::string &content) {
        bytes_.replace(offset, content.size(), content);
        return *this;
    }
    operator const std::string &() const { return bytes_; }

  private:
    std::string bytes_;
};

// A message of this many bytes. Its module is always 3.
Bytes message(Word size, Word sub_mod) {
    const auto length = static_cast<std::size_t>(size[2] << 8 | size[3]);
    return Bytes(length).number(0, {0, 0, 0, 3}).number(4, sub_mod).number(12, size);
}

// A configuration record's message: operation and AS 65001 come first in all of them.
Bytes setting(Word size, Word sub_mod, Word operation = {0, 0, 0, 1}) {
    return message(size, sub_mod).number(16, operation).number(20, {0x00, 0x00, 0xfd, 0xe9});
}

// --- The shared object -------------------------------------------------------------

class SharedObject {
  public:
    SharedObject() : handle_(dlopen(ORV_BGP_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    SharedObject(const SharedObject &) = delete;
    SharedObject &operator=(const SharedObject &) = delete;
    ~SharedObject() { dlclose(handle_); }

    void *find(const char *name) const { return dlsym(handle_, name); }
    template <typename Function>
    Function *function(const char *name) const {
        return reinterpret_cast<Function *>(find(name));
    }

  private:
    void *handle_;
};

// The values of the exported variables right after loading. This must run before anything else in
// this program loads the plug-in, which stays in memory with its variables.
const std::vector<int> variables_at_load = [] {
    const SharedObject plugin;
    std::vector<int> values{
        static_cast<int>(*static_cast<std::uint32_t *>(plugin.find("g_bgp_id")))};
    for (const char *name : {"debug_bgp", "com_printf_flag", "bgp_nc", "netconf_plugin_context"}) {
        values.push_back(*static_cast<int *>(plugin.find(name)));
    }
    return values;
}();

TEST(SharedObject, SwitchesAndVariablesAreZeroAtLoad) {
    EXPECT_EQ(variables_at_load, std::vector<int>(5, 0));
}

// One daemon for all tests: the plug-in connects for its configuration once.
class GoldenMessage : public testing::Test {
  protected:
    static support::RecordingDaemon &daemon() {
        static support::RecordingDaemon one;
        return one;
    }

    GoldenMessage() {
        scripted::reset();
        const std::string as = "/orv_bgp:router-bgp/as";
        sysrepo().items.emplace(as, scripted::number(as, 65001));
        daemon().answer_otherwise(configd::ResultCode{0});
        auto *init = plugin.function<int(sr_session_ctx_t *, void **)>("sr_plugin_init_cb");
        EXPECT_EQ(init(scripted::session(), nullptr), SR_ERR_OK);
    }
    ~GoldenMessage() override {
        auto *handle = sysrepo().handle;
        plugin.function<void(sr_session_ctx_t *, void *)>("sr_plugin_cleanup_cb")(
            scripted::session(), handle);
        EXPECT_EQ(sysrepo().unsubscribed, std::vector<void *>{handle});
        EXPECT_EQ(sysrepo().values_open, 0U);
    }

    static const scripted::Registration &registration(const std::string &path) {
        for (const auto &made : sysrepo().registrations) {
            if (made.path == path) {
                return made;
            }
        }
        throw std::out_of_range(path);
    }

    static int edit(const char *subscription, const scripted::Change &change) {
        sysrepo().changes = {change};
        return registration(subscription)
            .change(scripted::session(), "orv_bgp", subscription, SR_EV_CHANGE, 1, nullptr);
    }

    // An RPC without input, or with one text. Returns the values as "XPath = content".
    static std::vector<std::string> call(const char *path, const std::string &leaf = "",
                                         std::string content = "") {
        std::string input_path = std::string(path) + "/" + leaf;
        sr_val_t input{};
        input.xpath = input_path.data();
        input.type = content.empty() ? SR_LEAF_EMPTY_T : SR_STRING_T;
        input.data.string_val = content.data();
        sr_val_t *output = nullptr;
        std::size_t count = 0;
        const bool has_input = !leaf.empty();
        EXPECT_EQ(registration(path).rpc(scripted::session(), path, has_input ? &input : nullptr,
                                         has_input ? 1 : 0, SR_EV_RPC, 1, &output, &count, nullptr),
                  SR_ERR_OK);
        std::vector<std::string> values;
        for (std::size_t i = 0; i < count; ++i) {
            values.push_back(output[i].xpath + (" = " + content_of(output[i])));
            free_content(output[i]);
        }
        std::free(output);
        return values;
    }

    // The one message received since the last call. The result value of a request
    // is undefined, so it is compared as zero.
    static std::string received() {
        const auto messages = daemon().take_messages();
        EXPECT_EQ(messages.size(), 1U);
        return messages.empty() ? "" : std::string(messages[0].bytes).replace(8, 4, 4, '\0');
    }

    const SharedObject plugin;

  private:
    static bool is_text(const sr_val_t &value) {
        return value.type == SR_STRING_T || value.type == SR_ENUM_T;
    }
    static std::string content_of(const sr_val_t &value) {
        return is_text(value)             ? value.data.string_val
               : value.type == SR_UINT8_T ? std::to_string(value.data.uint8_val)
                                          : std::to_string(value.data.uint32_val);
    }
    static void free_content(const sr_val_t &value) {
        std::free(value.xpath);
        if (is_text(value)) {
            std::free(value.data.string_val);
        }
    }
};

#ifdef BIG_ENDIAN_TARGET
TEST_F(GoldenMessage, TravelsInBigEndianOrderHere) {
    EXPECT_TRUE(is_big_endian());
}
#endif

TEST_F(GoldenMessage, ComesFromAnObjectThatExportsOnlyEntryPointsAndVariables) {
    for (const char *name : {"sr_plugin_init_cb", "sr_plugin_cleanup_cb", "g_bgp_id", "bgp_nc",
                             "debug_bgp", "com_printf_flag", "netconf_plugin_context", "buf"}) {
        EXPECT_NE(plugin.find(name), nullptr) << name;
    }
    for (const char *name : {"plugin_config", "bgp_config_as_change_cb", "reply_room"}) {
        EXPECT_EQ(plugin.find(name), nullptr) << name;
    }
}

// --- Configuration --------------------------------------------------------------------

constexpr const char *as_path = "/orv_bgp:router-bgp/as";
constexpr const char *globle_path = "/orv_bgp:router-bgp/bgp";
constexpr const char *family_path = "/orv_bgp:router-bgp/bgp-address-family/address-family";
constexpr const char *vrf_path = "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf";

std::string in_family(const std::string &node) {
    return family_path + ("[afi='AFI_IP'][safi='SAFI_UNICAST']/" + node);
}
std::string in_vrf(const std::string &node) {
    return vrf_path + ("[afi='AFI_IPV6'][safi='SAFI_VRF'][vrf-name='red']/" + node);
}
// The key of an address family inside another record.
Bytes &put_family(Bytes &&bytes) {
    return bytes.number(32, {0, 0, 0, 1}).number(36, {0, 0, 0, 1});
}
Bytes &put_vrf(Bytes &&bytes) {
    return bytes.number(32, {0, 0, 0, 2}).number(36, {0, 0, 0, 71}).text(40, "red");
}

struct Edit {
    const char *name;
    const char *subscription;
    scripted::Change change;
    std::string message;

    friend std::ostream &operator<<(std::ostream &out, const Edit &edit) {
        return out << edit.name;
    }
};

const Edit edits[] = {
    {"As", as_path, created(scripted::number(as_path, 65001)),
     setting({0, 0, 0, 24}, {0, 0, 0, 1})},
    {"DeletedAs", as_path, deleted(scripted::number(as_path, 65001)),
     setting({0, 0, 0, 24}, {0, 0, 0, 1}, {0, 0, 0, 0})},
    {"MovedAs", as_path, moved(scripted::number(as_path, 65001)),
     setting({0, 0, 0, 24}, {0, 0, 0, 1}, {0xff, 0xff, 0xff, 0xff})},
    {"RouterId", globle_path,
     created(scripted::text(std::string(globle_path) + "/router-id", "192.0.2.1")),
     setting({0, 0, 0, 60}, {0, 0, 0, 2}).text(24, "192.0.2.1")},
    {"GlobleNeighborMultihop", globle_path,
     created(scripted::number(std::string(globle_path) +
                                  "/bgp-globle-neighbors/globle-neighbor"
                                  "[neighbor-address='10.0.0.1']/ebgp-multihop",
                              255)),
     setting({0, 0, 0x01, 0xac}, {0, 0, 0, 5}).text(24, "10.0.0.1").number(424, {0, 0, 0, 255})},
    {"NetworkBackdoor", family_path,
     created(scripted::node(
         in_family("bgp-family-networks/family-network[prefix='10.1.0.0/16']/backdoor"),
         SR_LEAF_EMPTY_T)),
     put_family(setting({0, 0, 0x01, 0xa4}, {0, 0, 0, 7}))
         .text(108, "10.1.0.0/16")
         .number(416, {0, 0, 0, 1})},
    {"NeighborNextHopSelf", family_path,
     created(scripted::node(in_family("bgp-family-neighbors/family-neighbor"
                                      "[neighbor-address='10.0.0.1']/next-hop-self"),
                            SR_LEAF_EMPTY_T)),
     put_family(setting({0, 0, 0x02, 0x0c}, {0, 0, 0, 10}))
         .text(108, "10.0.0.1")
         .number(160, {0, 0, 0, 1})},
    {"RedistributeRouteMap", family_path,
     created(scripted::text(in_family("bgp-family-redistributes/family-redistribute"
                                      "[protocol='ospf'][process='7']/route-map"),
                            "map")),
     put_family(setting({0, 0, 0x01, 0x88}, {0, 0, 0, 8}))
         .text(108, "ospf")
         .text(119, "7")
         .text(135, "map")},
    {"Vrf", vrf_path, created(scripted::text(in_vrf("vrf-name"), "red")),
     setting({0, 0, 0, 100}, {0, 0, 0, 12})
         .number(24, {0, 0, 0, 2})
         .number(28, {0, 0, 0, 71})
         .text(32, "red")},
    {"VrfNeighborMultihop", vrf_path,
     created(scripted::number(in_vrf("bgp-family-vrf-neighbors/family-vrf-neighbor"
                                     "[neighbor-address='2001:db8::1']/ebgp-multihop"),
                              0x01020304)),
     put_vrf(setting({0, 0, 0x02, 0x0c}, {0, 0, 0, 16}))
         .text(108, "2001:db8::1")
         .number(516, {1, 2, 3, 4})},
};

class GoldenEdit : public GoldenMessage, public testing::WithParamInterface<Edit> {};

TEST_P(GoldenEdit, IsSentAsTheseBytes) {
    EXPECT_EQ(edit(GetParam().subscription, GetParam().change), SR_ERR_OK);
    EXPECT_EQ(received(), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(Messages, GoldenEdit, testing::ValuesIn(edits),
                         [](const auto &test) { return test.param.name; });

TEST_F(GoldenMessage, RefusalIsFourBytes) {
    daemon().answer_next(configd::RawBytes{in_host_order({0, 0, 0, 18}), false});
    EXPECT_EQ(edit(as_path, created(scripted::number(as_path, 65001))), 18);
    received();
}

// --- Queries ---------------------------------------------------------------------------

TEST_F(GoldenMessage, ClearQueryHasItsFlagBehindTheFamily) {
    daemon().answer_next(configd::RawBytes{message({0, 0, 0, 16}, {0, 0, 0, 22}), false});
    EXPECT_TRUE(call("/orv_bgp:clear-ip-bgp").empty());
    EXPECT_EQ(received(),
              std::string(message({0, 0, 0, 108}, {0, 0, 0, 22}).number(100, {0, 0, 0, 1})));
}

TEST_F(GoldenMessage, SummaryReplyIsReadAsTheseBytes) {
    daemon().answer_next(configd::RawBytes{message({0, 0, 0x01, 0x04}, {0, 0, 0, 21})
                                               .text(16, "65001")
                                               .text(37, "192.0.2.1")
                                               .number(84, {0, 0, 0x01, 0x02})
                                               .number(88, {0, 0, 0, 3})
                                               .number(92, {0, 0, 0, 4})
                                               .number(96, {0, 0, 0, 1})
                                               .text(100, "10.0.0.2")
                                               .text(147, "\4")
                                               .text(148, "65002")
                                               .number(172, {0, 0, 0, 5})
                                               .number(176, {0, 0, 0, 6})
                                               .number(180, {0, 0, 0, 7})
                                               .number(184, {0, 0, 0, 8})
                                               .number(188, {0xff, 0xff, 0xff, 0xff})
                                               .text(192, "01:02:03")
                                               .text(225, "Established"),
                                           false});
    const auto values = call("/orv_bgp:ip-bgp-summary", "vrf-name", "red");
    EXPECT_EQ(received(), std::string(message({0, 0, 0, 92}, {0, 0, 0, 21})
                                          .number(16, {0, 0, 0, 1})
                                          .text(20, "red")
                                          .number(88, {0, 0, 0, 1})));
    const std::string block = "/ip-bgp-summary/neighbors/";
    const std::string entry = block + "entry[neighbor='10.0.0.2']/";
    EXPECT_EQ(values,
              (std::vector<std::string>{
                  block + "as = 65001", block + "router-id = 192.0.2.1", block + "version = 258",
                  block + "as-path-number = 3", block + "community-number = 4",
                  block + "neighbor-number = 1", entry + "version = 4", entry + "AS = 65002",
                  entry + "msg-recvd = 5", entry + "msg-sent = 6", entry + "tblver = 7",
                  entry + "inq = 8", entry + "outq = 4294967295", entry + "up-down = 01:02:03",
                  entry + "state-pfxrcd = Established"}));
}

TEST_F(GoldenMessage, EvpnReplyIsReadAsTheseBytesWhereverANumberStarts) {
    // One distinguisher with one route and one next hop, nothing aligned.
    std::string payload = in_host_order({0, 0, 0, 7}) + in_host_order({0, 0, 0, 1});
    payload += std::string("rd\0", 3) + in_host_order({0, 0, 0, 1});
    payload += std::string("[2]\0\1\1\2\0\0", 9) + in_host_order({0, 0, 0, 1});
    payload += std::string("10.0.0.2\0", 9) + in_host_order({0x01, 0x02, 0x03, 0x04}) +
               in_host_order({0, 0, 0, 100}) + in_host_order({0, 0, 0x80, 0x00});
    payload += std::string("65002\0", 6);
    const auto length = static_cast<unsigned char>(16 + payload.size());
    daemon().answer_next(configd::RawBytes{Bytes(length)
                                               .number(0, {0, 0, 0, 3})
                                               .number(4, {0, 0, 0, 18})
                                               .number(12, {0, 0, 0, length})
                                               .text(16, payload),
                                           false});
    const auto values = call("/orv_bgp:ip-bgp-evpn", "get-all");
    EXPECT_EQ(
        received(),
        std::string(message({0, 0, 0, 100}, {0, 0, 0, 18}).number(16, {0xff, 0xff, 0xff, 0xff})));
    const std::string route = "/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher"
                              "[route-distinguisher='rd']/list-evpn-route-brief[evpn-route='[2]']/";
    const std::string next_hop = route + "list-nexthop-brief[nexthop-address='10.0.0.2']/";
    EXPECT_EQ(values,
              (std::vector<std::string>{route + "valid-flag = valid", route + "select-flag = best",
                                        route + "source-type = local",
                                        next_hop + "metric = 16909060", next_hop + "LocPrf = 100",
                                        next_hop + "Weight = 32768", next_hop + "path = 65002"}));
}

} // namespace
