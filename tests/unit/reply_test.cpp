// The behavior that the four reply parsers share.
#include "expected_values.h"
#include "observed_calls.h"

#include <climits>
#include <set>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::Outputs;
using support::Reply;
using support::Values;

struct AnyParser {
    const char *name;
    const support::Parser *parser;
    const char *trace;   // the name in its first trace
    const char *another; // line for another query's reply
    const char *no_room; // line when the array is not available

    friend void PrintTo(const AnyParser &row, std::ostream *out) { *out << row.name; }
};

const char *const another = "output data is not bgp and ip bgp info data!\n";
const AnyParser parsers[] = {{"Evpn", &support::evpn_parser, "ip_bgp_evpn_output_parse",
                              "output data is not bgp and ip bgp evpn data!\n", nullptr},
                             {"Info", &support::info_parser, "ip_bgp_info_output_parse", another,
                              "bgp info realloc failed!\n"},
                             {"Neighbor", &support::neighbor_parser, "ip_bgp_info_neighbor_parse",
                              another, "bgp neighbor realloc failed!\n"},
                             {"Summary", &support::summary_parser, "ip_bgp_summary_output_parse",
                              another, "bgp info realloc failed!\n"}};

class AnyReply : public support::ReplyTest, public testing::WithParamInterface<AnyParser> {
  protected:
    AnyReply() : ReplyTest(GetParam().parser->parse, GetParam().parser->sub_mod) {}

    static bool is_text(const sr_val_t &value) {
        return value.type == SR_STRING_T || value.type == SR_ENUM_T;
    }
    Outputs outputs() {
        Values values;
        EXPECT_EQ(parse(values, payload), SR_ERR_OK);
        return values.outputs();
    }
    // Checks that the parser did not change the array.
    static void expect_untouched(const Values &values, std::size_t before) {
        EXPECT_EQ(values.size(), before);
        EXPECT_EQ(values.written_count(), 0U);
    }

    const std::string payload = GetParam().parser->sample();
};

INSTANTIATE_TEST_SUITE_P(Every, AnyReply, testing::ValuesIn(parsers),
                         [](const auto &test) { return test.param.name; });

TEST_P(AnyReply, IsRefusedWithoutAllArguments) {
    const Reply reply(sub_mod_, payload);
    sr_val_t *array = nullptr;
    size_t count = 7;
    for (const int debugging : {0, 1}) {
        set_switches(debugging, 0);
        const CapturedOutput output;
        EXPECT_EQ(parser_(nullptr, &count, reply.message()), -1);
        EXPECT_EQ(parser_(&array, nullptr, reply.message()), -1);
        EXPECT_EQ(parser_(&array, &count, nullptr), -1);
        EXPECT_EQ(output.text(), "reply_buf is NULL\nreply_buf is NULL\nreply_buf is NULL\n");
    }
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(count, 7U);
    EXPECT_TRUE(sysrepo().reallocs.empty());
}

TEST_P(AnyReply, IsRefusedWhenItAnswersAnotherQuery) {
    std::vector<std::pair<int, int>> others = {{-1, sub_mod_}};
    for (int number = 0; number <= 23; ++number) {
        if (number != sub_mod_) {
            others.emplace_back(MODULE_ID_BGP, number);
        }
        if (number != MODULE_ID_BGP) {
            others.emplace_back(number, sub_mod_);
        }
    }
    Reply reply(sub_mod_, payload);
    for (const auto &[module, sub_mod] : others) {
        reply.module(module).sub_mod(sub_mod);
        for (const int debugging : {0, 1}) {
            set_switches(debugging, 0);
            Values values(2);
            const CapturedOutput output;
            EXPECT_EQ(parse(values, reply), -1);
            EXPECT_EQ(output.text(),
                      debugging == 0
                          ? ""
                          : std::string(GetParam().trace) + ",module:" + std::to_string(module) +
                                ",subMod:" + std::to_string(sub_mod) + "\n" + GetParam().another);
            expect_untouched(values, 2);
        }
    }
    EXPECT_TRUE(sysrepo().reallocs.empty());
}

// The EVPN parser uses the array as it is.
class SizedReply : public AnyReply {};
INSTANTIATE_TEST_SUITE_P(Every, SizedReply, testing::Values(parsers[1], parsers[2], parsers[3]),
                         [](const auto &test) { return test.param.name; });

TEST_P(SizedReply, WithoutAnArrayEndsTheCall) {
    for (const int code : {int{SR_ERR_NOMEM}, int{SR_ERR_INTERNAL}, -1}) {
        sysrepo().realloc_result = code;
        for (const std::size_t before : {std::size_t{0}, std::size_t{30}}) {
            Values values(before);
            const CapturedOutput output;
            EXPECT_EQ(parse(values, payload), -1);
            EXPECT_EQ(output.text(), GetParam().no_room);
            expect_untouched(values, before);
        }
    }
}

// The number of a peer's address families follows from the reply's length.
class CountedReply : public AnyReply {};
INSTANTIATE_TEST_SUITE_P(Every, CountedReply, testing::Values(parsers[0], parsers[1], parsers[3]),
                         [](const auto &test) { return test.param.name; });

TEST_P(CountedReply, IsReadWhateverLengthItAnnounces) {
    for (const int length : {0, 16, 76, -1, INT_MIN, INT_MAX}) {
        Values values;
        EXPECT_EQ(parse(values, Reply(sub_mod_, payload).length(length)), SR_ERR_OK);
        EXPECT_EQ(values.outputs(), outputs()) << length;
    }
}

TEST_P(AnyReply, IsOnlyRead) {
    const Reply reply(sub_mod_, payload);
    Values values;
    EXPECT_EQ(parse(values, reply), SR_ERR_OK);
    EXPECT_EQ(std::string(reply.message()->transferData, payload.size()), payload);
}

TEST_P(AnyReply, IsWrittenOverTheValuesBeforeButTheirDefaultFlag) {
    Values values(60);
    EXPECT_EQ(parse(values, payload), SR_ERR_OK);
    EXPECT_EQ(values.outputs(), outputs());
    Values some(2);
    EXPECT_EQ(parse(some, payload), SR_ERR_OK);
    ASSERT_GT(some.size(), 2U);
    for (std::size_t i = 0; i < some.size(); ++i) {
        EXPECT_EQ(some.at(i).dflt, i < 2) << some.at(i).xpath;
    }
}

TEST_P(AnyReply, HasPathsAndTextsThatAreCopiesOfTheirOwn) {
    Values values;
    ASSERT_EQ(parse(values, payload), SR_ERR_OK);
    std::set<const void *> copies;
    std::size_t texts = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        copies.insert(values.at(i).xpath);
        ++texts;
        if (is_text(values.at(i))) {
            copies.insert(values.at(i).data.string_val);
            ++texts;
        }
    }
    EXPECT_EQ(copies.size(), texts);
    EXPECT_EQ(copies.count(nullptr), 0U);
}

TEST_P(AnyReply, LacksTheCopiesThatFail) {
    Outputs expected = outputs();
    for (support::Output &output : expected) {
        output.xpath = "(null)";
        const bool text = output.type == SR_STRING_T || output.type == SR_ENUM_T;
        output.value = text ? "(null)" : output.value;
    }
    const Reply reply(sub_mod_, payload);
    Values values;
    {
        support::ObservedCalls observed;
        observed.malloc_fails = true;
        EXPECT_EQ(parse(values, reply), SR_ERR_OK);
    }
    EXPECT_EQ(values.outputs(), expected);
}

TEST_P(AnyReply, PrintsNothingWithTheSwitchOff) {
    set_switches(0, 1);
    EXPECT_EQ(printed(payload), "");
}

} // namespace
