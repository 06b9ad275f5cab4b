// A server in its own thread, and connections to it.
#ifndef DAEMON_TEST_CLIENT_H
#define DAEMON_TEST_CLIENT_H

#include "file_descriptor.h"
#include "server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

// Runs a server on a free port until the end of the test.
class RunningServer {
  public:
    explicit RunningServer(configd::Server &server)
        : server_{server}, thread_{[&server] { server.run(); }} {}
    RunningServer(const RunningServer &) = delete;
    RunningServer &operator=(const RunningServer &) = delete;
    ~RunningServer() {
        server_.stop();
        thread_.join();
    }

  private:
    configd::Server &server_;
    std::thread thread_;
};

// A blocking connection to the daemon.
class Client {
  public:
    // receive_buffer: the size of the connection's receive buffer in bytes, 0 for the system's
    // default.
    explicit Client(std::uint16_t port, int receive_buffer = 0)
        : socket_{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
        const int on = 1;
        ::setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (receive_buffer > 0) {
            ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &receive_buffer,
                         sizeof receive_buffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::inet_addr(NETCONF_DAEMON_ADDRESS);
        address.sin_port = htons(port);
        if (::connect(socket_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
            throw std::system_error(errno, std::generic_category(), "connect");
        }
    }

    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count < 0) {
                throw std::system_error(errno, std::generic_category(), "send");
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    // Ends sending; what the daemon sends still arrives.
    void finish_sending() { ::shutdown(socket_.get(), SHUT_WR); }

    // Resets the connection. Unread and unsent bytes are lost.
    void reset() {
        const linger at_once{1, 0};
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        socket_ = configd::FileDescriptor{};
    }

    // The next bytes; fewer only when the daemon closes the connection first.
    std::string receive(std::size_t size) {
        std::string bytes(size, '\0');
        std::size_t received = 0;
        while (received < size) {
            const ssize_t count =
                ::recv(socket_.get(), bytes.data() + received, size - received, 0);
            if (count <= 0) {
                break;
            }
            received += static_cast<std::size_t>(count);
        }
        bytes.resize(received);
        return bytes;
    }

    std::int32_t receive_code() {
        const std::string bytes = receive(sizeof(std::int32_t));
        if (bytes.size() != sizeof(std::int32_t)) {
            throw std::runtime_error("the daemon sent no result code");
        }
        std::int32_t code = 0;
        std::memcpy(&code, bytes.data(), sizeof code);
        return code;
    }

    configd::Message receive_message() {
        const std::string header = receive(configd::header_size);
        if (header.size() != configd::header_size) {
            throw std::runtime_error("the daemon sent no message");
        }
        netconf_data_struc fields{};
        std::memcpy(&fields, header.data(), header.size());
        return configd::message_from_bytes(
            header + receive(static_cast<std::size_t>(fields.dataLen) - header.size()));
    }

    // Waits until the daemon has closed the connection. Returns whether it sent nothing before.
    bool is_closed() { return receive(1).empty(); }

    std::int32_t ask(const configd::Message &message) {
        send(message.bytes);
        return receive_code();
    }

  private:
    configd::FileDescriptor socket_;
};

#endif
