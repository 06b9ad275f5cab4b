#include "client.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace soak {

namespace {

using nlohmann::json;

// Larger than any edit with its few values.
constexpr std::size_t longest_message = 256 * 1024;

// The pause between two RPCs of a client, in milliseconds. sysrepo lets readers pass a waiting
// writer: RPCs without a pause would delay an edit for seconds.
constexpr std::size_t longest_pause = 20;

// The next message; nothing when the other end is closed.
std::string receive(int socket) {
    static std::vector<char> buffer(longest_message);
    const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
    return count <= 0 ? std::string{} : std::string(buffer.data(), static_cast<std::size_t>(count));
}

bool transmit(int socket, const std::string &message) {
    return send(socket, message.data(), message.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(message.size());
}

// Waits this many milliseconds for a message.
bool is_readable(int socket, std::size_t milliseconds) {
    pollfd descriptor{socket, POLLIN, 0};
    return poll(&descriptor, 1, static_cast<int>(milliseconds)) > 0;
}

// The main loop of the process: requested tasks come first, continuous RPCs fill the time.
class Work {
  public:
    Work(int socket, std::uint64_t seed, Tally &tally)
        : socket_{socket}, random_{seed}, tally_{tally} {}

    void run() {
        for (;;) {
            if (tally_.querying && !is_readable(socket_, random_.below(longest_pause))) {
                query(nullptr);
                continue;
            }
            const std::string message = receive(socket_);
            if (message.empty()) {
                return;
            }
            transmit(socket_, answer(json::parse(message)));
        }
    }

  private:
    std::string answer(const json &message) {
        if (message.contains("edit")) {
            std::vector<Change> changes;
            for (const json &row : message["edit"]) {
                changes.push_back({row[0] ? Change::remove : Change::set, row[1], row[2]});
            }
            const Outcome outcome = session().edit(changes);
            return json{outcome.code, outcome.message}.dump();
        }
        if (message.contains("query")) {
            const auto configuration = message["query"].get<Configuration>();
            query(&configuration);
        }
        return "{}";
    }

    // Clients disconnect and connect again.
    Session &session() {
        if (session_ == nullptr || random_.one_in(1000)) {
            session_.reset();
            session_ = std::make_unique<Session>();
            ++tally_.connections;
        }
        return *session_;
    }

    void query(const Configuration *configuration) {
        const Query query = draw_query(random_);
        Answer answer;
        const Outcome outcome = session().call(query.rpc, query.inputs, answer);
        ++tally_.queries;
        tally_.refused_queries += outcome.code == SR_ERR_OK ? 0U : 1U;
        if (outcome.code != expected_code(query.refusal)) {
            throw std::runtime_error(fmt::format("{}: {} ({}); {}", description(query),
                                                 sr_strerror(outcome.code), outcome.message,
                                                 query.refusal));
        }
        if (outcome.code != SR_ERR_OK) {
            return;
        }
        const std::string problem =
            configuration == nullptr ? flaw(query, answer) : flaw(query, answer, *configuration);
        if (!problem.empty()) {
            throw std::runtime_error(description(query) + ": " + problem);
        }
    }

    int socket_;
    Random random_;
    Tally &tally_;
    std::unique_ptr<Session> session_;
};

// Never returns: this process must not clean up what belongs to the parent.
[[noreturn]] void live(int socket, std::uint64_t seed, Tally &tally) {
    for (const int number : {SIGINT, SIGTERM}) {
        std::signal(number, SIG_DFL);
    }
    int code = EXIT_SUCCESS;
    try {
        Work(socket, seed, tally).run();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "client %d: %s\n", static_cast<int>(getpid()), error.what());
        code = EXIT_FAILURE;
    }
    _exit(code);
}

} // namespace

Tally &shared_tally() {
    void *memory =
        mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mmap");
    }
    return *new (memory) Tally;
}

Client::Client(std::uint64_t seed, Tally &tally) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    socket_ = ends[0];
    pid_ = fork();
    if (pid_ == 0) {
        close(ends[0]);
        live(ends[1], seed, tally);
    }
    close(ends[1]);
    if (pid_ < 0) {
        close(socket_);
        throw std::system_error(errno, std::generic_category(), "fork");
    }
}

Client::~Client() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        close(socket_);
        waitpid(pid_, nullptr, 0);
    }
}

void Client::end() {
    const pid_t ended = std::exchange(pid_, 0);
    int status = 0;
    // Clients that are forked later have a copy of this end, so closing it here has no effect.
    shutdown(socket_, SHUT_RDWR);
    close(socket_);
    waitpid(ended, &status, 0);
    if (status != 0) {
        throw std::runtime_error(fmt::format("client {} has failed at its end", ended));
    }
}

std::string Client::ask(const std::string &message) {
    const std::string answer = transmit(socket_, message) ? receive(socket_) : std::string{};
    if (answer.empty()) {
        throw std::runtime_error(fmt::format("client {} has failed", pid_));
    }
    return answer;
}

Outcome Client::edit(const std::vector<Change> &changes) {
    json rows = json::array();
    for (const auto &[kind, path, value] : changes) {
        rows.push_back({kind == Change::remove, path, value});
    }
    const json answer = json::parse(ask(json{{"edit", rows}}.dump()));
    return {answer[0], answer[1]};
}

void Client::query(const Configuration &configuration) {
    ask(json{{"query", configuration}}.dump());
}

void Client::rest() {
    ask("{}");
}

} // namespace soak
