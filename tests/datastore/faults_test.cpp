// Faults outside the plug-in, one row for each: what the client sees, what the plug-in prints, and
// what works afterwards. The tests use the real datastore, the real plug-in host with traces on,
// and either the reference daemon as a separate process (killed, restarted, frozen) or a daemon
// that answers as the row says.
//
// The unit tests show the failures that cannot be provoked from outside the host (no memory, no
// socket, missing arguments, changes without a value or a name).
//
// There is no row for a daemon that answers 15, the library's own code for "later". Whether the
// library calls the plug-in again before the client gives up depends on other events.
#include "datastore.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"
#include "sample_replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sysrepo.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using configd::Answer;
using configd::RawBytes;
using configd::Reply;
using configd::ResultCode;
using configd::Silence;
using support::bytes_of;
using support::Datastore;
using support::Host;
using support::Outcome;
using support::Process;
using support::RecordingDaemon;
using support::router_bgp;
using support::rpc;
using support::sample_queries;
using support::SampleQuery;
using support::set_as;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// --- What a row says ------------------------------------------------------------------

class Stage;
using Step = std::function<void(Stage &)>;
using Steps = std::vector<Step>;

// What the client asks for.
struct Request {
    enum Kind { edit, call, host_start };

    Kind kind;
    std::string xml;
    const SampleQuery *next = &sample_queries()[3]; // the next query
    int seconds = 60;                               // when the client gives up
};

enum class Seen { success, failure, time_out };
std::string word(const Request &request, Seen seen) {
    static const char *const words[][3] = {{"accepted", "refused", "gave up"},
                                           {"answered", "failed", "gave up"},
                                           {"started", "ended", "gave up"}};
    return words[request.kind][static_cast<int>(seen)];
}

// Whether later edits work. The plug-in does not open a broken connection again, so
// they fail until the host restarts.
enum class Edits { go_on, fail_until_the_host_restarts };

struct Fault {
    std::string name;
    Steps before; // the request
    Request request;
    Seen seen;
    std::vector<std::string> printed;         // by the plug-in, among other lines
    std::optional<std::size_t> messages = {}; // that the daemon received; nothing: any number
    Edits edits = Edits::go_on;
    Steps during = {};                   // while the request waits
    Steps after = {};                    // the client's end
    std::vector<std::string> shown = {}; // to the client
    std::string path = {};               // to the client, once, at the end of the reason
    std::size_t sockets_lost = 0; // that stay open in addition to the configuration connection
    bool loses_values = false;    // the output values written so far, on purpose

    Fault &breaks_edits() { return with(&Fault::edits, Edits::fail_until_the_host_restarts); }
    Fault &meanwhile(const Steps &steps) { return with(&Fault::during, steps); }
    Fault &then(const Steps &steps) { return with(&Fault::after, steps); }
    Fault &shows(const std::vector<std::string> &texts) { return with(&Fault::shown, texts); }
    Fault &names(const std::string &node) { return with(&Fault::path, node); }
    Fault &loses_a_socket() { return with(&Fault::sockets_lost, std::size_t{1}); }
    Fault &loses_the_values() { return with(&Fault::loses_values, true); }

    friend std::ostream &operator<<(std::ostream &stream, const Fault &fault) {
        return stream << fault.name;
    }

  private:
    template <typename Value>
    Fault &with(Value Fault::*member, const Value &value) {
        this->*member = value;
        return *this;
    }
};

Fault fault(const std::string &name, const Steps &before, const Request &request, Seen seen,
            const std::vector<std::string> &printed, std::optional<std::size_t> messages = {}) {
    return {name, before, request, seen, printed, messages};
}

// --- Where it happens -----------------------------------------------------------------

Answer good_answer(const configd::Message &message) {
    const auto &queries = sample_queries();
    const auto query = std::find_if(queries.begin(), queries.end(), [&](const SampleQuery &row) {
        return row.sub_mod == message.sub_mod;
    });
    if (query == queries.end()) {
        return ResultCode{0};
    }
    return Reply{message.module, message.sub_mod, 0, query->payload};
}

// Datastore, host, daemon and client of one row, and the output of host and daemon.
class Stage {
  public:
    void start_host(std::vector<std::string> preloads = {}) {
        preloads.emplace_back(TRACES_ON);
        host.emplace(datastore, preloads);
    }
    void kill_host() {
        host->process().signal(SIGKILL);
        EXPECT_EQ(host->process().wait(), -SIGKILL);
        listen();
        host.reset();
    }

    // The reference daemon, which gives good replies to queries.
    void start_daemon(std::vector<std::string> options = {}) {
        for (const SampleQuery &query : sample_queries()) {
            if (!query.payload.empty()) {
                const auto file = datastore.write(query.name, query.payload).string();
                options.push_back("--reply=" + std::to_string(query.sub_mod) + "=" + file);
            }
        }
        daemon = std::make_unique<Process>(BGP_CONFIGD, std::move(options));
        std::string first_line;
        wait(*daemon, first_line, "listening");
    }
    void kill_daemon() {
        daemon->signal(SIGKILL);
        EXPECT_EQ(daemon->wait(), -SIGKILL);
        listen();
    }

    // A daemon that answers as the row says.
    void start_script() {
        script.emplace();
        script->answer_otherwise(good_answer);
    }

    std::unique_ptr<Process> start_client(const Request &request) const {
        switch (request.kind) {
        case Request::edit:
            return datastore.start_edit(request.xml, request.seconds);
        case Request::call:
            return datastore.start_call(request.xml, request.seconds);
        default:
            return Host::start(datastore, {TRACES_ON});
        }
    }

    // Whether an edit without a time limit is accepted.
    bool edit(const std::string &xml) const {
        return datastore.start_edit(xml, 60)->finish().exit_code == 0;
    }

    // Reads the output of host and daemon since the previous call.
    void listen() {
        printed += host ? host->process().read_available() : "";
        told += daemon ? daemon->read_available() : "";
        for (const auto &message : script ? script->take_messages() : Messages{}) {
            told += configd::readable(message) + "\n";
        }
    }
    // Where the plug-in takes an earlier answer for that of a record, the record arrives a moment
    // after its edit.
    void wait_for_messages(std::size_t count) {
        for (listen(); script && messages() < count; listen()) {
            script->wait_for_messages(1);
        }
    }
    void forget() {
        listen();
        printed.clear();
        told.clear();
    }
    void wait_until_printed(const std::string &text) { wait(host->process(), printed, text); }
    void wait_until_told(const std::string &text) { wait(*daemon, told, text); }
    // Each message has a line in `told` that begins with the record's code.
    std::size_t messages() const {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = told.find("BGP_SUB_", at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    }

    Datastore datastore;
    std::unique_ptr<Process> daemon;
    std::optional<RecordingDaemon> script;
    std::optional<Host> host;
    std::string printed; // by the host
    std::string told;    // to the daemon

  private:
    using Messages = std::vector<configd::Message>;

    // Reads until the process prints `text` or ends.
    static void wait(Process &process, std::string &said, const std::string &text) {
        while (said.find(text) == std::string::npos && process.read_more(said)) {
        }
        ASSERT_THAT(said, HasSubstr(text));
    }
};

// --- Steps ------------------------------------------------------------------------------

Step daemon(const std::vector<std::string> &options = {}) {
    return [=](Stage &stage) { stage.start_daemon(options); };
}
Step signal_daemon(int number) {
    return [=](Stage &stage) { stage.daemon->signal(number); };
}
const Step daemon_killed = [](Stage &stage) { stage.kill_daemon(); };
const Step daemon_frozen = signal_daemon(SIGSTOP);
const Step daemon_resumed = signal_daemon(SIGCONT);
const Step script = [](Stage &stage) { stage.start_script(); };

Step edited(const std::string &xml) {
    return [=](Stage &stage) { ASSERT_TRUE(stage.edit(xml)); };
}
Step edit_failed(const std::string &xml) {
    return [=](Stage &stage) { ASSERT_FALSE(stage.edit(xml)); };
}
const Step configured = edited(set_as(65001));

RawBytes raw(std::string bytes) {
    return {std::move(bytes), true};
}

// The answers to the next messages.
Step answers(const std::vector<Answer> &list) {
    return [=](Stage &stage) {
        for (const auto &answer : list) {
            stage.script->answer_next(answer);
        }
    };
}
Steps scripted(const std::vector<Answer> &list) {
    return {script, configured, answers(list)};
}
Step called(const SampleQuery &query) {
    return [=](Stage &stage) { ASSERT_EQ(stage.datastore.call(query.call, 60).exit_code, 0); };
}
Step call_given_up(const SampleQuery &query) {
    return [=](Stage &stage) { ASSERT_NE(stage.datastore.call(query.call, 2).exit_code, 0); };
}

Step host(const std::vector<std::string> &preloads = {}) {
    return [=](Stage &stage) { stage.start_host(preloads); };
}
const Step host_killed = [](Stage &stage) { stage.kill_host(); };

Step printed(const std::string &text) {
    return [=](Stage &stage) { stage.wait_until_printed(text); };
}
Step told(const std::string &text) {
    return [=](Stage &stage) { stage.wait_until_told(text); };
}

const Step module_uninstalled = [](Stage &stage) { stage.datastore.uninstall(); };
const Step module_installed = [](Stage &stage) { stage.datastore.install(ORV_BGP_YANG); };
// The module with another name for one of the RPCs.
const Step other_module_installed = [](Stage &stage) {
    std::ifstream file(ORV_BGP_YANG);
    std::string yang{std::istreambuf_iterator<char>(file), {}};
    const std::string name = "rpc ip-bgp-summary";
    yang.replace(yang.find(name), name.size(), "rpc ip-bgp-overview");
    stage.datastore.install(stage.datastore.write("orv_bgp.yang", yang));
};

// --- The faults of edits ------------------------------------------------------------------

// The output of the plug-in when it has sent its record, and when no valid answer came.
constexpr const char *record_sent = "sendAndGetResponseCode:##send data OK";
constexpr const char *no_answer = "sendAndGetResponseCode:receive data failed";
constexpr const char *not_sent = "sendAndGetResponseCode:send data failed";
constexpr const char *not_connected = "connect fail.";
constexpr const char *edit_not_connected =
    "in plugin_send: socket connect failederror, parameter send error :-1";
constexpr const char *code_20 = "error, parameter receive error :20";

// What the client is told.
constexpr const char *not_reachable =
    "the configuration daemon is not reachable at 127.0.0.1:8888; start it and try again";

std::string answered(int code) {
    return "sendAndGetResponseCode:res is " + std::to_string(code) + "\n";
}
std::string refused(int code) {
    return "error, parameter receive error :" + std::to_string(code);
}

std::string globle_neighbor(const std::string &settings) {
    return router_bgp("<bgp><bgp-globle-neighbors><globle-neighbor>"
                      "<neighbor-address>192.0.2.11</neighbor-address>" +
                      settings + "</globle-neighbor></bgp-globle-neighbors></bgp>");
}
std::string family(const std::string &content) {
    return router_bgp("<bgp-address-family><address-family><afi>AFI_IP</afi>"
                      "<safi>SAFI_UNICAST</safi>" +
                      content + "</address-family></bgp-address-family>");
}
std::string vrf_family(const std::string &content) {
    return router_bgp("<bgp-address-family-vrf><address-family-vrf><afi>AFI_IP</afi>"
                      "<safi>SAFI_VRF</safi><vrf-name>red</vrf-name>" +
                      content + "</address-family-vrf></bgp-address-family-vrf>");
}
// A text of this many characters, each of two bytes.
std::string two_byte_text(int characters) {
    std::string text;
    for (int i = 0; i < characters; ++i) {
        text += "\u00e9";
    }
    return text;
}
// A hundred networks; the plug-in sends a record when it reaches the next one.
std::string hundred_networks(const std::string &more = "") {
    std::string networks;
    for (int i = 0; i < 100; ++i) {
        networks +=
            "<family-network><prefix>10.0." + std::to_string(i) + ".0/24</prefix></family-network>";
    }
    return family("<bgp-family-networks>" + networks + "</bgp-family-networks>" + more);
}
const std::string vrf_network = "<bgp-family-vrf-networks><family-vrf-network><prefix>10.1.0.0/16"
                                "</prefix></family-vrf-network></bgp-family-vrf-networks>";
const std::string router_id = router_bgp("<bgp><router-id>192.0.2.1</router-id></bgp>");

Request edit(const std::string &xml, int seconds = 60) {
    return {Request::edit, xml, &sample_queries()[3], seconds};
}
const Request as_edit = edit(set_as(65002));
const std::string three_bytes(3, '\0');

// Accepts this many messages and answers the next one differently.
Steps scripted_after(std::size_t accepted, const Answer &answer) {
    std::vector<Answer> list(accepted, ResultCode{0});
    list.push_back(answer);
    return scripted(list);
}
std::string raw_codes(const std::vector<std::int32_t> &codes) {
    std::string bytes;
    for (const std::int32_t code : codes) {
        bytes += bytes_of(code);
    }
    return bytes;
}

std::vector<Fault> edit_faults() {
    std::vector<Fault> faults = {
        // The connection. The socket of a failed connect stays open.
        fault("Edit_without_a_daemon", {}, edit(set_as(65001)), Seen::failure,
              {not_connected, edit_not_connected}, 0)
            .then({daemon()})
            .loses_a_socket()
            .shows({not_reachable})
            .names("/orv_bgp:router-bgp/as"),
        fault("Edit_after_the_daemon_was_killed", {daemon(), configured, daemon_killed}, as_edit,
              Seen::failure, {no_answer, code_20}, 0)
            .breaks_edits()
            .then({daemon()})
            .shows({"the configuration daemon has closed the connection"}),
        fault("Second_edit_after_the_daemon_was_killed",
              {daemon(), configured, daemon_killed, edit_failed(set_as(65002))}, as_edit,
              Seen::failure, {not_sent, code_20}, 0)
            .breaks_edits()
            .then({daemon()})
            .shows({"restart the plug-in host"}),
        fault("Edit_after_the_daemon_was_restarted",
              {daemon(), configured, daemon_killed, daemon()}, as_edit, Seen::failure,
              {no_answer, code_20}, 0)
            .breaks_edits(),
        fault("Edit_of_a_hundred_records_whose_daemon_is_killed_on_the_way",
              {daemon({"--fault=redistribute=silent"}), configured},
              edit(hundred_networks(
                  "<bgp-family-redistributes><family-redistribute><protocol>ospf</protocol>"
                  "<process>1</process></family-redistribute></bgp-family-redistributes>")),
              Seen::failure, {no_answer, code_20}, 101)
            .breaks_edits()
            .meanwhile({told("-> no answer"), daemon_killed})
            .then({daemon()}),
        fault("Edit_of_a_frozen_daemon_that_is_resumed", {daemon(), configured, daemon_frozen},
              as_edit, Seen::success, {record_sent, answered(0)}, 1)
            .meanwhile({printed(record_sent), daemon_resumed}),
        fault("Edit_of_a_frozen_daemon_that_is_killed", {daemon(), configured, daemon_frozen},
              as_edit, Seen::failure, {no_answer, code_20}, 0)
            .breaks_edits()
            .meanwhile({printed(record_sent), daemon_killed})
            .then({daemon()}),
        fault("Edit_that_is_answered_too_late", {daemon(), configured, daemon_frozen},
              edit(set_as(65002), 2), Seen::time_out, {record_sent, answered(0)}, 1)
            .then({daemon_resumed, printed(answered(0))}),
        fault("Edit_behind_a_query_that_is_answered_too_late",
              {daemon(), configured, daemon_frozen, call_given_up(sample_queries()[3])},
              edit(set_as(65002)), Seen::success, {"[ip_bgp_summary_cb]rc = 0", answered(0)})
            .meanwhile({daemon_resumed}),

        // Answers other than a result code.
        fault("Edit_answered_by_the_end_of_the_connection", scripted({raw("")}), as_edit,
              Seen::failure, {no_answer, code_20}, 1)
            .breaks_edits(),
        fault("Edit_answered_by_three_bytes_and_the_end_of_the_connection",
              scripted({raw(three_bytes)}), as_edit, Seen::failure, {no_answer, code_20}, 1)
            .breaks_edits(),
        fault("Edit_answered_by_three_bytes", scripted({RawBytes{three_bytes, false}}), as_edit,
              Seen::failure, {no_answer, code_20}, 1),
        // The plug-in uses the answer to the first record for the second, too.
        fault("Edit_answered_by_two_result_codes_at_once",
              scripted({RawBytes{raw_codes({0, SR_ERR_CONFIG_FAILED}), false}}),
              edit(globle_neighbor("<remote-as>64496</remote-as><description>A</description>")),
              Seen::failure,
              {answered(0), answered(SR_ERR_CONFIG_FAILED), refused(SR_ERR_CONFIG_FAILED)}, 2),

        // A refusal in the middle of an edit, and at its end.
        fault("Edit_of_a_hundred_records_refused_at_the_sixtieth",
              scripted_after(59, ResultCode{SR_ERR_NO_EXISTS_CONFIG}), edit(hundred_networks()),
              Seen::failure, {refused(SR_ERR_NO_EXISTS_CONFIG), "change cfg for bgp from xpath:"},
              60),
        fault("Edit_of_a_hundred_records_refused_at_the_last",
              scripted_after(99, ResultCode{SR_ERR_NO_EXISTS_CONFIG}), edit(hundred_networks()),
              Seen::failure, {refused(SR_ERR_NO_EXISTS_CONFIG), "change cfg for bgp failed:"}, 100)
            .shows({"the configuration daemon refused it with code 17, \"configuration does not "
                    "exist\""})
            .names("family-network[prefix='10.0.99.0/24']/prefix"),
        // The code 5 ends the walk like the end of the changes.
        fault("Edit_of_a_hundred_records_whose_sixtieth_is_answered_by_5",
              scripted_after(59, ResultCode{SR_ERR_NOT_FOUND}), edit(hundred_networks()),
              Seen::success, {refused(SR_ERR_NOT_FOUND), "address family change config over"}, 60),
        fault("AS_answered_by_5", scripted({ResultCode{SR_ERR_NOT_FOUND}}), as_edit, Seen::success,
              {refused(SR_ERR_NOT_FOUND), "bgp-id change config over"}, 1),
        fault("Router_identifier_refused", scripted({ResultCode{SR_ERR_INVALID_VALUE}}),
              edit(router_id), Seen::failure,
              {refused(SR_ERR_INVALID_VALUE),
               "change cfg for bgp from xpath:/orv_bgp:router-bgp/bgp/router-id"},
              1)
            .names("/orv_bgp:router-bgp/bgp/router-id"),
        fault("Second_setting_of_a_neighbor_refused",
              scripted_after(1, ResultCode{SR_ERR_INVALID_VALUE}),
              edit(globle_neighbor("<remote-as>64496</remote-as><description>A</description>"
                                   "<ebgp-multihop>2</ebgp-multihop>")),
              Seen::failure, {refused(SR_ERR_INVALID_VALUE), "change cfg for bgp from xpath:"}, 2)
            .shows({"the configuration daemon refused it with code 16, \"invalid value\""})
            .names("globle-neighbor[neighbor-address='192.0.2.11']/description"),
        fault("VRF_refused", scripted({ResultCode{SR_ERR_NOT_SUPPORT}}),
              edit(vrf_family(vrf_network)), Seen::failure,
              {refused(SR_ERR_NOT_SUPPORT), "change cfg for bgp from xpath:"}, 1)
            .shows({"the configuration daemon refused it with code 19, \"not supported\""}),
        fault("Network_of_a_VRF_refused", scripted_after(1, ResultCode{SR_ERR_NOT_SUPPORT}),
              edit(vrf_family(vrf_network)), Seen::failure,
              {refused(SR_ERR_NOT_SUPPORT), "change cfg for bgp failed:"}, 2),

        // Edits that the plug-in refuses itself.
        fault("Deletion_without_an_AS",
              {script, configured, edited(router_id),
               edited(router_bgp("<as nc:operation=\"delete\"/>"))},
              edit(router_bgp("<bgp><router-id nc:operation=\"delete\"/></bgp>")), Seen::success,
              {"[bgp_config_globle_bgp_change_cb][694]as not exist!"}, 0),
        fault("Description_that_is_too_long", scripted({}), // in bytes; the model counts characters
              edit(globle_neighbor("<description>" + two_byte_text(80) + "</description>")),
              Seen::failure, {}, 0)
            .shows({"value of description is 160 bytes long, the limit is 81; shorten it"}),
        fault("Neighbor_without_a_setting", scripted({}), edit(globle_neighbor("")), Seen::failure,
              {"[bgp_config_globle_bgp_change_cb][668]not found!", "change cfg for bgp failed:"},
              0),
    };
    for (const std::int32_t code : {1, 4, 7, 10, 14, 16, 17, 18, 19, 20, 2147483647}) {
        faults.push_back(fault("AS_refused_with_" + std::to_string(code),
                               scripted({ResultCode{code}}), as_edit, Seen::failure,
                               {answered(code), refused(code)}, 1));
    }
    const std::pair<const char *, std::string> settings[] = {
        {"Router_identifier", router_id}, {"Address_family", family("")}, {"VRF", vrf_family("")}};
    for (const auto &[name, xml] : settings) {
        faults.push_back(
            fault(std::string(name) + "_without_an_AS", {script}, edit(xml), Seen::failure,
                  {" error, as not exist!"}, 0)
                .shows({"no AS is configured; configure /orv_bgp:router-bgp/as first"}));
    }
    return faults;
}

// --- The faults of queries ------------------------------------------------------------------

constexpr const char *query_sent = "sendAndGetReplyBuff:##send data OK";
constexpr const char *query_waits = "[sendAndGetReplyBuff:150]begin readLen = 0";
constexpr const char *no_reply = "get reply buff error!";

Request call(const SampleQuery &query, int seconds = 60) {
    return {Request::call, query.call, &query, seconds};
}

// A message with any dataLen.
std::string message(std::int32_t sub_mod, std::int32_t length, const std::string &payload) {
    return raw_codes({MODULE_ID_BGP, sub_mod, 0, length}) + payload;
}
std::int32_t length_of(const std::string &payload) {
    return static_cast<std::int32_t>(sizeof(netconf_data_struc) + payload.size());
}
// The neighbors' reply with another address family.
std::string neighbors_of(std::uint32_t afi, std::uint32_t safi) {
    std::string payload = support::neighbor_payload();
    const std::size_t family_at =
        sizeof(std::uint32_t) + sizeof(bgp_rpc_ip_bgp_neighbor_output_neighbor) +
        offsetof(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, address_family);
    std::memcpy(&payload[family_at + offsetof(address_family_val, afi)], &afi, sizeof afi);
    std::memcpy(&payload[family_at + offsetof(address_family_val, safi)], &safi, sizeof safi);
    return payload;
}

std::string replaced(std::string text, char from, char to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

// The faults of each query.
void add_faults(std::vector<Fault> &faults, const SampleQuery &query) {
    const std::string name = replaced(query.name, '-', '_');
    const bool has_parser = !query.payload.empty();
    const auto reply = [&](std::int32_t module, std::int32_t sub_mod, const std::string &payload) {
        return scripted({Reply{module, sub_mod, 0, payload}});
    };
    const auto add = [&](const std::string &what, const Steps &before, Seen seen,
                         const std::vector<std::string> &lines,
                         std::size_t messages = 1) -> Fault & {
        faults.push_back(fault(name + what, before, call(query), seen, lines, messages));
        return faults.back();
    };
    add("_answered_by_the_end_of_the_connection", scripted({raw("")}), Seen::failure,
        {"read over,total = 0.", "total = 0\n", no_reply})
        .shows({"the configuration daemon gave no reply (nothing came)"})
        .names("/orv_bgp:" + query.name);
    add("_answered_for_another_module", reply(MODULE_ID_VLAN, query.sub_mod, query.payload),
        Seen::failure, {"module is 2,", "The data is not statis!", no_reply});
    add("_answered_by_a_result_code", scripted({ResultCode{SR_ERR_INVALID_VALUE}}), Seen::failure,
        {"module is 16,", "The data is not statis!", no_reply});
    add("_with_a_result_in_its_reply",
        scripted({Reply{MODULE_ID_BGP, query.sub_mod, 18, query.payload}}), Seen::success,
        {"resValue is 18,"});
    const auto other = query.sub_mod == 18 ? 19 : 18;
    if (!has_parser) {
        add("_answered_by_the_reply_to_another_query", reply(MODULE_ID_BGP, other, query.payload),
            Seen::success, {"module is 3,"});
        return;
    }
    add("_answered_by_the_reply_to_another_query", reply(MODULE_ID_BGP, other, query.payload),
        Seen::failure, {"output data is not bgp and ip bgp ", "rc = -1"});
    // Without an array the parser still reads the routes.
    const bool goes_on = query.sub_mod == BGP_SUB_RPC_IP_BGP_EVPN;
    std::string counts = query.payload;
    counts.replace(0, goes_on ? 4 : counts.size(), goes_on ? 4 : counts.size(), '\xff');
    Fault &refused_reply =
        add("_with_counts_that_cannot_be", reply(MODULE_ID_BGP, query.sub_mod, counts),
            goes_on ? Seen::success : Seen::failure,
            {"realloc failed", goes_on ? "rc = 0" : "rc = -1"});
    if (!goes_on) {
        refused_reply.shows({"its counts exceed the reply"});
    }
    // The socket of a failed connect stays open.
    add("_without_a_daemon", {}, Seen::failure,
        {not_connected, "error, parameter send error :-1", no_reply}, 0)
        .then({daemon()})
        .loses_a_socket()
        .shows({not_reachable});
}

std::vector<Fault> query_faults() {
    const SampleQuery &evpn = sample_queries()[0];
    const SampleQuery &neighbor = sample_queries()[2];
    const SampleQuery &summary = sample_queries()[3];
    const SampleQuery &clear = sample_queries()[4];
    const auto payload = support::summary_payload(2);
    const auto good = message(summary.sub_mod, length_of(payload), payload);
    constexpr std::size_t entry_size = sizeof(bgp_rpc_ip_bgp_summary_output_entry);
    const std::string good_read = "total = " + std::to_string(length_of(summary.payload)) + "\n";
    const Answer silence = Silence{};

    std::vector<Fault> faults;
    for (const SampleQuery &query : sample_queries()) {
        add_faults(faults, query);
    }
    const std::vector<Fault> others = {
        // The connection.
        fault("Query_after_the_daemon_was_restarted",
              {daemon(), configured, daemon_killed, daemon()}, call(summary), Seen::success,
              {query_sent}, 1)
            .breaks_edits()
            .shows({summary.shown}),
        fault("Query_of_a_frozen_daemon_that_is_resumed", {daemon(), configured, daemon_frozen},
              call(summary), Seen::success, {query_sent}, 1)
            .meanwhile({printed(query_waits), daemon_resumed})
            .shows({summary.shown}),
        fault("Query_of_a_frozen_daemon_that_is_killed", {daemon(), configured, daemon_frozen},
              call(summary), Seen::failure, {"read data err,readLen = -1!", no_reply}, 0)
            .breaks_edits()
            .meanwhile({printed(query_waits), daemon_killed})
            .then({daemon()}),
        fault("Query_that_is_answered_too_late", {daemon(), configured, daemon_frozen},
              call(summary, 2), Seen::time_out, {"[ip_bgp_summary_cb]rc = 0"}, 1)
            .then({daemon_resumed, printed("[ip_bgp_summary_cb]rc = 0")}),

        // A missing reply, with the wait of a minute shortened.
        fault("Query_that_is_never_answered",
              {host_killed, host({SHORT_WAIT}), script, configured, answers({silence})},
              call(summary), Seen::failure, {"total = 0\n", no_reply}, 1),
        fault("Query_that_is_never_answered_after_one_that_was",
              {host_killed, host({SHORT_WAIT}), script, configured, called(summary),
               answers({silence})},
              call(summary), Seen::success, {good_read}, 1)
            .shows({summary.shown}),
        fault("Query_that_is_never_answered_after_another_query",
              {host_killed, host({SHORT_WAIT}), script, configured, called(summary),
               answers({silence})},
              call(evpn), Seen::failure,
              {good_read, "output data is not bgp and ip bgp evpn data!"}, 1),

        // Too much and too little.
        fault("Reply_that_is_too_long",
              scripted({raw(message(summary.sub_mod, BUF_SIZE_MAX + 1, payload))}), call(summary),
              Seen::failure, {"data length exceed BUF_SIZE_MAX", no_reply}, 1),
        fault("Reply_with_bytes_behind_its_end", scripted({raw(good + std::string(1000, '\xff'))}),
              call(summary), Seen::success, {}, 1)
            .shows({"<neighbor>10.0.0.1</neighbor>"}),
        // The missing bytes are zero.
        fault("Reply_that_ends_in_its_second_entry",
              scripted({raw(good.substr(0, good.size() - entry_size))}), call(summary),
              Seen::success, {good_read}, 1)
            .shows({"<neighbor/>"}),
        fault("Reply_that_ends_in_its_header", scripted({raw(good.substr(0, 8))}), call(summary),
              Seen::success, {"total = 8\n"}, 1),

        fault("Summary_without_neighbors",
              scripted({Reply{MODULE_ID_BGP, summary.sub_mod, 0, support::summary_payload(0)}}),
              call(summary), Seen::success,
              {"neighbor_number     :0\n", "[ip_bgp_summary_cb]rc = 0\n"}, 1),

        // Replies that a parser refuses.
        fault("Neighbors_with_an_unknown_AFI",
              scripted({Reply{MODULE_ID_BGP, neighbor.sub_mod, 0, neighbors_of(4, 1)}}),
              call(neighbor), Seen::failure, {"afi is NULL!", "[ip_bgp_neighbor_cb]rc = 1\n"}, 1)
            .loses_the_values(),
        fault("Neighbors_with_an_unknown_SAFI",
              scripted({Reply{MODULE_ID_BGP, neighbor.sub_mod, 0, neighbors_of(1, 3)}}),
              call(neighbor), Seen::failure, {"safi is NULL!", "[ip_bgp_neighbor_cb]rc = 1\n"}, 1)
            .loses_the_values(),

        // RPCs that send no query.
        fault("EVPN_query_without_input", scripted({}), {Request::call, rpc("ip-bgp-evpn"), &evpn},
              Seen::failure, {"inval arg!"}, 0),
        fault("Clear_without_an_AS", {script}, call(clear), Seen::success, {}, 0),
    };
    faults.insert(faults.end(), others.begin(), others.end());
    return faults;
}

// --- The faults of the host -------------------------------------------------------------------

std::vector<Fault> host_faults() {
    const SampleQuery &summary = sample_queries()[3];
    const Request start{Request::host_start, ""};
    constexpr const char *init_failed = "Module 'orv_bgp' plugin initalization failed: ";
    constexpr const char *subscribe_failed =
        "Failed to subscribe subtree change for /orv_bgp:router-bgp, error ";
    return {
        fault("Edit_whose_host_is_killed", {daemon(), configured, daemon_frozen},
              edit(set_as(65002), 3), Seen::time_out, {record_sent})
            .meanwhile({printed(record_sent), host_killed})
            .then({daemon_resumed, host()}),
        fault("Edit_of_a_hundred_records_whose_host_is_killed",
              {daemon({"--fault=redistribute=silent"}), configured},
              edit(hundred_networks(
                       "<bgp-family-redistributes><family-redistribute><protocol>ospf</protocol>"
                       "<process>1</process></family-redistribute></bgp-family-redistributes>"),
                   3),
              Seen::time_out, {record_sent}, 101)
            .meanwhile({told("-> no answer"), host_killed})
            .then({host()}),
        fault("Query_whose_host_is_killed", {daemon(), configured, daemon_frozen}, call(summary, 3),
              Seen::time_out, {query_sent})
            .meanwhile({printed(query_waits), host_killed})
            .then({daemon_resumed, host()}),
        // The datastore has no subscriber and accepts the edit; the daemon gets nothing.
        fault("Edit_without_a_host", {daemon(), configured, host_killed}, as_edit, Seen::success,
              {}, 0)
            .then({host()}),
        fault("Query_without_a_host", {daemon(), configured, host_killed}, call(summary),
              Seen::failure, {}, 0)
            .then({host()}),
        fault("Edit_after_the_host_was_killed_and_restarted",
              {daemon(), configured, host_killed, host()}, as_edit, Seen::success,
              {"connect successfully.", answered(0)}, 1),
        fault("Host_start_without_the_module", {host_killed, module_uninstalled}, start,
              Seen::failure, {subscribe_failed, init_failed})
            .then({module_installed, host(), daemon()}),
        fault("Host_start_with_a_module_that_lacks_an_RPC",
              {host_killed, module_uninstalled, other_module_installed}, start, Seen::failure,
              {init_failed})
            .then({module_uninstalled, module_installed, host(), daemon()}),
    };
}

std::vector<Fault> all_faults() {
    std::vector<Fault> faults = edit_faults();
    for (const auto &more : {query_faults(), host_faults()}) {
        faults.insert(faults.end(), more.begin(), more.end());
    }
    return faults;
}

// --- The table that is printed ----------------------------------------------------------------

std::string row(const std::string &fault, const std::string &seen, const std::string &survived) {
    std::ostringstream line;
    line << std::left << std::setw(62) << fault << std::setw(12) << seen << survived << '\n';
    return line.str();
}

// --- The test -----------------------------------------------------------------------------------

class Faults : public testing::TestWithParam<Fault> {
  public:
    static void TearDownTestSuite() {
        std::cout << table;
        table.clear();
    }

  protected:
    void SetUp() override { stage.start_host(); }

    void take(const Steps &steps) {
        for (const Step &step : steps) {
            step(stage);
            if (HasFatalFailure()) {
                return;
            }
        }
    }

    static Seen seen_by(const Outcome &client) {
        if (client.exit_code == 0) {
            return Seen::success;
        }
        const bool timed_out = client.output.find("timed out") != std::string::npos;
        return timed_out ? Seen::time_out : Seen::failure;
    }

    // Makes the request with the steps during and after it. The data change if, and
    // only if, an edit is accepted.
    Outcome play(const Fault &fault) {
        const bool has_data = fault.request.kind != Request::host_start;
        const std::string before = has_data ? stage.datastore.configuration() : "";
        const auto client = stage.start_client(fault.request);
        take(fault.during);
        Outcome outcome = client->finish();
        const bool is_changed = has_data && stage.datastore.configuration() != before;
        take(fault.after);
        stage.listen();
        if (fault.request.kind == Request::host_start) {
            stage.printed = outcome.output;
        }
        EXPECT_EQ(is_changed,
                  fault.request.kind == Request::edit && seen_by(outcome) == Seen::success);
        return outcome;
    }

    // The next query is answered as usual.
    bool next_query_is_answered(const SampleQuery &query) const {
        const Outcome outcome = stage.datastore.call(query.call, 60);
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
        EXPECT_THAT(outcome.output, HasSubstr(query.shown));
        return outcome.exit_code == 0;
    }

    // The next edit reaches datastore and daemon, or neither.
    bool next_edit_is_made() {
        stage.forget();
        const std::string before = stage.datastore.configuration();
        const bool is_made = stage.edit(set_as(65099));
        stage.wait_for_messages(is_made ? 1 : 0);
        const bool is_told = stage.told.find("op=set as=65099") != std::string::npos;
        EXPECT_EQ(is_told, is_made);
        EXPECT_EQ(stage.datastore.configuration() != before, is_made);
        return is_made;
    }

    // In words, what works after the fault.
    std::string survivors(const Fault &fault) {
        std::string text = next_query_is_answered(*fault.request.next) ? "queries" : "";
        bool edits_go_on = next_edit_is_made();
        EXPECT_EQ(edits_go_on, fault.edits == Edits::go_on);
        text += edits_go_on ? ", edits" : "";
        // The connection of edits stays open, good or broken.
        const std::size_t lost = stage.host->sockets() - 1;
        EXPECT_EQ(lost, fault.sockets_lost);
        if (!edits_go_on) {
            EXPECT_EQ(stage.host->terminate(), 0);
            stage.start_host();
            edits_go_on = next_edit_is_made();
            EXPECT_TRUE(edits_go_on);
            text += edits_go_on ? ", edits once the host is restarted" : "";
        }
        return text + (lost == 0 ? "" : " (+" + std::to_string(lost) + " socket)");
    }

    static inline std::string table = row("Fault", "Client saw", "Survived");
    Stage stage;
};

TEST_P(Faults, LeaveHostDatastoreAndLaterRequestsIntact) {
    const Fault &fault = GetParam();
    if (fault.loses_values && Host::is_sanitized()) {
        GTEST_SKIP() << "by design: the values written before the fault stay behind, as they must";
    }
    take(fault.before);
    ASSERT_FALSE(HasFatalFailure());
    stage.forget();
    const pid_t host = stage.host ? stage.host->process().pid() : 0;

    const Outcome outcome = play(fault);
    ASSERT_FALSE(HasFatalFailure());
    const std::string seen = word(fault.request, seen_by(outcome));
    EXPECT_EQ(seen, word(fault.request, fault.seen)) << outcome.output;
    for (const std::string &text : fault.shown) {
        EXPECT_THAT(outcome.output, HasSubstr(text));
    }
    if (!fault.path.empty()) {
        EXPECT_THAT(outcome.output,
                    AllOf(HasSubstr(fault.path + ")"), Not(HasSubstr(fault.path + ": "))));
    }
    for (const std::string &line : fault.printed) {
        EXPECT_THAT(stage.printed, HasSubstr(line));
    }
    if (fault.messages) {
        stage.wait_for_messages(*fault.messages);
        EXPECT_EQ(stage.messages(), *fault.messages) << stage.told;
    }

    ASSERT_TRUE(stage.host && stage.host->is_alive());
    const std::string who = stage.host->process().pid() == host ? "host, " : "a new host, ";
    table += row(replaced(fault.name, '_', ' '), seen,
                 (seen == "accepted" ? "data as edited, " : "data unchanged, ") + who +
                     survivors(fault));
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, testing::ValuesIn(all_faults()),
                         [](const auto &parameter) { return parameter.param.name; });

} // namespace
