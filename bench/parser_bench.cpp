// Measures the reply parsers. The floor copies the same XPaths and texts into the
// array; "straightforward" formats every XPath again.
#include "bgp_plugin.h"
#include "replies.h"
#include "side_by_side.h"

#include <sysrepo/values.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

using bench::Contender;
using bench::ReplyKind;

using Parser = int (*)(sr_val_t **, size_t *, netconf_data_struc *);

Parser parser_of(const ReplyKind &kind) {
    switch (kind.sub_mod) {
    case BGP_SUB_RPC_IP_BGP_SUMMARY:
        return ip_bgp_summary_output_parse;
    case BGP_SUB_RPC_IP_BGP_NEIGHBOR:
        return ip_bgp_neighbor_output_parse;
    case BGP_SUB_RPC_IP_BGP_INFO:
        return ip_bgp_info_output_parse;
    default:
        return ip_bgp_evpn_output_parse;
    }
}

bool has_text(const sr_val_t &value) {
    return value.type == SR_STRING_T || value.type == SR_ENUM_T;
}

// An RPC's output.
struct Output {
    sr_val_t *values = nullptr;
    std::size_t count = 0;

    Output() = default;
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
    ~Output() { clear(); }

    void clear() {
        for (std::size_t i = 0; i < count; ++i) {
            if (has_text(values[i])) {
                std::free(values[i].data.string_val);
            }
            std::free(values[i].xpath);
        }
        std::free(std::exchange(values, nullptr));
        count = 0;
    }
};

// Type and data, the latter copied when it is a text.
void copy_data(sr_val_t &to, const sr_val_t &from) {
    to.type = from.type;
    if (has_text(from)) {
        to.data.string_val = strdup(from.data.string_val);
    } else {
        to.data = from.data;
    }
}

void copy(const Output &source, Output &output) {
    sr_realloc_values(0, source.count, &output.values);
    for (std::size_t i = 0; i < source.count; ++i) {
        output.values[i].xpath = strdup(source.values[i].xpath);
        copy_data(output.values[i], source.values[i]);
    }
    output.count = source.count;
}

// An XPath as a format and its keys.
struct Spelling {
    const char *format;
    const char *keys[4];
};

// The spellings of an output's XPaths.
class Spellings {
  public:
    explicit Spellings(const Output &output) {
        for (std::size_t i = 0; i < output.count; ++i) {
            spellings_.push_back(spell(output.values[i].xpath));
        }
    }
    const Spelling &operator[](std::size_t index) const { return spellings_[index]; }

  private:
    Spelling spell(const std::string &xpath) {
        Spelling spelling{};
        std::string format;
        std::size_t at = 0;
        for (const char *&key : spelling.keys) {
            const std::size_t start = xpath.find("='", at);
            if (start == std::string::npos) {
                break;
            }
            const std::size_t end = xpath.find("']", start);
            format += xpath.substr(at, start + 2 - at) + "%s";
            key = kept(xpath.substr(start + 2, end - start - 2));
            at = end;
        }
        spelling.format = kept(format + xpath.substr(at));
        return spelling;
    }
    const char *kept(const std::string &text) { return texts_.insert(text).first->c_str(); }

    std::unordered_set<std::string> texts_;
    std::vector<Spelling> spellings_;
};

void format(const Output &source, const Spellings &spellings, Output &output) {
    char xpath[1000];
    sr_realloc_values(0, source.count, &output.values);
    for (std::size_t i = 0; i < source.count; ++i) {
        const Spelling &spelling = spellings[i];
        std::memset(xpath, 0, sizeof xpath);
        std::snprintf(xpath, sizeof xpath, spelling.format, spelling.keys[0], spelling.keys[1],
                      spelling.keys[2], spelling.keys[3]);
        output.values[i].xpath = strdup(xpath);
        copy_data(output.values[i], source.values[i]);
    }
    output.count = source.count;
}

// A reply as it is in the transport's buffer.
std::unique_ptr<char[]> make_reply(const ReplyKind &kind, std::uint32_t entries) {
    auto buffer = std::make_unique<char[]>(BUF_SIZE_MAX);
    const std::string payload = kind.payload(entries);
    auto *reply = reinterpret_cast<netconf_data_struc *>(buffer.get());
    reply->module = MODULE_ID_BGP;
    reply->subMod = kind.sub_mod;
    reply->dataLen = static_cast<int>(sizeof *reply + payload.size());
    std::memcpy(reply->transferData, payload.data(), payload.size());
    return buffer;
}

// A run repeats short outputs, so that the time of reading the clock does not
// matter.
constexpr std::size_t values_in_a_run = 10000;

void parse(benchmark::State &state, const ReplyKind &kind, std::uint32_t entries) {
    const auto buffer = make_reply(kind, entries);
    auto *reply = reinterpret_cast<netconf_data_struc *>(buffer.get());
    const Parser parser = parser_of(kind);
    Output source;
    if (parser(&source.values, &source.count, reply) != SR_ERR_OK || source.count == 0) {
        state.SkipWithError("the reply was refused");
        return;
    }
    const Spellings spellings(source);
    std::deque<Output> outputs(std::max<std::size_t>(1, values_in_a_run / source.count));
    const auto contender = [&outputs](const char *name, double target, const auto &fill) {
        const auto run = [&outputs, fill] {
            return bench::thread_seconds([&] {
                for (Output &output : outputs) {
                    fill(output);
                }
            });
        };
        const auto clean = [&outputs] {
            for (Output &output : outputs) {
                output.clear();
            }
        };
        return Contender{name, run, clean, target};
    };
    const auto values = static_cast<double>(source.count);
    bench::side_by_side(
        state,
        {contender("plugin", 0,
                   [&](Output &output) { parser(&output.values, &output.count, reply); }),
         contender("floor", 1.15, [&](Output &output) { copy(source, output); }),
         contender("straightforward", 1.0 / 3,
                   [&](Output &output) { format(source, spellings, output); })},
        values * static_cast<double>(outputs.size()));
    state.counters["values"] = values;
}

const bool parsers_registered = [] {
    for (const ReplyKind &kind : bench::reply_kinds()) {
        for (const std::uint32_t entries : {std::uint32_t{10}, kind.most_entries()}) {
            const std::string size = entries == 10 ? "10 entries" : "10 MiB";
            const std::string name = std::string("parser/") + kind.name + "/" + size;
            benchmark::RegisterBenchmark(name.c_str(), parse, kind, entries)->UseManualTime();
        }
    }
    return true;
}();

} // namespace
