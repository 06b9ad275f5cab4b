// The daemon holds what the datastore holds.
#include "daemon.h"
#include "datastore.h"
#include "log.h"
#include "memory_backend.h"
#include "server.h"
#include "state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using nlohmann::ordered_json;
using support::Datastore;
using support::Host;
using Leaves = std::map<std::string, std::string>;

const std::map<std::string, std::vector<std::string>> list_keys = {
    {"globle-neighbor", {"neighbor-address"}},
    {"address-family", {"afi", "safi"}},
    {"address-family-vrf", {"afi", "safi", "vrf-name"}},
    {"family-network", {"prefix"}},
    {"family-neighbor", {"neighbor-address"}},
    {"family-redistribute", {"protocol", "process"}},
    {"family-vrf-network", {"prefix"}},
    {"family-vrf-neighbor", {"neighbor-address"}},
    {"family-vrf-redistribute", {"protocol", "process"}},
};

std::string text_of(const ordered_json &value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// The leaves of the datastore's tree by their XPath, without list keys and, for a leaf
// without content, without a value.
void collect(const ordered_json &node, const std::string &path, Leaves &leaves) {
    for (const auto &[name, child] : node.items()) {
        const std::string step = path + "/" + name;
        if (child.is_object()) {
            collect(child, step, leaves);
        } else if (child.is_array() && child[0].is_null()) {
            leaves[step] = "true";
        } else if (child.is_array()) {
            for (ordered_json entry : child) {
                std::string keys;
                for (const std::string &key : list_keys.at(name)) {
                    keys += "[" + key + "='" + text_of(entry.at(key)) + "']";
                    entry.erase(key);
                }
                collect(entry, step + keys, leaves);
            }
        } else {
            leaves[step] = text_of(child);
        }
    }
}

// The same for the daemon's configuration, whose names already contain the keys.
void collect_held(const ordered_json &node, const std::string &path, Leaves &leaves) {
    for (const auto &[name, child] : node.items()) {
        const std::string step = path + "/" + name;
        if (child.is_object()) {
            collect_held(child, step, leaves);
        } else {
            leaves[step] = text_of(child);
        }
    }
}

class HeldConfiguration : public testing::Test {
  protected:
    ~HeldConfiguration() override {
        server.stop();
        serving.join();
    }

    Leaves held() {
        Leaves leaves;
        collect_held(backend.configuration(), "", leaves);
        return leaves;
    }
    Leaves stored() const {
        const auto outcome =
            support::run("sysrepocfg", {"-X", "-d", "running", "-f", "json", "-m", "orv_bgp"});
        const auto tree = ordered_json::parse(outcome.output);
        Leaves leaves;
        collect(tree.value("orv_bgp:router-bgp", ordered_json::object()), "", leaves);
        return leaves;
    }
    void expect_edit(const std::string &file, const std::string &format = "xml") {
        const auto outcome =
            support::run("sysrepocfg", {"--edit=" ORV_BGP_EXAMPLES "/" + file, "-m", "orv_bgp",
                                        "-f", format, "-d", "running"});
        EXPECT_EQ(outcome.exit_code, 0) << file << ": " << outcome.output;
    }
    void expect_deletion() {
        const auto outcome =
            datastore.edit(R"(<router-bgp xmlns="urn:orv:params:xml:ns:yang:orv_bgp")"
                           R"( xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0")"
                           R"( nc:operation="delete"/>)");
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    }

    Datastore datastore;
    std::ostringstream lines;
    configd::MemoryBackend backend{configd::load_state(ORV_BGP_EXAMPLES "/state.json")};
    configd::Log log{lines, configd::LogFormat::None};
    configd::Daemon daemon{backend, log};
    configd::Server server{daemon};
    std::thread serving{[this] { server.run(); }};
    Host host{datastore};
};

TEST_F(HeldConfiguration, IsTheDatastoresAfterTheExampleEdits) {
    expect_edit("as.xml");
    EXPECT_EQ(held(), (Leaves{{"/as", "65001"}}));
    EXPECT_EQ(held(), stored());
    expect_edit("full.xml");
    EXPECT_EQ(held().size(), stored().size());
    EXPECT_EQ(held(), stored());
    EXPECT_GT(held().size(), 50U);
}

TEST_F(HeldConfiguration, IsTheDatastoresAfterARefusedEdit) {
    expect_edit("full.xml");
    const Leaves before = stored();
    const auto outcome =
        support::run("sysrepocfg", {"--edit=" ORV_BGP_EXAMPLES "/refused.xml", "-m", "orv_bgp",
                                    "-f", "xml", "-d", "running"});
    EXPECT_NE(outcome.exit_code, 0);
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(held(), before);
}

TEST_F(HeldConfiguration, IsEmptyAfterEverythingWasDeleted) {
    expect_edit("full.xml");
    expect_deletion();
    EXPECT_EQ(held(), Leaves{});
    EXPECT_EQ(stored(), Leaves{});
}

// --- The examples of whole networks --------------------------------------------------

// A directory of examples: edits and RPCs, each as XML and as JSON.
class Example : public HeldConfiguration, public testing::WithParamInterface<const char *> {
  protected:
    // The examples' paths below the directory of all, without the extension.
    static std::vector<std::string> of_kind(bool calls) {
        std::vector<std::string> stems;
        const std::string directory = GetParam();
        for (const auto &file :
             std::filesystem::directory_iterator(ORV_BGP_EXAMPLES "/" + directory)) {
            const std::string stem = file.path().stem().string();
            if (file.path().extension() == ".xml" && (stem.rfind("rpc-", 0) == 0) == calls) {
                stems.push_back(directory + "/" + stem);
            }
        }
        EXPECT_FALSE(stems.empty()) << directory;
        std::sort(stems.begin(), stems.end());
        return stems;
    }
    static std::string called(const std::string &file, const std::string &format) {
        const auto outcome =
            support::run("sysrepocfg", {"--rpc=" ORV_BGP_EXAMPLES "/" + file + "." + format, "-m",
                                        "orv_bgp", "-f", format, "-t", "10"});
        EXPECT_EQ(outcome.exit_code, 0) << file << ": " << outcome.output;
        return outcome.output;
    }
};
INSTANTIATE_TEST_SUITE_P(Of, Example,
                         testing::Values("leaf-spine-evpn", "route-reflector", "two-vrfs"),
                         [](const auto &directory) {
                             std::string name = directory.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_P(Example, EditsReachTheDaemonWholeFromXmlAndFromJson) {
    for (const std::string &edit : of_kind(false)) {
        expect_edit(edit + ".xml");
        const Leaves from_xml = stored();
        EXPECT_GT(from_xml.size(), 10U);
        EXPECT_EQ(held(), from_xml);
        expect_deletion();
        expect_edit(edit + ".json", "json");
        EXPECT_EQ(stored(), from_xml);
        EXPECT_EQ(held(), from_xml);
        expect_deletion();
    }
}

TEST_P(Example, RpcsAreAnsweredFromXmlAndFromJson) {
    expect_edit(of_kind(false).front() + ".xml");
    for (const std::string &call : of_kind(true)) {
        const bool has_output = call.find("clear") == std::string::npos;
        EXPECT_EQ(called(call, "xml").find("</") != std::string::npos, has_output) << call;
        EXPECT_EQ(called(call, "json").find(": {") != std::string::npos, has_output) << call;
    }
}

} // namespace
