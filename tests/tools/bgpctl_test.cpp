// orv_bgpctl on a real datastore, with the real host and the reference daemon.
#include "datastore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using support::Datastore;
using support::element;
using support::Host;
using support::Outcome;
using support::Process;
using support::router_bgp;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

Outcome bgpctl(std::vector<std::string> arguments) {
    return support::run(BGPCTL, std::move(arguments));
}

std::string content_of(const std::string &file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string full() {
    return content_of(ORV_BGP_EXAMPLES "/full.xml");
}

std::string router_id(const std::string &address) {
    return router_bgp(element("bgp", element("router-id", address)));
}
std::string network(const std::string &prefix, const std::string &attributes = "") {
    return router_bgp(
        element("bgp-address-family",
                element("address-family",
                        element("afi", "AFI_IP") + element("safi", "SAFI_UNICAST") +
                            element("bgp-family-networks", "<family-network" + attributes + ">" +
                                                               element("prefix", prefix) +
                                                               "</family-network>"))));
}

// The reference daemon as a separate process.
class Daemon {
  public:
    explicit Daemon(const std::vector<std::string> &options = {}) : process_(BGP_CONFIGD, options) {
        read_until("listening");
    }

    void signal(int number) const { process_.signal(number); }
    void end(int number = SIGKILL) {
        process_.signal(number);
        process_.wait();
    }

    // The lines of the records since the previous call, without their answers.
    std::vector<std::string> records() {
        dump();
        std::vector<std::string> found;
        for (const std::string &line : lines_) {
            if (line.rfind("BGP_SUB_", 0) == 0) {
                found.push_back(line.substr(0, line.rfind(" -> ")));
            }
        }
        lines_.clear();
        return found;
    }
    // The configuration of the daemon.
    json dump() {
        process_.signal(SIGUSR1);
        return json::parse(read_until("{"));
    }
    // Waits for a line with this start, and returns it.
    std::string read_until(const std::string &start) {
        for (;;) {
            std::string line = process_.read_line();
            if (line.rfind(start, 0) == 0 || line.empty()) {
                return line;
            }
            lines_.push_back(line);
        }
    }

  private:
    Process process_;
    std::vector<std::string> lines_;
};

class Bgpctl : public testing::Test {
  protected:
    void edit(const std::string &xml) const {
        const Outcome outcome = datastore.start_edit(xml, 60)->finish();
        ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    }
    // Replaces the daemon with another one, without a configuration.
    void restart_daemon(const std::vector<std::string> &options = {}) {
        daemon->end();
        daemon.emplace(options);
    }
    void restart_host() {
        host->terminate();
        host.emplace(datastore);
    }

    Datastore datastore;
    std::optional<Daemon> daemon{std::in_place};
    std::optional<Host> host{std::in_place, datastore};
};

// --- Replay ---------------------------------------------------------------------------------

TEST_F(Bgpctl, ReplayGivesAnEmptyDaemonWhatTheDatastoreHolds) {
    edit(full());
    const json held = daemon->dump();
    const std::string configuration = datastore.configuration();
    const std::vector<std::string> records = daemon->records();
    restart_daemon();
    const Outcome outcome = bgpctl({"replay"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("\nrecords sent  "));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("BGP_SUB_BGP_AS +1\n"));
    EXPECT_EQ(daemon->dump(), held);
    EXPECT_EQ(datastore.configuration(), configuration);

    restart_host();
    edit(router_id("192.0.2.77"));
    EXPECT_EQ(daemon->dump()["bgp"]["router-id"], "192.0.2.77") << "edits go on";
}

TEST_F(Bgpctl, ReplayWithoutAnAsSendsNothing) {
    const Outcome nothing = bgpctl({"replay"});
    EXPECT_EQ(nothing.exit_code, 0) << nothing.output;
    EXPECT_THAT(nothing.output, testing::ContainsRegex("^records sent +0\n$"));
    host->terminate();
    edit(router_id("192.0.2.77"));
    const Outcome incomplete = bgpctl({"replay"});
    EXPECT_EQ(incomplete.exit_code, 1);
    EXPECT_THAT(incomplete.output, HasSubstr("has no AS number"));
    host.emplace(datastore);
}

TEST_F(Bgpctl, ReplaySetsOnlyAndWithReplaceDeletesWhatTheDatastoreLacks) {
    edit(full());
    const json held = daemon->dump();
    edit(network("198.18.0.0/15"));
    host->terminate();
    edit(network("198.18.0.0/15", R"( nc:operation="delete")"));
    EXPECT_EQ(bgpctl({"replay"}).exit_code, 0);
    EXPECT_NE(daemon->dump(), held) << "the network that no host deleted is still there";

    const Outcome unasked = bgpctl({"replay", "--replace"});
    EXPECT_EQ(unasked.exit_code, 1);
    EXPECT_THAT(unasked.output, AllOf(HasSubstr("sessions go down"), HasSubstr("--yes")));
    EXPECT_NE(daemon->dump(), held) << "nothing was sent";

    EXPECT_EQ(bgpctl({"replay", "--replace", "--yes"}).exit_code, 0);
    EXPECT_EQ(daemon->dump(), held);
    host.emplace(datastore);
}

TEST_F(Bgpctl, ReplayEndsAtARefusedRecordAndNamesIt) {
    edit(full());
    restart_daemon({"--fail", "redistribute=16"});
    const Outcome outcome = bgpctl({"replay"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("bgp-family-redistributes/family-redistribute[protocol="),
                      HasSubstr("refused it with code 16"), HasSubstr(": BGP_SUB_REDISTRIBUTE "),
                      HasSubstr("sent before"), testing::ContainsRegex("BGP_SUB_NETWORK +[1-9]")));
    EXPECT_THAT(outcome.output, Not(HasSubstr("VRF"))) << "nothing follows";
}

TEST_F(Bgpctl, EditDuringAReplayIsRefusedAndNotLost) {
    edit(full());
    const std::string configuration = datastore.configuration();
    restart_daemon({"--fault", "redistribute=silent"});
    restart_host();
    Process replay(BGPCTL, {"replay"});
    daemon->read_until("BGP_SUB_REDISTRIBUTE");
    const Outcome outcome = datastore.edit(router_id("192.0.2.77"));
    EXPECT_NE(outcome.exit_code, 0);
    EXPECT_EQ(datastore.configuration(), configuration);
    daemon->end();
    EXPECT_EQ(replay.finish().exit_code, 1);

    daemon.emplace();
    EXPECT_EQ(bgpctl({"replay"}).exit_code, 0);
    edit(router_id("192.0.2.77"));
    EXPECT_EQ(daemon->dump()["bgp"]["router-id"], "192.0.2.77");
}

// --- Preview ----------------------------------------------------------------------------------

// Deletions leave an entry without a setting behind, for which the plug-in has nothing to send.
TEST_F(Bgpctl, PreviewShowsWhatAReplaySendsAndSendsNothing) {
    edit(full());
    host->terminate();
    edit(router_bgp(element(
        "bgp", element("bgp-globle-neighbors",
                       element("globle-neighbor", element("neighbor-address", "10.2.0.9"))))));
    host.emplace(datastore);
    restart_daemon();
    const Outcome preview = bgpctl({"preview"});
    EXPECT_EQ(preview.exit_code, 0);
    EXPECT_EQ(daemon->records(), std::vector<std::string>{});
    EXPECT_EQ(bgpctl({"replay"}).exit_code, 0);
    std::string sent;
    for (const std::string &record : daemon->records()) {
        sent += record + "\n";
    }
    EXPECT_EQ(preview.output, sent);
}

TEST_F(Bgpctl, PreviewOfAnEditShowsItsRecordsOrWhyItWouldBeRefused) {
    edit(full());
    daemon->records();
    const std::string configuration = datastore.configuration();
    const std::string file = datastore.write("e.xml", router_id("192.0.2.77")).string();
    const Outcome preview = bgpctl({"preview", file});
    EXPECT_EQ(preview.exit_code, 0);
    EXPECT_EQ(preview.output, "BGP_SUB_ROUTER_ID bgp_globle_config op=set bgp_id=65001 "
                              "router_id=\"192.0.2.77\"\n");
    EXPECT_EQ(json::parse(bgpctl({"preview", "--json", file}).output)["fields"]["router_id"],
              "192.0.2.77");
    EXPECT_EQ(bgpctl({"preview", "--json"}).output.find("{\"module\":3,\"subMod\":1,"), 0U);

    const Outcome json_edit = bgpctl(
        {"preview", datastore.write("e.json", R"({"orv_bgp:router-bgp": {"as": 7}})").string()});
    EXPECT_EQ(json_edit.output, "BGP_SUB_BGP_AS bgp_as_val op=set as=7\n");

    const struct {
        std::string edit;
        const char *why;
    } refused[] = {
        {router_bgp("<as nc:operation=\"delete\"/>" +
                    element("bgp", element("router-id", "192.0.2.77"))),
         "no AS is configured"},
        {"<router-bgp xmlns=\"urn:orv:params:xml:ns:yang:orv_bgp\"><as>x</as></router-bgp>",
         "does not fit the module"},
        {"", "the edit is empty"},
    };
    for (const auto &row : refused) {
        const Outcome outcome = bgpctl({"preview", datastore.write("e.xml", row.edit).string()});
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_THAT(outcome.output, HasSubstr(row.why));
    }
    EXPECT_EQ(daemon->records(), std::vector<std::string>{});
    EXPECT_EQ(datastore.configuration(), configuration);
}

// --- Status -----------------------------------------------------------------------------------

TEST_F(Bgpctl, StatusIsWellBeforeAndAfterTheFirstEdit) {
    const Outcome before = bgpctl({"status"});
    EXPECT_EQ(before.exit_code, 0) << before.output;
    EXPECT_THAT(before.output,
                AllOf(HasSubstr("registrations  ok   9 of 9"),
                      HasSubstr("none yet: the first edit connects"),
                      HasSubstr("debug_bgp off, com_printf_flag off"), HasSubstr("bgp_configd (")));
    edit(full());
    bgpctl({"trace", "on"});
    EXPECT_THAT(bgpctl({"status"}).output,
                AllOf(HasSubstr("connection     ok   established"), HasSubstr("debug_bgp on")));
    const json object = json::parse(bgpctl({"status", "--json"}).output);
    EXPECT_EQ(object["ok"], true);
    EXPECT_EQ(object["checks"].size(), 7U);
}

TEST_F(Bgpctl, StatusSaysWhatToDo) {
    edit(full());
    const auto expect_bad = [](const char *what, const char *advice) {
        const Outcome outcome = bgpctl({"status"});
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_THAT(outcome.output,
                    testing::ContainsRegex(std::string(what) + " +BAD .*" + advice));
        const json object = json::parse(bgpctl({"status", "--json"}).output);
        EXPECT_EQ(object["ok"], false);
    };
    restart_daemon();
    expect_bad("connection", "restart sysrepo-plugind, then orv_bgpctl replay");
    EXPECT_NE(datastore.start_edit(router_bgp(element("as", "7")), 60)->finish().exit_code, 0);
    expect_bad("connection", "restart sysrepo-plugind, then orv_bgpctl replay");
    restart_host();
    daemon->end();
    expect_bad("daemon", "start the configuration daemon");
    host->terminate();
    expect_bad("host", "start sysrepo-plugind");
    expect_bad("registrations", "0 of 9");
    datastore.uninstall();
    expect_bad("module", "sysrepoctl --install");
    datastore.install(ORV_BGP_YANG);
    daemon.emplace();
    const auto waiting =
        std::make_unique<Process>(BGPCTL, std::vector<std::string>{"status", "--wait", "60"});
    host.emplace(datastore);
    EXPECT_EQ(waiting->finish().exit_code, 0);
}

// --- Trace ------------------------------------------------------------------------------------

class BgpctlTrace : public Bgpctl {
  protected:
    void SetUp() override {
        if (Host::is_sanitized()) {
            GTEST_SKIP() << "by design: a sanitized plug-in loads into the sanitized host alone";
        }
    }

    void edit_as(int as) const { edit(router_bgp(element("as", std::to_string(as)))); }

    static Outcome trace(std::vector<std::string> arguments, pid_t process) {
        arguments.insert(arguments.begin(), "trace");
        arguments.insert(arguments.end(), {"--pid", std::to_string(process)});
        return bgpctl(std::move(arguments));
    }

    // The output of the host until the text, which must come before the host ends.
    std::string printed_up_to(const std::string &text) {
        std::string output;
        while (output.find(text) == std::string::npos) {
            if (!host->process().read_more(output)) {
                ADD_FAILURE() << "not printed: " << text;
                break;
            }
        }
        return output;
    }

    pid_t pid = host->process().pid();
};

TEST_F(BgpctlTrace, LinesArePrintedAtOnceWhileASwitchIsOn) {
    edit_as(1);
    EXPECT_EQ(trace({"on"}, pid).exit_code, 0);
    edit_as(2);
    // The host has flushed the lines and still runs.
    EXPECT_THAT(printed_up_to("as:2 bgp_as.op:1"),
                AllOf(Not(HasSubstr("as:1 ")), Not(HasSubstr("sendAndGetResponseCode"))));
    EXPECT_EQ(trace({"on", "--transport"}, pid).exit_code, 0);
    edit_as(3);
    printed_up_to("sendAndGetResponseCode:res is 0");
    EXPECT_EQ(trace({"off"}, pid).exit_code, 0);
    edit_as(4);
    host->terminate();
    EXPECT_THAT(host->process().read_all(),
                AllOf(Not(HasSubstr("as:4 ")), Not(HasSubstr("sendAndGetResponseCode:res"))));
}

TEST_F(BgpctlTrace, StatusSaysWhatIsOn) {
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
        const Outcome outcome = trace(row.arguments, pid);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.output, process + "debug_bgp       " + row.debug + "\n" + process +
                                      "com_printf_flag " + row.transport + "\n");
    }
}

TEST_F(BgpctlTrace, ErrorsSayWhatIsWrong) {
    const auto expect_error = [](const Outcome &outcome, const char *why) {
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_THAT(outcome.output, HasSubstr(why));
    };
    EXPECT_NE(bgpctl({"trace", "on", "--pid"}).exit_code, 0);
    expect_error(trace({"on"}, 999999999), "there is no process 999999999");
    const Process other("sleep", {"1000"});
    expect_error(trace({"status"}, other.pid()), "has not loaded orv_bgp_plugin.so");

    // Another process that has loaded the plug-in.
    const auto plugin = datastore.directory() / "plugins/orv_bgp_plugin.so";
    const Process second("env", {"LD_PRELOAD=" + plugin.string(), "sleep", "1000"});
    while (trace({"status"}, second.pid()).exit_code != 0) {
    }
    expect_error(bgpctl({"trace", "status"}), "--pid");

    std::filesystem::remove(plugin);
    expect_error(trace({"on"}, pid), "restart the host");
}

// --- What cannot be done ------------------------------------------------------------------------

TEST_F(Bgpctl, SaysInOneSentenceWhatIsMissing) {
    const auto expect_failure = [](const std::vector<std::string> &arguments, const char *why) {
        const Outcome outcome = bgpctl(arguments);
        EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
        EXPECT_THAT(outcome.output, AllOf(testing::StartsWith("orv_bgpctl: "), HasSubstr(why)));
        EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1)
            << outcome.output;
    };
    const std::string missing = "/nowhere/orv_bgp_plugin.so";
    const std::string other = datastore.write("other.so", "no plug-in").string();
    std::string older = content_of(ORV_BGP_PLUGIN);
    const std::size_t version = older.find("@(#)orv_bgp_plugin ") + 19;
    older.replace(version, 1, "9");
    const std::string another = datastore.write("another.so", older).string();
    for (const char *command : {"replay", "preview"}) {
        expect_failure({command, "--plugin", missing}, "cannot be read");
        expect_failure({command, "--plugin", other}, "of version 0.1 or unknown");
        expect_failure({command, "--plugin", another}, "of version 9");
    }
    host->terminate();
    datastore.uninstall();
    expect_failure({"replay"}, "is not installed in sysrepo");
    expect_failure({"preview"}, "is not installed in sysrepo");
    daemon->end();
    expect_failure({"replay"}, "no configuration daemon listens on 127.0.0.1:8888");
    EXPECT_THAT(bgpctl({"status", "--plugin", missing}).output, HasSubstr("cannot be read"));
    datastore.install(ORV_BGP_YANG);
    host.emplace(datastore);
}

TEST(BgpctlProgram, RefusesACommandLineThatItDoesNotKnow) {
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{},
                                                      {"trace"},
                                                      {"trace", "on", "off"},
                                                      {"repair"},
                                                      {"preview", "/nowhere.xml"},
                                                      {"status", "--wait", "-1"}}) {
        EXPECT_NE(bgpctl(arguments).exit_code, 0);
    }
    EXPECT_EQ(bgpctl({"--version"}).output, "orv_bgpctl " ORV_BGP_VERSION "\n");
}

} // namespace
