// Request message: a request to the daemon, header and record in one block.
#ifndef REQUEST_MESSAGE_H
#define REQUEST_MESSAGE_H

#include "netconf_public.h"
#include "refusal.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

class RequestMessage {
  public:
    // Makes a message with the `length` bytes of a record. Does not set its resValue. Without
    // memory, or for a length that exceeds a message, get() returns NULL and the reason is noted.
    RequestMessage(const void *record, int length, int module_id, int sub_mod) {
        constexpr int header = sizeof(netconf_data_struc);
        const auto record_size = static_cast<std::size_t>(length); // a negative length becomes huge
        if (record_size <= BUF_SIZE_MAX - header) {
            message_ = static_cast<netconf_data_struc *>(std::malloc(header + record_size));
        }
        if (message_ == nullptr) {
            refusal.because("out of memory");
            return;
        }
        message_->module = static_cast<ENUM_MODULE_ID>(module_id);
        message_->subMod = sub_mod;
        message_->dataLen = header + length;
        std::memcpy(message_->transferData, record, record_size);
    }
    RequestMessage(const RequestMessage &) = delete;
    RequestMessage &operator=(const RequestMessage &) = delete;
    ~RequestMessage() { std::free(message_); }

    // The message, which this object owns; NULL: none.
    netconf_data_struc *get() const { return message_; }

  private:
    netconf_data_struc *message_ = nullptr;
};

#endif
