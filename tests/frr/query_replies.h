// Reads the payloads of replies. A test fails when counts and size do not agree.
#ifndef FRR_TEST_QUERY_REPLIES_H
#define FRR_TEST_QUERY_REPLIES_H

#include "message.h"
#include "netconf_bgp_public.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

inline std::string values_of(const nlohmann::ordered_json &fields) {
    std::string values;
    for (const auto &value : fields) {
        const std::string text = value.is_object()   ? values_of(value)
                                 : value.is_string() ? value.get<std::string>()
                                                     : value.dump();
        values += (values.empty() ? "" : " ") + (text.empty() ? "-" : text);
    }
    return values;
}

// The values of a record's fields in wire order, without reserved bytes; - for an empty text.
template <typename Record>
std::string shown(const Record &record) {
    return values_of(configd::decode_record(configd::layout_of<Record>, configd::bytes_of(record)));
}
template <typename Record>
std::vector<std::string> shown(const std::vector<Record> &records) {
    std::vector<std::string> lines;
    for (const Record &record : records) {
        lines.push_back(shown(record));
    }
    return lines;
}

class PayloadReader {
  public:
    explicit PayloadReader(const std::string &payload) : payload_{payload} {}
    PayloadReader(const PayloadReader &) = delete;
    PayloadReader &operator=(const PayloadReader &) = delete;
    ~PayloadReader() { EXPECT_EQ(offset_, payload_.size()); }

    template <typename T>
    T take() {
        T value{};
        if (offset_ + sizeof value <= payload_.size()) {
            std::memcpy(&value, payload_.data() + offset_, sizeof value);
        }
        offset_ += sizeof value;
        return value;
    }

    std::string take_text() {
        const std::string text = payload_.c_str() + offset_;
        offset_ += text.size() + 1;
        return text;
    }

    template <typename T>
    std::vector<T> take_many(std::uint32_t count) {
        std::vector<T> values;
        for (; count > 0 && offset_ < payload_.size(); --count) {
            values.push_back(take<T>());
        }
        EXPECT_EQ(count, 0U);
        return values;
    }

  private:
    const std::string &payload_;
    std::size_t offset_ = 0;
};

struct SummaryReply {
    explicit SummaryReply(const std::string &payload) {
        PayloadReader reader{payload};
        instance = reader.take<decltype(instance)>();
        entries = reader.take_many<bgp_rpc_ip_bgp_summary_output_entry>(instance.neighbor_number);
    }

    bgp_rpc_ip_bgp_summary_output_neighbors instance{};
    std::vector<bgp_rpc_ip_bgp_summary_output_entry> entries;
};

struct NeighborReply {
    struct Peer {
        bgp_rpc_ip_bgp_neighbor_output_neighbor peer;
        std::vector<bgp_rpc_ip_bgp_neighbor_output_addrsss_family> families;
    };

    explicit NeighborReply(const std::string &payload) {
        PayloadReader reader{payload};
        for (auto count = reader.take<std::uint32_t>(); count > 0; --count) {
            const auto peer = reader.take<bgp_rpc_ip_bgp_neighbor_output_neighbor>();
            peers.push_back({peer, reader.take_many<bgp_rpc_ip_bgp_neighbor_output_addrsss_family>(
                                       peer.address_family_cnt)});
        }
    }

    std::vector<Peer> peers;
};

struct InfoReply {
    struct Network {
        bgp_rpc_ip_bgp_info_output_entry entry;
        std::vector<bgp_rpc_ip_bgp_info_next_hop_output_entry> next_hops;
    };

    explicit InfoReply(const std::string &payload) {
        PayloadReader reader{payload};
        next_hop_count = reader.take<std::uint32_t>();
        table = reader.take<decltype(table)>();
        for (std::uint32_t i = 0; i < table.prefix_number; ++i) {
            const auto entry = reader.take<bgp_rpc_ip_bgp_info_output_entry>();
            networks.push_back({entry, reader.take_many<bgp_rpc_ip_bgp_info_next_hop_output_entry>(
                                           entry.nextop_num)});
        }
    }

    std::uint32_t next_hop_count = 0;
    bgp_rpc_ip_bgp_info_output_public table{};
    std::vector<Network> networks;
};

// In the order of the reply: each distinguisher; each of its routes with its flags and optional
// texts; each of its next hops with its numbers and its path.
struct EvpnReply {
    explicit EvpnReply(const std::string &payload) {
        PayloadReader reader{payload};
        value_count = reader.take<std::uint32_t>();
        for (auto count = reader.take<std::uint32_t>(); count > 0; --count) {
            texts.push_back(reader.take_text());
            for (auto routes = reader.take<std::uint32_t>(); routes > 0; --routes) {
                take_route(reader);
            }
        }
    }

    std::uint32_t value_count = 0;
    std::vector<std::string> texts;

  private:
    void take_route(PayloadReader &reader) {
        texts.push_back(reader.take_text());
        texts.emplace_back(reader.take<std::int8_t>() == 1 ? "valid" : "other");
        texts.emplace_back(reader.take<std::int8_t>() == 1 ? "best" : "other");
        const auto source = reader.take<std::int8_t>();
        texts.emplace_back(source == 1 ? "internal" : source == 2 ? "local" : "other");
        for (int optional = 0; optional < 2; ++optional) {
            if (reader.take<std::int8_t>() != 0) {
                texts.push_back(reader.take_text());
            }
        }
        for (auto next_hops = reader.take<std::uint32_t>(); next_hops > 0; --next_hops) {
            texts.push_back(reader.take_text());
            const auto metric = reader.take<std::uint32_t>();
            const auto preference = reader.take<std::uint32_t>();
            const auto weight = reader.take<std::uint32_t>();
            texts.push_back(fmt::format("{} {} {}", metric, preference, weight));
            texts.push_back(reader.take_text());
        }
    }
};

#endif
