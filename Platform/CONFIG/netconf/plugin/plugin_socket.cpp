// The transport to the configuration daemon; see plugin_public.h.
#include "plugin_public.h"

#include "diagnostics.h"
#include "refusal.h"
#include "request_message.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

int com_printf_flag = 0;
int netconf_plugin_context = 0;

// The one receive buffer of query replies, and the same size again after it: every
// read asks for the size of the whole buffer, wherever in the buffer it starts.
// The bytes after the last reply are zero: the next reply clears those of the
// previous one. Pages that no reply has reached take no memory.
extern "C" {
alignas(netconf_data_struc)
    [[gnu::visibility("hidden"), gnu::used]] char reply_room[2 * BUF_SIZE_MAX];
}

// Exports the buffer as `buf`, without the room after it. Protected: other programs
// find it, but a variable of that name in another program does not replace it.
#define TEXT(number) #number
#define TEXT_OF(macro) TEXT(macro)
asm(".globl buf\n"
    ".protected buf\n"
    ".type buf, STT_OBJECT\n"
    ".set buf, reply_room\n"
    ".size buf, " TEXT_OF(BUF_SIZE_MAX));

namespace {

constexpr int reply_wait_seconds = 60;
constexpr int header_length = sizeof(netconf_data_struc);

constexpr Diagnostics trace{com_printf_flag};

// The reasons for the client when an exchange fails.
constexpr const char *not_reachable =
    "the configuration daemon is not reachable at " NETCONF_DAEMON_ADDRESS
    ":%d; start it and try again";
constexpr const char *connection_lost =
    "the configuration daemon has closed the connection (%s); when it runs again, restart the "
    "plug-in host, which connects anew";
constexpr const char *no_reply = "the configuration daemon gave no reply (%s); see its log";

// The header at the start of the reply buffer, or the part that has arrived.
netconf_data_struc reply_header() {
    netconf_data_struc header;
    std::memcpy(&header, reply_room, sizeof header);
    return header;
}

// Waits until fd has something to read. Returns 0 on time-out, as select does.
int wait_for_reply(int fd) {
    // A descriptor set ends at FD_SETSIZE; a host with many plug-ins may exceed it.
    if (fd >= FD_SETSIZE) {
        pollfd descriptor{fd, POLLIN, 0};
        return poll(&descriptor, 1, reply_wait_seconds * 1000);
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval limit{reply_wait_seconds, 0};
    return select(fd + 1, &readable, nullptr, nullptr, &limit);
}

// Reads once, after the `total` bytes in the buffer (fewer than its size), and
// adds the new bytes to `total`. Returns read's result. `line` is the number in
// the trace.
int read_on(int fd, int &total, int line) {
    const int count = static_cast<int>(read(fd, reply_room + total, BUF_SIZE_MAX));
    trace.print("[%s:%d]readLen = %d\n", "sendAndGetReplyBuff", line, count);
    if (count < 0) {
        trace.print("read data err,readLen = %d!\n", count);
        refusal.because(no_reply, "reading failed");
    } else if (count == 0) {
        trace.print("read over,total = %d.\n", total);
    } else {
        total += count;
    }
    return count;
}

// Reads a reply into the buffer, whose header is zero, and counts its bytes. If
// the connection ends early, keeps what arrived. Returns false when a read failed
// or the reply announces more than fits.
bool receive_reply(int fd, int &total) {
    int count = read_on(fd, total, 158);
    if (count <= 0) {
        return count == 0;
    }
    if (reply_header().dataLen > BUF_SIZE_MAX) {
        always.line("data length exceed BUF_SIZE_MAX");
        refusal.because("the configuration daemon's reply is longer than %d bytes; ask for less",
                        BUF_SIZE_MAX);
        return false;
    }
    // The announced length may not have arrived yet, so each round reads it again.
    // A full buffer ends the reply like a closed connection.
    while (count > 0 && total < std::min(reply_header().dataLen, BUF_SIZE_MAX)) {
        count = read_on(fd, total, 187);
    }
    return count >= 0;
}

// Replaces the previous reply, of `total` bytes, with the next one from fd.
// Returns receive_reply's result. Clears the bytes of the previous reply that the
// new one has not overwritten.
bool read_reply(int fd, int &total) {
    const int previous = total;
    total = 0;
    std::memset(reply_room, 0, header_length);
    const bool received = receive_reply(fd, total);
    if (total < previous) {
        std::memset(reply_room + total, 0, static_cast<std::size_t>(previous - total));
    }
    return received;
}

} // namespace

int sockCreateAndConnect(int domain, int type, int protocol, int port) {
    const int descriptor = socket(domain, type, protocol);
    if (descriptor < 0) {
        return -1;
    }
    trace.print("socket_desc is %d.\n", descriptor);

    const int reuse = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);

    sockaddr_in daemon{};
    daemon.sin_family = AF_INET;
    daemon.sin_addr.s_addr = inet_addr(NETCONF_DAEMON_ADDRESS);
    daemon.sin_port = htons(static_cast<std::uint16_t>(port));
    const int result =
        connect(descriptor, reinterpret_cast<const sockaddr *>(&daemon), sizeof daemon);
    if (result < 0) {
        trace.line("connect fail.");
        return result;
    }
    trace.line("connect successfully.");
    return descriptor;
}

int plugin_connect(int *context) {
    *context = sockCreateAndConnect(AF_INET, SOCK_STREAM, 0, NETCONF_DAEMON_PORT);
    if (*context < 0) {
        trace.print("\nin plugin_send: socket connect failed");
        refusal.because(not_reachable, NETCONF_DAEMON_PORT);
        return -1;
    }
    return 0;
}

int plugin_close(int context) {
    close(context);
    return 0;
}

int sendAndGetResponseCode(int fd, netconf_data_struc *send_data, sr_error_t *res_code) {
    trace.line("\n in sendAndGetResponseCode");

    // The code is stored as bytes: the enumeration does not include the codes beyond
    // sysrepo's own, or other numbers that a daemon may answer.
    std::int32_t response = 0;
    static_assert(sizeof response == sizeof *res_code, "a result code is 32 bits wide");
    const auto answer = [res_code](std::int32_t code) {
        std::memcpy(res_code, &code, sizeof code);
    };

    auto count = write(fd, send_data, static_cast<std::size_t>(send_data->dataLen));
    if (count < 0) {
        trace.line("\nsendAndGetResponseCode:send data failed");
        refusal.because(connection_lost, "it takes no data");
        answer(SR_ERR_SOCKET_FAILED);
        return static_cast<int>(count);
    }
    trace.line("\nsendAndGetResponseCode:##send data OK");

    count = read(fd, &response, sizeof response);
    trace.line("\nsendAndGetResponseCode:##after read");
    if (count != sizeof response) {
        trace.line("\nsendAndGetResponseCode:receive data failed");
        refusal.because(connection_lost, "no whole result code came");
        answer(SR_ERR_SOCKET_FAILED);
        return static_cast<int>(count);
    }
    answer(response);
    trace.print("\nsendAndGetResponseCode:res is %d\n", response);
    return static_cast<int>(count);
}

netconf_data_struc *sendAndGetReplyBuff(int fd, netconf_data_struc *send_data) {
    static int total = 0;

    if (send_data == nullptr) {
        always.line("point is NULL.");
        return nullptr;
    }
    trace.print("The send data totalLen is %d.\n", send_data->dataLen);
    if (write(fd, send_data, static_cast<std::size_t>(send_data->dataLen)) < 0) {
        always.print("[%s:%d]send data err!\n", __func__, 138);
        refusal.because(no_reply, "it takes no data");
        return nullptr;
    }
    trace.line("\nsendAndGetReplyBuff:##send data OK");
    trace.print("[%s:%d]begin readLen = %d\n", __func__, 150, 0);

    // After a time-out the previous reply is still in the buffer and is returned
    // again. After a failed wait, read anyway: the read reports what is wrong.
    if (wait_for_reply(fd) != 0 && !read_reply(fd, total)) {
        return nullptr;
    }
    trace.print("total = %d\n", total);
    if (total < 1) {
        refusal.because(no_reply, "nothing came");
        return nullptr;
    }
    if (total < header_length) {
        refusal.because(no_reply, "what came is shorter than a message's header");
    }
    const netconf_data_struc reply = reply_header();
    trace.print("module is %d,resValue is %d,dataLen is %d\n", reply.module, reply.resValue,
                reply.dataLen);
    if (reply.module != send_data->module) {
        trace.line("The data is not statis!");
        refusal.because(no_reply, "what came is another module's");
        return nullptr;
    }
    return reinterpret_cast<netconf_data_struc *>(reply_room);
}

int plugin_send_and_receive(int context, void *data, int data_len, int /*option*/, int module_id,
                            int sub_mod) {
    trace.line("\nin plugin_send_and_receive");

    const RequestMessage message(data, data_len, module_id, sub_mod);
    if (message.get() == nullptr) {
        return SR_ERR_NOMEM;
    }

    sr_error_t result = SR_ERR_OK;
    sendAndGetResponseCode(context, message.get(), &result);
    std::int32_t code = SR_ERR_OK;
    std::memcpy(&code, &result, sizeof code);
    return code;
}

int plugin_config(void *data, int data_len, int option, int module_id, int sub_mod) {
    if (data == nullptr) {
        trace.print("error, parameter error :%d", 0);
        return SR_ERR_OPERATION_FAILED;
    }
    if (netconf_plugin_context < 1) {
        const int result = plugin_connect(&netconf_plugin_context);
        if (result != 0) {
            trace.print("error, parameter send error :%d", result);
            return SR_ERR_SOCKET_FAILED;
        }
    }
    const int result =
        plugin_send_and_receive(netconf_plugin_context, data, data_len, option, module_id, sub_mod);
    if (result != SR_ERR_OK) {
        trace.print("error, parameter receive error :%d", result);
    }
    return result;
}

int plugin_value_choose(sr_change_oper_t changeOp, sr_val_t *old_val, sr_val_t *new_val,
                        sr_val_t **use_val) {
    trace.print("\nin plugin_value_choose changeOp is %d\n", changeOp);
    const bool set = changeOp == SR_OP_CREATED || changeOp == SR_OP_MODIFIED;
    *use_val = set ? new_val : old_val;
    return *use_val == nullptr ? SR_ERR_INTERNAL : SR_ERR_OK;
}
