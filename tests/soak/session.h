// A client of the datastore, through sysrepo's own interface.
#ifndef SOAK_SESSION_H
#define SOAK_SESSION_H

#include <sysrepo.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace soak {

// How long a client waits, in milliseconds: longer than a busy machine takes.
constexpr std::uint32_t time_limit = 120000;

// Frees an array of values that sysrepo allocated.
class Values {
  public:
    Values(sr_val_t *values, std::size_t count) : values_{values}, count_{count} {}
    Values(const Values &) = delete;
    Values &operator=(const Values &) = delete;
    ~Values() { sr_free_values(values_, count_); }

    const sr_val_t *begin() const { return values_; }
    const sr_val_t *end() const { return values_ + count_; }

  private:
    sr_val_t *values_;
    std::size_t count_;
};

// The value as text; empty for a leaf without content.
std::string value_text(const sr_val_t &value);

// One setting of an edit: the path below the root, and the operation.
struct Change {
    enum Kind { set, remove };
    Kind kind;
    std::string path;
    std::string value;
};

// The result of an edit or an RPC: sysrepo's code and, for a failure, its message.
struct Outcome {
    int code;
    std::string message;
};

// The expected code for a reason to refuse, or for none: a callback refuses, and no other failure
// is expected.
inline int expected_code(const std::string &refusal) {
    return refusal.empty() ? int{SR_ERR_OK} : int{SR_ERR_CALLBACK_FAILED};
}

// An input of an RPC: the leaf's name, its type and its value.
struct Input {
    std::string leaf;
    sr_type_t type;
    std::string value;
};

// The answer to an RPC: leaves by their paths below that of the RPC.
using Answer = std::map<std::string, std::string>;

// A connection with a session on the running datastore.
class Session {
  public:
    // Throws std::runtime_error.
    Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session();

    // Makes one edit with the changes in their order. A refused edit leaves nothing behind.
    Outcome edit(const std::vector<Change> &changes);

    // Sends an RPC of the module by its name; `answer` receives the output.
    Outcome call(const std::string &rpc, const std::vector<Input> &inputs, Answer &answer);

    // Sets the leaf of any module in one edit, and reads it; an empty text: there is none.
    Outcome set(const std::string &path, const std::string &value);
    std::string get(const std::string &path) const;

    sr_session_ctx_t *get() const { return session_; }

  private:
    Outcome outcome(int code) const;
    int add(const Change &change);
    Outcome apply(int code);

    sr_conn_ctx_t *connection_ = nullptr;
    sr_session_ctx_t *session_ = nullptr;
};

} // namespace soak

#endif
