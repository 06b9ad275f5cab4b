// The plug-in's host: what its starts and its end cost, on the real datastore.
#include "daemon/records.h"
#include "datastore.h"
#include "recording_daemon.h"

#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <string>

namespace {

using support::Datastore;
using support::Host;
using support::RecordingDaemon;
using support::router_bgp;
using support::set_as;

class HostOnDatastore : public testing::Test {
  protected:
    int edit(const std::string &xml) const { return datastore.edit(xml).exit_code; }

    Datastore datastore;
    std::optional<RecordingDaemon> daemon{std::in_place};
    Host host{datastore};
};

TEST_F(HostOnDatastore, LosesOneDescriptorWithEachFailedConnectAndNoOther) {
    daemon.reset();
    const std::size_t before = host.descriptors();
    EXPECT_NE(edit(set_as(65001)), 0);
    EXPECT_NE(edit(set_as(65001)), 0);
    EXPECT_EQ(host.descriptors(), before + 2);
    daemon.emplace();
    for (const std::string &xml :
         {set_as(1), set_as(2), router_bgp("<as nc:operation=\"delete\"/>")}) {
        EXPECT_EQ(edit(xml), 0);
        EXPECT_EQ(host.descriptors(), before + 3);
    }
    EXPECT_EQ(daemon->connections(), 1U);
}

TEST_F(HostOnDatastore, SendsNoConfigurationWhenItStarts) {
    edit(set_as(65001));
    daemon->take_messages();
    EXPECT_EQ(host.terminate(), 0);
    host = Host{datastore};
    EXPECT_TRUE(daemon->take_messages().empty());
    EXPECT_EQ(edit(set_as(65002)), 0);
    const auto messages = daemon->take_messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(readable(messages[0]), readable(as_message(1, 65002)));
}

TEST_F(HostOnDatastore, EndsCleanlyWhileACallbackWaitsForASilentDaemon) {
    daemon->answer_next(configd::Silence{});
    const auto client = datastore.start_edit(set_as(65001));
    daemon->wait_for_messages(1);
    host.process().signal(SIGTERM);
    daemon.reset(); // ends the wait: the callback returns to the plug-in's code
    EXPECT_EQ(host.process().wait(), 0);
}

TEST_F(HostOnDatastore, EndsWithoutACrashTwentyTimes) {
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(host.terminate(), 0);
        host = Host{datastore};
    }
}

} // namespace
