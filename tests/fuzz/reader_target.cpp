// The reader of replies, on a socket whose reads and waits do what an input says,
// compared with a second, simple description of the rules.
#include "observed_calls.h"
#include "plugin_public.h"
#include "reader_input.h"
#include "targets.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

extern "C" {
extern char buf[BUF_SIZE_MAX];
extern char reply_room[2 * BUF_SIZE_MAX]; // the buffer and the room after it
}

namespace fuzz {

namespace {

constexpr int descriptor = 5; // of no socket: no call reaches the kernel
constexpr std::size_t most_exchanges = 8;

// The arriving bytes, returned by one read after the other.
class Arrival {
  public:
    Arrival() = default;
    Arrival(std::string bytes, std::vector<std::uint32_t> pieces, bool fails)
        : bytes_(std::make_shared<const std::string>(std::move(bytes))), pieces_(std::move(pieces)),
          fails_(fails) {}

    // What came too late for an earlier query comes first.
    void precede(const Arrival &late) {
        bytes_ = std::make_shared<const std::string>(*late.bytes_ + *bytes_);
        pieces_.insert(pieces_.begin(), late.pieces_.begin(), late.pieces_.end());
    }

    // As read does: a count, 0 once the connection is closed, or -1.
    std::ptrdiff_t read(char *target, std::size_t room) {
        std::size_t count = bytes_->size() - position_;
        if (piece_ < pieces_.size()) {
            const std::uint32_t piece = pieces_[piece_++];
            if (piece == piece_fails) {
                return -1;
            }
            if (piece == piece_closes) {
                pieces_.clear();
                position_ = bytes_->size();
                fails_ = false;
            }
            count = std::min<std::size_t>(piece, bytes_->size() - position_);
        }
        count = std::min(count, room);
        if (count == 0) {
            return fails_ && position_ == bytes_->size() ? -1 : 0;
        }
        std::memcpy(target, bytes_->data() + position_, count);
        position_ += count;
        return static_cast<std::ptrdiff_t>(count);
    }

  private:
    // Shared by all copies: a full buffer is long.
    std::shared_ptr<const std::string> bytes_ = std::make_shared<const std::string>();
    std::vector<std::uint32_t> pieces_;
    bool fails_ = false;
    std::size_t position_ = 0;
    std::size_t piece_ = 0;
};

// One query and its result.
struct Exchange {
    Course course = Course::answered;
    std::int32_t module = MODULE_ID_BGP; // of the query
    bool traced = false;
    std::uint32_t delay = 0; // seconds until the first byte
    Arrival arrival;

    bool too_late() const { return course == Course::answered && delay > longest_wait; }
    bool reads() const { return course != Course::write_fails && !too_late(); }
};

// A full buffer takes long, so an input has at most one such reply.
std::string read_bytes(Input &input, bool &may_be_full) {
    const std::int32_t module = input.pick(modules);
    const auto length =
        static_cast<Length>(input.byte() % static_cast<std::uint32_t>(Length::count));
    const auto near = static_cast<std::int32_t>(length == Length::near_it ? input.byte() : 0);
    const std::int32_t edge = length == Length::on_an_edge ? input.pick(edge_lengths) : 0;
    const auto any = static_cast<std::int32_t>(length == Length::any ? input.number() : 0);
    const auto letter = static_cast<char>(input.byte());
    std::size_t size = input.half();
    if (size == beyond_the_buffer && std::exchange(may_be_full, false)) {
        size = BUF_SIZE_MAX + 100;
    } else {
        size %= longest_payload;
    }
    const auto truth = static_cast<std::int32_t>(sizeof(netconf_data_struc) + size);
    const std::int32_t header[] = {module, 0, 0,
                                   length == Length::true_one     ? truth
                                   : length == Length::near_it    ? truth + near - 128
                                   : length == Length::on_an_edge ? edge
                                                                  : any};
    std::string bytes(sizeof header + size, letter);
    std::memcpy(bytes.data(), header, sizeof header);
    return bytes;
}

Exchange read_exchange(Input &input, bool &may_be_full) {
    Exchange exchange;
    exchange.course = static_cast<Course>(input.byte() % static_cast<std::uint32_t>(Course::count));
    exchange.module = input.pick(modules);
    exchange.traced = input.byte() % 2 != 0;
    if (exchange.course == Course::write_fails) {
        return exchange;
    }
    exchange.delay = input.byte();
    std::string bytes = read_bytes(input, may_be_full);
    std::vector<std::uint32_t> pieces(input.byte() % 32);
    for (std::uint32_t &piece : pieces) {
        piece = input.half();
    }
    exchange.arrival = Arrival(std::move(bytes), std::move(pieces), input.byte() % 2 != 0);
    return exchange;
}

// The reading rules: the buffer is cleared as far as the last reply went, then
// filled until it holds as much as the reply announces.
class Model {
  public:
    // Whether there is a reply for the query.
    bool exchange(Exchange exchange) {
        if (exchange.course == Course::write_fails) {
            return false;
        }
        if (exchange.reads() && !read(exchange.arrival)) {
            return false;
        }
        return total_ > 0 && number_at(offsetof(netconf_data_struc, module)) == exchange.module;
    }
    // Checks that the transport's buffer holds the same, followed by zeros.
    bool agrees() const {
        const std::size_t end = std::min(high_ + 100, sizeof reply_room);
        return std::memcmp(buffer().data(), reply_room, end) == 0;
    }
    std::size_t reads() const { return reads_; }

  private:
    // As large as the real one, and kept: allocating it costs more than everything else.
    static std::vector<char> &buffer() {
        static std::vector<char> buffer(sizeof reply_room);
        return buffer;
    }
    static std::int32_t number_at(std::size_t offset) {
        std::int32_t number = 0;
        std::memcpy(&number, buffer().data() + offset, sizeof number);
        return number;
    }
    static std::int32_t announced() { return number_at(offsetof(netconf_data_struc, dataLen)); }

    std::ptrdiff_t read_once(Arrival &arrival) {
        ++reads_;
        const std::ptrdiff_t count = arrival.read(buffer().data() + total_, BUF_SIZE_MAX);
        total_ += static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0));
        high_ = std::max(high_, total_);
        return count;
    }
    // False when the reply is lost.
    bool read(Arrival &arrival) {
        std::fill_n(buffer().begin(), total_, '\0');
        total_ = 0;
        const std::ptrdiff_t first = read_once(arrival);
        if (first <= 0) {
            return first == 0;
        }
        if (announced() > BUF_SIZE_MAX) {
            return false;
        }
        while (total_ < BUF_SIZE_MAX && static_cast<std::int64_t>(total_) < announced()) {
            const std::ptrdiff_t count = read_once(arrival);
            if (count <= 0) {
                return count == 0;
            }
        }
        return true;
    }

    std::size_t total_ = 0;
    std::size_t high_ = 0; // the highest byte that was ever written
    std::size_t reads_ = 0;
};

constexpr std::size_t query_size = 100; // bytes, header included

// Runs the query through the transport and returns the reply.
netconf_data_struc *run_exchange(const Exchange &exchange, std::size_t &reads) {
    alignas(netconf_data_struc) char query[query_size] = {};
    auto *header = reinterpret_cast<netconf_data_struc *>(query);
    header->module = static_cast<ENUM_MODULE_ID>(exchange.module);
    header->dataLen = query_size;
    Arrival arrival = exchange.arrival;
    support::ObservedCalls observed;
    observed.write_answer = [&](const char *bytes, std::size_t size) -> std::ptrdiff_t {
        require(bytes == query && size == query_size, "the query is written whole and once");
        return exchange.course == Course::write_fails ? -1 : static_cast<std::ptrdiff_t>(size);
    };
    observed.select_result = exchange.course == Course::wait_fails ? -1
                             : exchange.too_late()                 ? 0
                                                                   : 1;
    observed.read_answer = [&](char *target, std::size_t room) {
        ++reads;
        require(room == BUF_SIZE_MAX, "a read asks for a whole buffer");
        require(target >= buf && target + room <= std::end(reply_room),
                "a read stays in the room of the buffer");
        return arrival.read(target, room);
    };
    com_printf_flag = exchange.traced ? 1 : 0;
    netconf_data_struc *reply = sendAndGetReplyBuff(descriptor, header);
    com_printf_flag = 0;
    observed.end();
    const std::size_t waits = exchange.course == Course::write_fails ? 0 : 1;
    require(observed.sizes("select") == std::vector<std::size_t>(waits, longest_wait),
            "a query waits once for its reply, as long as it may");
    return reply;
}

} // namespace

void reply_reader(const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    Model model;
    bool may_be_full = true;
    std::size_t reads = 0;
    Arrival late;
    for (std::size_t i = 0; i < most_exchanges && !input.empty(); ++i) {
        Exchange exchange = read_exchange(input, may_be_full);
        exchange.arrival.precede(late);
        late = exchange.reads() ? Arrival() : exchange.arrival;
        const bool expected = model.exchange(exchange);
        const netconf_data_struc *reply = run_exchange(exchange, reads);
        require((reply != nullptr) == expected, "there is a reply when there is to be one");
        require(reply == nullptr || static_cast<const void *>(reply) == buf,
                "a reply lies in the buffer");
        require(model.agrees(), "the buffer holds what arrived, and zeros behind it");
        require(reads == model.reads(), "as much is read as the reply announces");
    }
    // A closed connection leaves an empty buffer for the next input.
    require(run_exchange({}, reads) == nullptr, "a closed connection is no reply");
    model.exchange({});
    require(model.agrees(), "what a reply used is cleared for the next one");
}

} // namespace fuzz
