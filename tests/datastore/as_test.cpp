// The AS number from a client's edit to the daemon, on the real datastore and
// in the real plug-in host.
#include "datastore.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using support::Datastore;
using support::Host;
using support::RecordingDaemon;
using testing::HasSubstr;
using testing::Not;

std::string set_as(std::uint32_t as) {
    return R"(<router-bgp xmlns="urn:orv:params:xml:ns:yang:orv_bgp"><as>)" + std::to_string(as) +
           "</as></router-bgp>";
}

const std::string delete_as =
    R"(<router-bgp xmlns="urn:orv:params:xml:ns:yang:orv_bgp"
           xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0"><as nc:operation="delete"/></router-bgp>)";

class AsOnDatastore : public testing::Test {
  protected:
    // The records that the daemon received, as op and AS.
    using Records = std::vector<std::pair<std::int32_t, std::uint32_t>>;
    Records received() {
        Records records;
        for (const auto &message : daemon->take_messages()) {
            EXPECT_EQ(message.module, MODULE_ID_BGP);
            EXPECT_EQ(message.sub_mod, BGP_SUB_BGP_AS);
            bgp_as_val record{};
            EXPECT_EQ(message.payload().size(), sizeof record);
            std::memcpy(&record, message.payload().data(), sizeof record);
            records.emplace_back(record.op, record.as);
        }
        return records;
    }

    // A refused edit leaves the data as they were, and the host serves the next one.
    void expect_refused(std::uint32_t as) {
        const std::string before = datastore.configuration();
        const auto outcome = datastore.edit(set_as(as));
        EXPECT_NE(outcome.exit_code, 0);
        EXPECT_EQ(datastore.configuration(), before);
        EXPECT_TRUE(host.is_alive());
    }

    Datastore datastore;
    std::optional<RecordingDaemon> daemon{std::in_place};
    Host host{datastore};
};

TEST_F(AsOnDatastore, CreationModificationAndDeletionReachTheDaemon) {
    EXPECT_EQ(datastore.edit(set_as(65001)).exit_code, 0);
    EXPECT_EQ(received(), (Records{{1, 65001}}));
    EXPECT_EQ(datastore.edit(set_as(4294967295U)).exit_code, 0);
    EXPECT_EQ(received(), (Records{{1, 4294967295U}}));
    EXPECT_THAT(datastore.configuration(), HasSubstr("<as>4294967295</as>"));
    EXPECT_EQ(datastore.edit(delete_as).exit_code, 0);
    EXPECT_EQ(received(), (Records{{0, 4294967295U}}));
    EXPECT_THAT(datastore.configuration(), Not(HasSubstr("<as>")));
    EXPECT_EQ(daemon->connections(), 1U);
}

TEST_F(AsOnDatastore, EditThatChangesNothingSendsNothing) {
    datastore.edit(set_as(65001));
    received();
    EXPECT_EQ(datastore.edit(set_as(65001)).exit_code, 0);
    EXPECT_EQ(received(), Records{});
}

TEST_F(AsOnDatastore, DaemonThatDoesNotListenRefusesTheEditUntilItDoes) {
    daemon.reset();
    expect_refused(65001);
    expect_refused(65001);
    daemon.emplace();
    EXPECT_EQ(datastore.edit(set_as(65001)).exit_code, 0);
    EXPECT_EQ(received(), (Records{{1, 65001}}));
}

TEST_F(AsOnDatastore, EachFailedConnectCostsOneDescriptorAndNothingElseDoes) {
    daemon.reset();
    const std::size_t before = host.descriptors();
    expect_refused(65001);
    expect_refused(65001);
    EXPECT_EQ(host.descriptors(), before + 2);
    daemon.emplace();
    datastore.edit(set_as(1));
    EXPECT_EQ(host.descriptors(), before + 3);
    datastore.edit(set_as(2));
    datastore.edit(delete_as);
    EXPECT_EQ(host.descriptors(), before + 3);
}

TEST_F(AsOnDatastore, ConfigurationIsNotReplayedWhenTheHostStarts) {
    datastore.edit(set_as(65001));
    received();
    EXPECT_EQ(host.terminate(), 0);
    host = Host{datastore};
    EXPECT_EQ(received(), Records{});
    EXPECT_EQ(datastore.edit(set_as(65002)).exit_code, 0);
    EXPECT_EQ(received(), (Records{{1, 65002}}));
}

TEST_F(AsOnDatastore, HostEndsCleanlyWhileACallbackWaitsForASilentDaemon) {
    daemon->answer_next(configd::Silence{});
    const auto client = datastore.start_edit(set_as(65001));
    daemon->wait_for_messages(1);
    host.process().signal(SIGTERM);
    daemon.reset(); // ends the wait: the callback returns to the plug-in's code
    EXPECT_EQ(host.process().wait(), 0);
}

TEST_F(AsOnDatastore, TwentyStartsOfTheHostEndWithoutACrash) {
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(host.terminate(), 0);
        host = Host{datastore};
    }
}

} // namespace
