// A daemon in the test's own process: keeps every message and answers as the
// test says.
#ifndef RECORDING_DAEMON_H
#define RECORDING_DAEMON_H

#include "handler.h"
#include "server.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

class RecordingDaemon : private configd::Handler {
  public:
    // Listens when constructed and stops, closing all connections, when destroyed.
    RecordingDaemon();
    ~RecordingDaemon() override;

    // Answers the next messages with these, then with `otherwise` again.
    void answer_next(configd::Answer answer);
    void answer_otherwise(configd::Answer answer);
    void answer_otherwise(std::function<configd::Answer(const configd::Message &)> answer);

    // Returns the messages received so far, in order, and clears the list.
    std::vector<configd::Message> take_messages();

    // Returns when that many messages have been received since the last take.
    void wait_for_messages(std::size_t count);

    // The number of connections so far; returns when that many are closed.
    std::size_t connections() const;
    void wait_for_closed(std::size_t count);

  private:
    configd::Answer answer(const configd::Message &message) override;
    void seen(const configd::ConnectionEvent &event);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<configd::Message> messages_;
    std::deque<configd::Answer> answers_;
    std::function<configd::Answer(const configd::Message &)> otherwise_ =
        [](const configd::Message & /*message*/) { return configd::ResultCode{0}; };
    std::size_t opened_ = 0;
    std::size_t closed_ = 0;
    configd::Server server_;
    std::thread thread_;
};

// `bytes` as they arrive: a first piece of `first` bytes, then pieces of `size` bytes.
std::vector<std::string> in_pieces(const std::string &bytes, std::size_t first,
                                   std::size_t size = 65536);

} // namespace support

#endif
