// The daemon holds what the datastore holds.
#include "daemon.h"
#include "daemon/client.h"
#include "datastore.h"
#include "log.h"
#include "memory_backend.h"
#include "server.h"
#include "soak/configuration.h"
#include "soak/session.h"
#include "state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace {

using soak::Configuration;
using support::Datastore;
using support::Host;

class HeldConfiguration : public testing::Test {
  protected:
    // What daemon and datastore hold of what the plug-in sends.
    Configuration held() const {
        return soak::told(soak::held_configuration(nlohmann::json(backend.configuration())));
    }
    static Configuration stored() {
        const soak::Session session;
        return soak::told(soak::stored_configuration(session.get()));
    }
    void expect_edit(const std::string &file, const std::string &format = "xml") {
        const auto outcome =
            support::run("sysrepocfg", {"--edit=" ORV_BGP_EXAMPLES "/" + file, "-m", "orv_bgp",
                                        "-f", format, "-d", "running"});
        EXPECT_EQ(outcome.exit_code, 0) << file << ": " << outcome.output;
    }
    void expect_deletion() {
        const auto outcome = datastore.edit(support::router_bgp("", " nc:operation=\"delete\""));
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    }

    Datastore datastore;
    std::ostringstream lines;
    configd::MemoryBackend backend{configd::load_state(ORV_BGP_EXAMPLES "/state.json")};
    configd::Log log{lines, configd::LogFormat::None};
    configd::Daemon daemon{backend, log};
    configd::Server server{daemon};
    RunningServer running{server};
    Host host{datastore};
};

TEST_F(HeldConfiguration, IsTheDatastoresAfterTheExampleEdits) {
    expect_edit("as.xml");
    EXPECT_EQ(held(), (Configuration{{"/as", "65001"}}));
    EXPECT_EQ(held(), stored());
    expect_edit("full.xml");
    EXPECT_EQ(held(), stored());
    EXPECT_GT(held().size(), 50U);
}

TEST_F(HeldConfiguration, IsTheDatastoresAfterARefusedEdit) {
    expect_edit("full.xml");
    const Configuration before = stored();
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
    EXPECT_EQ(held(), Configuration{});
    EXPECT_EQ(stored(), Configuration{});
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
        const Configuration from_xml = stored();
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
