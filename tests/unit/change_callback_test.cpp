// The behavior that the four change callbacks share, as far as ChangeProperty does not compare it:
// events, the AS number of the datastore, and what they print.
#include "record_expectations.h"

#include <gmock/gmock.h>

#include <regex>

namespace {

using scripted::Change;
using scripted::created;
using scripted::deleted;
using scripted::sysrepo;
using support::CapturedOutput;
using Changes = std::vector<Change>;

struct Callback {
    const char *name;
    support::ChangeCallback callback;
    const char *function;
    const char *subscription;
    scripted::Value setting; // that becomes one record
    bool needs_as;
    int no_value_result;
    const char *event_line, *iterator_line; // "#": a number that nobody relies on

    friend void PrintTo(const Callback &row, std::ostream *out) { *out << row.name; }
};

const std::string family_subscription = "/orv_bgp:router-bgp/bgp-address-family/address-family";
const std::string vrf_family_subscription =
    "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf";
const Callback callbacks[] = {
    {"As", bgp_config_as_change_cb, "bgp_config_as_change_cb", "/orv_bgp:router-bgp/as",
     scripted::number("/orv_bgp:router-bgp/as", 65001), false, SR_ERR_OK, "1369", "1378"},
    {"Globle", bgp_config_globle_bgp_change_cb, "bgp_config_globle_bgp_change_cb",
     "/orv_bgp:router-bgp/bgp", scripted::text("/orv_bgp:router-bgp/bgp/router-id", "1.1.1.1"),
     true, SR_ERR_INTERNAL, "651", "660"},
    {"Family", bgp_config_address_family_change_cb, "bgp_config_address_family_change_cb",
     family_subscription.c_str(),
     scripted::node(family_subscription + "[afi='AFI_IP'][safi='SAFI_UNICAST']/bgp-family-networks/"
                                          "family-network[prefix='10.1.0.0/16']",
                    SR_LIST_T),
     true, SR_ERR_OK, "#", "#"},
    {"VrfFamily", bgp_config_address_family_vrf_change_cb,
     "bgp_config_address_family_vrf_change_cb", vrf_family_subscription.c_str(),
     scripted::text(vrf_family_subscription +
                        "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']/vrf-name",
                    "red"),
     true, SR_ERR_OK, "#", "#"}};

class ChangeCallback : public support::ChangeCallbackTest,
                       public testing::WithParamInterface<Callback> {
  protected:
    static const Callback &row() { return GetParam(); }
    static int change(Changes changes, sr_event_t event = SR_EV_CHANGE) {
        return run(row().callback, row().subscription, std::move(changes), event);
    }
    // What the edit prints, with "#" for numbers that nobody relies on.
    static std::string printed(Changes changes, sr_event_t event = SR_EV_CHANGE) {
        const CapturedOutput output;
        change(std::move(changes), event);
        return std::string(row().event_line) == "#"
                   ? std::regex_replace(output.text(),
                                        std::regex("(_vrf)?_change_cb\\]\\[[0-9]+\\]"),
                                        "$1_change_cb][#]")
                   : output.text();
    }
    static std::string line(const char *number, const std::string &text) {
        return "[" + std::string(row().function) + "][" + number + "]" + text;
    }
    const scripted::Value setting = row().setting;
};

INSTANTIATE_TEST_SUITE_P(Every, ChangeCallback, testing::ValuesIn(callbacks),
                         [](const auto &test) { return test.param.name; });

TEST_P(ChangeCallback, WorksAtEveryEventExceptDoneAndAbort) {
    for (const auto event : {SR_EV_DONE, SR_EV_ABORT}) {
        EXPECT_EQ(change({created(setting)}, event), SR_ERR_OK);
    }
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(sysrepo().iterator_path, "");
    for (const auto event : {SR_EV_UPDATE, SR_EV_CHANGE, SR_EV_ENABLED, SR_EV_RPC}) {
        EXPECT_EQ(change({created(setting)}, event), SR_ERR_OK);
        EXPECT_EQ(sent().size(), 1U) << event;
    }
    EXPECT_EQ(sysrepo().iterator_path, std::string(row().subscription) + "//.");
    EXPECT_EQ(change({}), SR_ERR_OK);
    EXPECT_TRUE(sent().empty());
}

TEST_P(ChangeCallback, ReadsTheInstanceFromTheDatastoreAtEveryEvent) {
    for (const auto event : {SR_EV_UPDATE, SR_EV_CHANGE, SR_EV_DONE, SR_EV_ABORT, SR_EV_ENABLED}) {
        for (const std::uint32_t configured : {65001U, 0U}) {
            configure_as(configured);
            g_bgp_id = 7;
            change({}, event);
            EXPECT_EQ(g_bgp_id, row().needs_as ? configured : 7U) << event;
        }
    }
    EXPECT_EQ(sysrepo().item_paths,
              std::vector<std::string>(row().needs_as ? 10 : 0, "/orv_bgp:router-bgp/as"));
}

// The AS callback sets the AS number itself.
class CallbackBelowAs : public ChangeCallback {};
INSTANTIATE_TEST_SUITE_P(Every, CallbackBelowAs,
                         testing::Values(callbacks[1], callbacks[2], callbacks[3]),
                         [](const auto &test) { return test.param.name; });

TEST_P(CallbackBelowAs, WithoutAnAsSkipsDeletionsUpToTheFirstOtherChange) {
    const auto unreadable = [] { sysrepo().item_result = SR_ERR_INTERNAL; };
    for (const std::function<void()> &without :
         {std::function<void()>([] { configure_as(0); }), std::function<void()>(unreadable)}) {
        without();
        EXPECT_EQ(change({deleted(setting), support::without_value(SR_OP_DELETED),
                          deleted(scripted::text("no name", "1"))}),
                  SR_ERR_OK);
        EXPECT_EQ(change({deleted(setting), support::without_value(SR_OP_CREATED)}),
                  SR_ERR_CONFIG_FAILED);
        for (const auto operation : {SR_OP_CREATED, SR_OP_MODIFIED, SR_OP_MOVED}) {
            EXPECT_EQ(change({support::change_of(operation, setting, setting)}),
                      SR_ERR_CONFIG_FAILED);
        }
    }
    EXPECT_TRUE(sent().empty());
}

TEST_P(ChangeCallback, EndsWithTheCodeOfAnIteratorThatCannotBeOpened) {
    for (const int code : {SR_ERR_INTERNAL, SR_ERR_NOT_FOUND, SR_ERR_NOMEM}) {
        sysrepo().open_result = code;
        EXPECT_EQ(printed({created(setting)}),
                  line(row().iterator_line, "Get change iter for xpath ") + row().subscription +
                      "//. failed:" + sr_strerror(code) + "\n");
        const CapturedOutput output;
        EXPECT_EQ(change({created(setting)}), code);
    }
    EXPECT_TRUE(sent().empty());
}

TEST_P(ChangeCallback, SaysThatAChangeHasNoValue) {
    for (const auto operation : {SR_OP_CREATED, SR_OP_DELETED}) {
        const bool set = operation == SR_OP_CREATED;
        const Change change_without = {operation, set ? std::optional(setting) : std::nullopt,
                                       set ? std::nullopt : std::optional(setting)};
        const CapturedOutput output;
        EXPECT_EQ(change({change_without, created(setting)}), row().no_value_result);
        EXPECT_THAT(output.text(),
                    testing::MatchesRegex("choose value for oper " + std::to_string(operation) +
                                          " failed. old_value:" + (set ? "0x[0-9a-f]+" : ".nil.") +
                                          ", new_value:" + (set ? ".nil." : "0x[0-9a-f]+") + "\n"));
    }
    EXPECT_TRUE(sent().empty());
}

TEST_P(ChangeCallback, SaysThatAPathHasNoNodeName) {
    for (const std::optional<std::string> &path :
         {std::optional<std::string>("name"), std::optional<std::string>()}) {
        scripted::Value nameless = setting;
        nameless.xpath = path;
        const CapturedOutput output;
        EXPECT_EQ(change({created(nameless), created(setting)}), SR_ERR_INTERNAL);
        EXPECT_EQ(output.text(), "get node name from xpath " + path.value_or("(null)") + " fail\n");
    }
    EXPECT_TRUE(sent().empty());
}

TEST_P(ChangeCallback, RefusesASubscriptionPathThatDoesNotFit) {
    const std::string path = "/" + std::string(996, 'x');
    const CapturedOutput output;
    EXPECT_EQ(run(row().callback, path.c_str(), {}), SR_ERR_INVALID_VALUE);
    EXPECT_EQ(output.text(),
              "path ..." + std::string(100, 'x') + " is 997 bytes long, the limit is 996\n");
    EXPECT_EQ(run(row().callback, path.substr(0, 996).c_str(), {}), SR_ERR_OK);
    EXPECT_EQ(sysrepo().iterator_path, path.substr(0, 996) + "//.");
}

TEST_P(ChangeCallback, TracesDoneWithTheEventOnly) {
    set_switches(1, 0);
    const std::string path = row().subscription;
    EXPECT_EQ(printed({created(setting)}, SR_EV_DONE),
              (row().needs_as ? std::string("[ip_bgp_check_bgp_as_config_exist][169] rc:0\n"
                                            "[ip_bgp_check_bgp_as_config_exist][175] "
                                            "bgp router id:100\n")
                              : std::string()) +
                  line(row().event_line,
                       "event is 2,p_xpath is " + path + ",xpath is " + path + "//.\n"));
}

TEST_P(CallbackBelowAs, TracesAMissingAs) {
    set_switches(1, 0);
    configure_as(0);
    const bool numbered = std::string(row().event_line) != "#";
    EXPECT_THAT(printed({deleted(setting), created(setting)}),
                testing::EndsWith("//.\n" + line(numbered ? "694" : "#", "as not exist!") +
                                  line(numbered ? "701" : "#", " error, as not exist!")));
}

TEST_P(ChangeCallback, PrintsNothingWithTheSwitchOffAndNothingWrong) {
    const CapturedOutput output;
    change({created(setting), deleted(setting)});
    daemon.answer_next(configd::ResultCode{SR_ERR_NOT_SUPPORT});
    change({created(setting)});
    configure_as(0);
    change({deleted(setting), created(setting)});
    EXPECT_EQ(output.text(), "");
}

} // namespace
