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
    // A message with the `length` bytes of a record; its resValue is left as it was allocated.
    // Without memory for it there is none, and the reason is noted; so it is for a length that no
    // message has.
    RequestMessage(const void *record, int length, int module_id, int sub_mod) {
        constexpr int header = sizeof(netconf_data_struc);
        const auto record_size =
            static_cast<std::size_t>(length); // of a negative length a huge one
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

    // The message, which stays this object's; NULL: there is none.
    netconf_data_struc *get() const { return message_; }

  private:
    netconf_data_struc *message_ = nullptr;
};

#endif
