// orv_bgpctl trace: switches the plug-in's traces in the running host on and off.
#include "datastore.h"
#include "recording_daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using support::Datastore;
using support::Host;
using support::Outcome;
using support::RecordingDaemon;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

Outcome trace(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "trace");
    return support::run(BGPCTL, std::move(arguments));
}
Outcome trace(pid_t host, std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--pid", std::to_string(host)});
    return trace(std::move(arguments));
}

class TraceOnHost : public testing::Test {
  protected:
    void SetUp() override {
        if (Host::is_sanitized()) {
            GTEST_SKIP() << "by design: a sanitized plug-in loads into the sanitized host alone";
        }
    }

    void edit(int as) const {
        ASSERT_EQ(datastore
                      .edit("<router-bgp xmlns=\"urn:orv:params:xml:ns:yang:orv_bgp\"><as>" +
                            std::to_string(as) + "</as></router-bgp>")
                      .exit_code,
                  0);
    }

    // The output of the host until the text, which must come before the host ends.
    std::string printed_up_to(const std::string &text) {
        std::string output;
        while (output.find(text) == std::string::npos) {
            if (!host.process().read_more(output)) {
                ADD_FAILURE() << "not printed: " << text;
                break;
            }
        }
        return output;
    }

    Datastore datastore;
    RecordingDaemon daemon;
    Host host{datastore};
    pid_t pid = host.process().pid();
};

TEST_F(TraceOnHost, LinesArePrintedAtOnceWhileASwitchIsOn) {
    edit(1);
    EXPECT_EQ(trace(pid, {"on"}).exit_code, 0);
    edit(2);
    // The host has flushed the lines and still runs.
    EXPECT_THAT(printed_up_to("as:2 bgp_as.op:1"),
                AllOf(Not(HasSubstr("as:1 ")), Not(HasSubstr("sendAndGetResponseCode"))));
    EXPECT_EQ(trace(pid, {"on", "--transport"}).exit_code, 0);
    edit(3);
    printed_up_to("sendAndGetResponseCode:res is 0");
    EXPECT_EQ(trace(pid, {"off"}).exit_code, 0);
    edit(4);
    host.terminate();
    EXPECT_THAT(host.process().read_all(),
                AllOf(Not(HasSubstr("as:4 ")), Not(HasSubstr("sendAndGetResponseCode:res"))));
}

TEST_F(TraceOnHost, StatusSaysWhatIsOn) {
    const struct {
        std::vector<std::string> arguments;
        const char *debug;
        const char *transport;
    } rows[] = {
        {{"status"}, "off", "off"},          {{"on"}, "on", "off"},
        {{"on", "--transport"}, "on", "on"}, {{"off", "--transport"}, "on", "off"},
        {{"status"}, "on", "off"},           {{"off"}, "off", "off"},
    };
    const std::string process = "process " + std::to_string(pid) + ": ";
    for (const auto &row : rows) {
        const Outcome outcome = trace(pid, row.arguments);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.output, process + "debug_bgp       " + row.debug + "\n" + process +
                                      "com_printf_flag " + row.transport + "\n");
    }
}

TEST_F(TraceOnHost, ErrorsSayWhatIsWrong) {
    EXPECT_NE(trace({"on", "--pid"}).exit_code, 0);
    const Outcome none = trace(999999999, {"on"});
    EXPECT_EQ(none.exit_code, 1);
    EXPECT_THAT(none.output, HasSubstr("there is no process 999999999"));

    const support::Process other("sleep", {"1000"});
    const Outcome not_loaded = trace(other.pid(), {"status"});
    EXPECT_EQ(not_loaded.exit_code, 1);
    EXPECT_THAT(not_loaded.output, HasSubstr("has not loaded orv_bgp_plugin.so"));
}

TEST_F(TraceOnHost, SeveralProcessesAskForOneToBeNamed) {
    // Another process that has loaded the plug-in.
    const support::Process second(
        "env", {"LD_PRELOAD=" + (datastore.directory() / "plugins/orv_bgp_plugin.so").string(),
                "sleep", "1000"});
    while (trace(second.pid(), {"status"}).exit_code != 0) {
    }
    const Outcome several = trace({"status"});
    EXPECT_EQ(several.exit_code, 1);
    EXPECT_THAT(several.output, HasSubstr("--pid"));
}

TEST_F(TraceOnHost, PluginReplacedOnDiskAsksForARestart) {
    std::filesystem::remove(datastore.directory() / "plugins" / "orv_bgp_plugin.so");
    const Outcome outcome = trace(pid, {"on"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.output, HasSubstr("restart the host"));
}

} // namespace
