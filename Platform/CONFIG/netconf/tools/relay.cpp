#include "relay.h"

#include "memory_backend.h"
#include "plugin_public.h"

#include <fmt/format.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace bgpctl {

Upstream::Upstream() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in daemon{};
    daemon.sin_family = AF_INET;
    daemon.sin_addr.s_addr = inet_addr(NETCONF_DAEMON_ADDRESS);
    daemon.sin_port = htons(NETCONF_DAEMON_PORT);
    if (connect(socket_, reinterpret_cast<const sockaddr *>(&daemon), sizeof daemon) != 0) {
        close(socket_);
        throw std::runtime_error(fmt::format("no configuration daemon listens on {}:{}; start it",
                                             NETCONF_DAEMON_ADDRESS, NETCONF_DAEMON_PORT));
    }
}

Upstream::~Upstream() {
    close(socket_);
}

std::int32_t Upstream::ask(const configd::Message &message) const {
    const auto size = static_cast<ssize_t>(message.bytes.size());
    std::int32_t code = 0;
    if (send(socket_, message.bytes.data(), message.bytes.size(), MSG_NOSIGNAL) != size ||
        recv(socket_, &code, sizeof code, MSG_WAITALL) != sizeof code) {
        throw std::runtime_error("the configuration daemon has closed the connection");
    }
    return code;
}

Relay::Relay(const Upstream *upstream, Observer observer)
    : upstream_(upstream), observer_(std::move(observer)), server_(*this),
      thread_([this] { server_.run(); }) {}

Relay::~Relay() {
    server_.stop();
    thread_.join();
}

configd::Answer Relay::answer(const configd::Message &message) {
    std::int32_t code = SR_ERR_OK;
    std::string why;
    try {
        code = upstream_ == nullptr ? SR_ERR_OK : upstream_->ask(message);
        why = fmt::format("the configuration daemon refused it with code {}", code);
    } catch (const std::exception &error) {
        code = SR_ERR_SOCKET_FAILED;
        why = error.what();
    }
    const configd::RecordKind *kind = configd::find_record_kind(message.sub_mod);
    if (code == SR_ERR_OK) {
        ++accepted_[kind == nullptr ? "unknown" : kind->name];
    } else if (!refused_) {
        refused_ =
            fmt::format("{}: {}: {}", configd::xpath_of(message), why, configd::readable(message));
    }
    observer_(message, code);
    return configd::ResultCode{code};
}

} // namespace bgpctl
