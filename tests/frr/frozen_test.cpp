// A bgpd that hangs delays only the clients that need it.
#include "daemon.h"
#include "frr/frr_backend.h"
#include "server.h"

#include "client.h"
#include "process.h"
#include "settings.h"
#include "speaker.h"

#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

using namespace settings;

namespace {

class FrozenSpeaker : public testing::Test {
  protected:
    void SetUp() override {
        REQUIRE_BGPD();
        speaker.emplace();
    }
    void freeze() const { kill(speaker->pid(), SIGSTOP); }
    void thaw() const { kill(speaker->pid(), SIGCONT); }

    std::optional<Speaker> speaker;
};

const configd::Message unknown = configd::make_message(MODULE_ID_BGP, 99, "");

TEST_F(FrozenSpeaker, DelaysRecordsAndQueriesAndNothingElse) {
    std::ostringstream lines;
    configd::Log log{lines, configd::LogFormat::None};
    configd::frr::FrrBackend backend{speaker->vty_socket(), {}};
    configd::Overrides overrides;
    overrides.replies[BGP_SUB_RPC_IP_BGP_EVPN] = "canned";
    configd::Daemon daemon{backend, log, overrides};
    configd::Server server{daemon, 0};
    const RunningServer running{server};
    Client editor{server.port()};
    Client other_editor{server.port()};
    EXPECT_EQ(editor.ask(as_message(set, as)), 0);

    freeze();
    editor.send(router_id_message(set, as, "192.0.2.1").bytes);
    // New connections are served meanwhile. By now the server has read what was sent before this
    // one opened.
    Client next{server.port()};
    EXPECT_EQ(next.ask(unknown), SR_ERR_NOT_SUPPORT);
    other_editor.send(router_id_message(set, as, "192.0.2.2").bytes);
    Client asking{server.port()};
    asking.send(summary_query().bytes);
    // So are queries that do not need bgpd.
    next.send(evpn_query(0).bytes);
    EXPECT_EQ(next.receive_message().payload(), "canned");

    thaw();
    EXPECT_EQ(editor.receive_code(), 0);
    EXPECT_EQ(other_editor.receive_code(), 0);
    EXPECT_EQ(asking.receive_message().sub_mod, BGP_SUB_RPC_IP_BGP_SUMMARY);
    EXPECT_TRUE(speaker->has_line("bgp router-id 192.0.2.2")) << "the records keep their order";
}

TEST_F(FrozenSpeaker, DoesNotKeepTheDaemonFromEnding) {
    support::Process program{
        BGP_CONFIGD, {"--port", "0", "--backend", "frr", "--vty-socket", speaker->vty_socket()}};
    const std::string listening = program.read_line();
    Client client{
        static_cast<std::uint16_t>(std::stoi(listening.substr(listening.rfind(':') + 1)))};
    EXPECT_EQ(client.ask(as_message(set, as)), 0);
    freeze();
    client.send(router_id_message(set, as, "192.0.2.1").bytes);
    Client other{static_cast<std::uint16_t>(std::stoi(listening.substr(listening.rfind(':') + 1)))};
    EXPECT_EQ(other.ask(unknown), SR_ERR_NOT_SUPPORT);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(client.is_closed());
    thaw();
}

} // namespace
