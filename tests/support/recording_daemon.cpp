#include "recording_daemon.h"

#include <utility>

namespace support {

RecordingDaemon::RecordingDaemon() : server_(*this) {
    server_.on_event([this](const configd::ConnectionEvent &event) { seen(event); });
    thread_ = std::thread([this] { server_.run(); });
}

RecordingDaemon::~RecordingDaemon() {
    server_.stop();
    thread_.join();
}

void RecordingDaemon::answer_next(configd::Answer answer) {
    const std::lock_guard lock(mutex_);
    answers_.push_back(std::move(answer));
}

void RecordingDaemon::answer_otherwise(configd::Answer answer) {
    answer_otherwise(
        [answer = std::move(answer)](const configd::Message & /*message*/) { return answer; });
}

void RecordingDaemon::answer_otherwise(
    std::function<configd::Answer(const configd::Message &)> answer) {
    const std::lock_guard lock(mutex_);
    otherwise_ = std::move(answer);
}

std::vector<configd::Message> RecordingDaemon::take_messages() {
    const std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
}

void RecordingDaemon::wait_for_messages(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return messages_.size() >= count; });
}

std::size_t RecordingDaemon::connections() const {
    const std::lock_guard lock(mutex_);
    return opened_;
}

void RecordingDaemon::wait_for_closed(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return closed_ >= count; });
}

configd::Answer RecordingDaemon::answer(const configd::Message &message) {
    const std::lock_guard lock(mutex_);
    messages_.push_back(message);
    changed_.notify_all();
    if (answers_.empty()) {
        return otherwise_(message);
    }
    configd::Answer next = std::move(answers_.front());
    answers_.pop_front();
    return next;
}

void RecordingDaemon::seen(const configd::ConnectionEvent &event) {
    const std::lock_guard lock(mutex_);
    opened_ += event.kind == configd::ConnectionEvent::Kind::Opened ? 1 : 0;
    closed_ += event.kind == configd::ConnectionEvent::Kind::Closed ? 1 : 0;
    changed_.notify_all();
}

std::vector<std::string> in_pieces(const std::string &bytes, std::size_t first, std::size_t size) {
    std::vector<std::string> pieces = {bytes.substr(0, first)};
    for (std::size_t i = first; i < bytes.size(); i += size) {
        pieces.push_back(bytes.substr(i, size));
    }
    return pieces;
}

} // namespace support
