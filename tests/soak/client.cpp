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

// The pause between two RPCs of a client, in milliseconds. sysrepo lets readers pass a waiting
// writer: RPCs without a pause would delay an edit for seconds.
constexpr std::size_t longest_pause = 20;

bool receive(int socket, char *bytes, std::size_t size) {
    return size == 0 || recv(socket, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// The next message, its length in front; nothing when the other end is closed.
std::string receive(int socket) {
    std::size_t size = 0;
    if (!receive(socket, reinterpret_cast<char *>(&size), sizeof size)) {
        return {};
    }
    std::string message(size, '\0');
    return receive(socket, message.data(), size) ? message : std::string{};
}

bool transmit(int socket, const std::string &message) {
    const std::size_t size = message.size();
    std::string bytes(reinterpret_cast<const char *>(&size), sizeof size);
    bytes += message;
    // On a blocking stream socket, send() returns when it has taken all bytes.
    return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
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
                random_.one_in(10) ? edit_other() : query(nullptr);
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
        if (outcome.code != SR_ERR_OK && query.refusal.empty() && tally_.daemon_is_away) {
            ++tally_.failed_queries;
            return;
        }
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
        const std::size_t size = entry_count(query, answer);
        std::size_t largest = tally_.largest_answer;
        while (size > largest && !tally_.largest_answer.compare_exchange_weak(largest, size)) {
        }
    }

    // Sets a value of the other plug-in's module and reads it back.
    void edit_other() {
        const std::string path =
            fmt::format("/soak_other:settings/entry[name='{}']/value", getpid());
        const std::string value = std::to_string(random_.below(1000000));
        const Outcome outcome = session().set(path, value);
        if (outcome.code != SR_ERR_OK || session().get(path) != value) {
            throw std::runtime_error(fmt::format("{} = {}: {} ({})", path, value,
                                                 sr_strerror(outcome.code), outcome.message));
        }
        ++tally_.other_edits;
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
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
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
