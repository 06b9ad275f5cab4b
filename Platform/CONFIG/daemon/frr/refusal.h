// Why a configuration message is not applied.
#ifndef CONFIGD_FRR_REFUSAL_H
#define CONFIGD_FRR_REFUSAL_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace configd::frr {

// Thrown where applying a message ends early; never leaves the backend.
class Refusal : public std::runtime_error {
  public:
    // `code` is the result code that answers the message, `reason` is for the log.
    Refusal(std::int32_t code, const std::string &reason)
        : std::runtime_error{reason}, code_{code} {}

    std::int32_t code() const noexcept { return code_; }

  private:
    std::int32_t code_;
};

} // namespace configd::frr

#endif
