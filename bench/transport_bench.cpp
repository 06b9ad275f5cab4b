// Measures the transport. The floors make only the system calls that cannot be avoided.
#include "bgp_plugin.h"
#include "file_descriptor.h"
#include "recording_daemon.h"
#include "replies.h"
#include "side_by_side.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

extern "C" int __real_plugin_config(void *data, int data_len, int option, int module_id,
                                    int sub_mod);

namespace {

using bench::seconds;
using configd::FileDescriptor;

int checked(int result, const char *what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

sockaddr_in daemon_address() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr(NETCONF_DAEMON_ADDRESS);
    address.sin_port = htons(NETCONF_DAEMON_PORT);
    return address;
}

int open_connection() {
    const int descriptor = checked(socket(AF_INET, SOCK_STREAM, 0), "socket");
    const sockaddr_in address = daemon_address();
    checked(connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address),
            "connect");
    return descriptor;
}

// Reads until `size` bytes are there.
void read_all(int descriptor, char *buffer, std::size_t size) {
    for (std::size_t total = 0; total < size;) {
        total += static_cast<std::size_t>(
            checked(static_cast<int>(read(descriptor, buffer + total, size - total)), "read"));
    }
}

void write_all(int descriptor, const std::string &bytes) {
    checked(static_cast<int>(write(descriptor, bytes.data(), bytes.size())), "write");
}

std::string message(std::int32_t sub_mod, const std::string &payload) {
    return configd::make_message(MODULE_ID_BGP, sub_mod, payload, 0).bytes;
}

// --- Reading a reply of 10 MiB -------------------------------------------------------

// Sends the same prepared bytes whenever something arrives, so that only their
// transfer to the reader is measured.
class Sender {
  public:
    explicit Sender(std::string bytes)
        : bytes_(std::move(bytes)), listener_(checked(socket(AF_INET, SOCK_STREAM, 0), "socket")) {
        const int on = 1;
        setsockopt(listener_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        const sockaddr_in address = daemon_address();
        checked(bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
                "bind");
        checked(listen(listener_.get(), 2), "listen");
    }
    ~Sender() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;

    // Serves this many connections, which are already open, until all are closed.
    void serve(std::size_t connections) {
        for (std::size_t i = 0; i < connections; ++i) {
            connections_.emplace_back(checked(accept(listener_.get(), nullptr, nullptr), "accept"));
        }
        thread_ = std::thread([this] { send_on_request(); });
    }

  private:
    void send_on_request() {
        std::vector<pollfd> waiting;
        waiting.reserve(connections_.size());
        for (const FileDescriptor &connection : connections_) {
            waiting.push_back({connection.get(), POLLIN, 0});
        }
        while (!waiting.empty()) {
            poll(waiting.data(), waiting.size(), -1);
            const auto closed = [this](const pollfd &connection) {
                return connection.revents != 0 && !answer(connection.fd);
            };
            waiting.erase(std::remove_if(waiting.begin(), waiting.end(), closed), waiting.end());
        }
    }
    // Returns false when the connection was closed.
    bool answer(int connection) const {
        char request[4096];
        if (read(connection, request, sizeof request) <= 0) {
            return false;
        }
        for (std::size_t sent = 0; sent < bytes_.size();) {
            const ssize_t count =
                send(connection, bytes_.data() + sent, bytes_.size() - sent, MSG_NOSIGNAL);
            if (count < 0) {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }

    std::string bytes_;
    FileDescriptor listener_;
    std::vector<FileDescriptor> connections_;
    std::thread thread_;
};

void read_reply(benchmark::State &state) {
    const std::string query = message(BGP_SUB_RPC_IP_BGP_SUMMARY,
                                      std::string(sizeof(bgp_rpc_ip_bgp_summary_input), '\0'));
    const std::string payload(BUF_SIZE_MAX - sizeof(netconf_data_struc), 'x');
    Sender sender(message(BGP_SUB_RPC_IP_BGP_SUMMARY, payload));
    const FileDescriptor plugins(open_connection());
    const FileDescriptor floors(open_connection());
    sender.serve(2);
    std::vector<char> request(query.begin(), query.end());
    std::vector<char> buffer(BUF_SIZE_MAX);

    const auto plugin = [&] {
        auto *sent = reinterpret_cast<netconf_data_struc *>(request.data());
        benchmark::DoNotOptimize(sendAndGetReplyBuff(plugins.get(), sent));
    };
    const auto floor = [&] {
        write_all(floors.get(), query);
        read_all(floors.get(), buffer.data(), buffer.size());
    };
    plugin(); // touches the buffer
    bench::side_by_side(state,
                        {{"plugin", [&] { return seconds(plugin); }},
                         {"floor", [&] { return seconds(floor); }, [] {}, 1.1}},
                        1);
}

// --- A small query and a configuration record ------------------------------------------

constexpr int exchanges_in_a_run = 50;

std::function<double()> repeated(std::function<void()> exchange) {
    return [exchange = std::move(exchange)] {
        return seconds([&exchange] {
            for (int i = 0; i < exchanges_in_a_run; ++i) {
                exchange();
            }
        });
    };
}

void small_query(benchmark::State &state) {
    support::RecordingDaemon daemon;
    const std::string payload = bench::reply_kinds().front().payload(1);
    daemon.answer_otherwise(configd::Reply{MODULE_ID_BGP, BGP_SUB_RPC_IP_BGP_SUMMARY, 0, payload});
    bgp_rpc_ip_bgp_summary_input input{};
    const std::string query = message(BGP_SUB_RPC_IP_BGP_SUMMARY, std::string(sizeof input, '\0'));
    std::vector<char> reply(sizeof(netconf_data_struc) + payload.size());

    const auto plugin = [&] {
        benchmark::DoNotOptimize(bgp_plugin_get(&input, sizeof input, BGP_SUB_RPC_IP_BGP_SUMMARY));
    };
    const auto floor = [&] {
        const FileDescriptor connection(open_connection());
        write_all(connection.get(), query);
        read_all(connection.get(), reply.data(), reply.size());
    };
    const auto forget = [&] { daemon.take_messages(); };
    bench::side_by_side(
        state, {{"plugin", repeated(plugin), forget}, {"floor", repeated(floor), forget, 1.1}},
        exchanges_in_a_run);
}

void configuration_record(benchmark::State &state) {
    support::RecordingDaemon daemon;
    bgp_address_family_network_universal_val record{};
    const std::string bytes =
        message(BGP_SUB_NETWORK, {reinterpret_cast<const char *>(&record), sizeof record});
    const FileDescriptor connection(open_connection());

    const auto plugin = [&] {
        benchmark::DoNotOptimize(__real_plugin_config(&record, sizeof record, SR_OP_CREATED,
                                                      MODULE_ID_BGP, BGP_SUB_NETWORK));
    };
    const auto floor = [&] {
        char result[4];
        write_all(connection.get(), bytes);
        read_all(connection.get(), result, sizeof result);
    };
    const auto forget = [&] { daemon.take_messages(); };
    bench::side_by_side(
        state, {{"plugin", repeated(plugin), forget}, {"floor", repeated(floor), forget, 1.05}},
        exchanges_in_a_run);
    plugin_close(netconf_plugin_context);
    netconf_plugin_context = 0;
}

BENCHMARK(read_reply)->Name("transport/reply of 10 MiB")->UseManualTime();
BENCHMARK(small_query)->Name("transport/small query")->UseManualTime();
BENCHMARK(configuration_record)->Name("transport/configuration record")->UseManualTime();

} // namespace
