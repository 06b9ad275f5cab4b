#include "server.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>
#include <asio/write.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <exception>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace configd {
namespace {

using asio::ip::tcp;
using std::error_code;

// How long the server waits for a free descriptor before it accepts again.
constexpr std::chrono::milliseconds descriptor_pause{100};

// The bytes to send for an answer, and whether the connection is then closed.
struct AnswerBytes {
    RawBytes operator()(const ResultCode &answer) const {
        std::string bytes(sizeof answer.code, '\0');
        std::memcpy(bytes.data(), &answer.code, sizeof answer.code);
        return {std::move(bytes), false};
    }
    RawBytes operator()(const Reply &answer) const {
        return {make_message(answer.module, answer.sub_mod, answer.payload, answer.res_value).bytes,
                false};
    }
    RawBytes operator()(RawBytes &answer) const { return std::move(answer); }
    RawBytes operator()(const Silence & /*answer*/) const { return {{}, false}; }
};

// Why `work` failed; empty if it did not.
std::string failure_of(const std::function<void()> &work) {
    try {
        work();
        return {};
    } catch (const std::exception &error) {
        const std::string why = error.what();
        return why.empty() ? "unknown" : why;
    }
}

} // namespace

// The server's data, which its connections refer to.
struct Server::State {
    State(Handler &handler_of_messages, std::uint16_t port, const Limits &limits_of_peers)
        : handler(handler_of_messages), limits(limits_of_peers), acceptor(context),
          descriptor_timer(context) {
        const tcp::endpoint endpoint(asio::ip::make_address_v4(NETCONF_DAEMON_ADDRESS), port);
        acceptor.open(endpoint.protocol());
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        try {
            acceptor.bind(endpoint);
            acceptor.listen();
        } catch (const std::system_error &error) {
            throw std::system_error(error.code().value(), std::generic_category(),
                                    "cannot listen on " NETCONF_DAEMON_ADDRESS ":" +
                                        std::to_string(port));
        }
        accept();
    }
    State(const State &) = delete;
    State &operator=(const State &) = delete;
    // Both stop before either is waited for: no work that still waits begins.
    ~State() {
        for (std::optional<asio::thread_pool> *pool : {&workers, &one_worker}) {
            if (*pool) {
                (*pool)->stop();
            }
        }
    }

    void accept();
    // Closes connections, the one with the largest unfinished message first, until the others are
    // within the limit.
    void limit_unfinished();
    void report(ConnectionEvent::Kind kind, std::uint64_t connection,
                std::string detail = {}) const {
        if (sink) {
            sink({kind, connection, std::move(detail)});
        }
    }

    // Does `work` in a thread, then calls `done` in run() with the reason if it failed.
    void start(bool ordered, std::function<void()> work,
               std::function<void(const std::string &failure)> done) {
        std::optional<asio::thread_pool> &pool = ordered ? one_worker : workers;
        if (!pool) {
            pool.emplace(ordered ? 1U : 4U);
        }
        asio::post(*pool, [this, work = std::move(work), done = std::move(done)] {
            asio::post(context, [done, failure = failure_of(work)] { done(failure); });
        });
    }

    void await(asio::signal_set &signal, std::function<void()> received) {
        signal.async_wait([this, &signal, received = std::move(received)](error_code error, int) {
            if (!error) {
                received();
                await(signal, received);
            }
        });
    }

    Handler &handler;
    const Limits limits;
    std::function<void(const ConnectionEvent &)> sink;
    asio::io_context context{1};
    tcp::acceptor acceptor;
    asio::steady_timer descriptor_timer;
    std::uint64_t opened = 0;
    std::size_t unfinished = 0; // bytes of unfinished messages, of all connections
    std::map<std::uint64_t, std::shared_ptr<Connection>> connections;
    std::vector<std::unique_ptr<asio::signal_set>> signals;
    // Destroyed first: their work uses the members above.
    std::optional<asio::thread_pool> workers;
    std::optional<asio::thread_pool> one_worker;
};

class Server::Connection : public std::enable_shared_from_this<Connection> {
  public:
    Connection(State &state, tcp::socket socket, std::uint64_t number)
        : state_(state), socket_(std::move(socket)), timer_(state.context), number_(number) {
        error_code ignored;
        // Answers are small, so each is sent as soon as it is written.
        socket_.set_option(tcp::no_delay(true), ignored);
    }

    // Answers the received messages up to the first that is incomplete or whose answer takes a job.
    void proceed() {
        const Frame frame = frame_of(input_);
        switch (frame.framing) {
        case Framing::Broken:
            return close("dataLen is " + std::to_string(frame.length));
        case Framing::Incomplete:
            state_.limit_unfinished();
            return receive();
        case Framing::Complete:
            break;
        }
        const auto length = static_cast<std::size_t>(frame.length);
        const Message message = message_from_bytes(input_.substr(0, length));
        drop(length);
        answer(message);
    }

    // The bytes received and not answered yet.
    std::size_t held() const { return input_.size(); }

    void close(const std::string &what_is_wrong = {}) {
        if (!socket_.is_open()) {
            return;
        }
        if (!what_is_wrong.empty()) {
            state_.report(ConnectionEvent::Kind::BadFrame, number_, what_is_wrong);
        }
        error_code ignored;
        socket_.close(ignored);
        is_closed_ = true;
        drop(input_.size());
        state_.report(ConnectionEvent::Kind::Closed, number_);
        forget();
    }

  private:
    // Gives the connection's place to another one, but not before its job has ended: connections
    // that are reset while their jobs wait would otherwise be without a limit.
    void forget() {
        if (!socket_.is_open() && !has_job_) {
            state_.connections.erase(number_);
            state_.descriptor_timer.cancel();
        }
    }

    // Removes the first `size` bytes received, with the memory for them, and stops the timer.
    void drop(std::size_t size) {
        input_ = input_.substr(size);
        state_.unfinished -= size;
        stop_timer();
    }

    void start_timer(const char *what_is_wrong) {
        is_timed_ = true;
        timer_.expires_after(state_.limits.message);
        timer_.async_wait([self = shared_from_this(), what_is_wrong](error_code error) {
            if (!error && self->is_timed_ &&
                self->timer_.expiry() <= asio::steady_timer::clock_type::now()) {
                self->close(what_is_wrong);
            }
        });
    }

    void stop_timer() {
        is_timed_ = false;
        timer_.cancel();
    }

    // Does `work` for an event of the connection, and closes the connection if it fails.
    template <typename Work>
    void handle(Work work) {
        if (const std::string failure = failure_of(work); !failure.empty()) {
            close(failure);
        }
    }

    // Waits for the rest of an unfinished message or for the next message.
    void receive() {
        if (!input_.empty() && !is_timed_) {
            start_timer("its message did not come in time");
        }
        socket_.async_read_some(asio::buffer(chunk_),
                                [self = shared_from_this()](error_code error, std::size_t count) {
                                    self->handle([&] { self->received(error, count); });
                                });
    }

    void received(error_code error, std::size_t count) {
        if (!socket_.is_open()) {
            return;
        }
        if (error) {
            return close(input_.empty() ? "" : "closed in the middle of a message");
        }
        input_.append(chunk_.data(), count);
        state_.unfinished += count;
        proceed();
    }

    void answer(const Message &message) {
        std::optional<Job> job;
        std::optional<Answer> answer;
        const std::string failure = failure_of([&] {
            job = state_.handler.job_for(message);
            if (job) {
                start(message, std::move(*job));
            } else {
                answer = state_.handler.answer(message);
            }
        });
        if (!failure.empty()) {
            answer = state_.handler.failed(message, failure);
        }
        if (answer) {
            send(std::move(*answer));
        }
    }

    // Runs the job while the connection waits for its answer. The only event that can come
    // meanwhile is a reset by the peer; nobody then needs the answer to a query.
    void start(const Message &message, Job job) {
        state_.start(
            job.in_order,
            [self = shared_from_this(), in_order = job.in_order, work = std::move(job.work)] {
                if (self->is_closed_ && !in_order) {
                    throw std::runtime_error("its connection is closed");
                }
                work();
            },
            [self = shared_from_this(), message,
             make_answer = std::move(job.answer)](const std::string &failure) {
                self->handle([&] { self->finish(message, make_answer, failure); });
            });
        has_job_ = true;
        socket_.async_wait(tcp::socket::wait_error, [self = shared_from_this()](error_code error) {
            if (!error) {
                self->close();
            }
        });
    }

    // Sends the answer to the message whose job has ended.
    void finish(const Message &message, const std::function<Answer()> &make_answer,
                std::string failure) {
        has_job_ = false;
        std::optional<Answer> answer;
        if (failure.empty()) {
            failure = failure_of([&] { answer = make_answer(); });
        }
        error_code ignored;
        socket_.cancel(ignored);
        send(failure.empty() ? std::move(*answer) : state_.handler.failed(message, failure));
        forget();
    }

    void send(Answer answer) {
        if (!socket_.is_open()) {
            return;
        }
        output_ = std::visit(AnswerBytes{}, answer);
        if (output_.bytes.size() > chunk_.size()) {
            start_timer("its answer was not read in time");
        }
        asio::async_write(socket_, asio::buffer(output_.bytes),
                          [self = shared_from_this()](error_code error, std::size_t /*count*/) {
                              self->stop_timer();
                              const bool is_last = error || self->output_.close_after;
                              self->output_ = {{}, false};
                              if (is_last) {
                                  self->close();
                              } else if (self->socket_.is_open()) {
                                  self->handle([&] { self->proceed(); });
                              }
                          });
    }

    State &state_;
    tcp::socket socket_;
    asio::steady_timer timer_;
    bool is_timed_ = false; // while a message is unfinished or a large answer unread
    bool has_job_ = false;
    std::atomic<bool> is_closed_{false}; // for the threads of the jobs
    std::uint64_t number_;
    std::array<char, 4096> chunk_{}; // the bytes of one read
    std::string input_;              // received and not answered yet
    RawBytes output_{{}, false};     // the answer being sent
};

void Server::State::accept() {
    acceptor.async_accept([this](error_code error, tcp::socket socket) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (error) {
            // No descriptor is free. New connections wait until one is.
            descriptor_timer.expires_after(descriptor_pause);
            descriptor_timer.async_wait([this](error_code /*ended early*/) { accept(); });
            return;
        }
        const std::uint64_t number = ++opened;
        if (connections.size() >= limits.connections) {
            report(ConnectionEvent::Kind::Refused, number,
                   std::to_string(connections.size()) + " connections are open");
        } else {
            const auto connection = std::make_shared<Connection>(*this, std::move(socket), number);
            connections[number] = connection;
            report(ConnectionEvent::Kind::Opened, number);
            connection->proceed();
        }
        accept();
    });
}

void Server::State::limit_unfinished() {
    while (unfinished > limits.unfinished) {
        const auto largest = std::max_element(connections.begin(), connections.end(),
                                              [](const auto &one, const auto &other) {
                                                  return one.second->held() < other.second->held();
                                              });
        const std::shared_ptr<Connection> connection = largest->second;
        connection->close("unfinished messages take too much memory");
    }
}

Server::Server(Handler &handler, std::uint16_t port, const Limits &limits)
    : state_(std::make_unique<State>(handler, port, limits)) {}

Server::~Server() = default;

std::uint16_t Server::port() const {
    return state_->acceptor.local_endpoint().port();
}

void Server::on_event(std::function<void(const ConnectionEvent &)> sink) {
    state_->sink = std::move(sink);
}

void Server::on_signal(int number, std::function<void()> received) {
    auto set = std::make_unique<asio::signal_set>(state_->context, number);
    state_->await(*set, std::move(received));
    state_->signals.push_back(std::move(set));
}

void Server::in_order(std::function<void()> work, std::function<void()> done) {
    state_->start(/*ordered=*/true, std::move(work),
                  [done = std::move(done)](const std::string & /*failure*/) { done(); });
}

void Server::run() {
    state_->context.run();
}

void Server::stop() {
    state_->context.stop();
}

} // namespace configd
