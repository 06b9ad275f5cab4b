// Access to the datastore: connection, session and data trees with RAII.
#ifndef BGPCTL_DATASTORE_H
#define BGPCTL_DATASTORE_H

#include <libyang/libyang.h>
#include <sysrepo.h>

#include <cstdint>
#include <memory>
#include <string>

namespace bgpctl {

inline constexpr const char *module_name = "orv_bgp";

// Throws std::runtime_error with `what` and sysrepo's text for `code`, unless that is SR_ERR_OK.
void check(int code, const std::string &what);

struct FreeTree {
    void operator()(lyd_node *tree) const { lyd_free_withsiblings(tree); }
};
using Tree = std::unique_ptr<lyd_node, FreeTree>;

// A connection to the datastore of the environment, and a session on its running datastore.
class Datastore {
  public:
    // Throws std::runtime_error without a datastore, or without permission to use it.
    Datastore();
    Datastore(const Datastore &) = delete;
    Datastore &operator=(const Datastore &) = delete;
    ~Datastore();

    sr_session_ctx_t *session() const { return session_; }

    // The newest installed revision of the module; empty: not installed.
    std::string revision() const;

    // The data below `path` in a datastore; null when there are none. Throws std::runtime_error
    // when sysrepo does not return them.
    Tree data(sr_datastore_t datastore, const std::string &path) const;

    // The running configuration of the module as XML; empty when there is none.
    std::string configuration() const;
    // The configured AS number; 0 when there is none.
    std::uint32_t as() const;

    // Writes the module's source into `directory` and returns its path.
    std::string write_module(const std::string &directory) const;
    // Installs the module in this file. It is available from the next connection on.
    void install(const std::string &file) const;

    // Makes an edit: JSON if it begins with a brace, otherwise XML. Waits for the callbacks at most
    // an hour. Returns sysrepo's code. Throws std::runtime_error when the edit does not fit an
    // installed module.
    int edit(const std::string &text) const;
    // Why the last edit failed: the message of sysrepo or of a callback.
    std::string reason() const;

  private:
    const ly_ctx *context() const { return sr_get_context(connection_); }

    sr_conn_ctx_t *connection_ = nullptr;
    sr_session_ctx_t *session_ = nullptr;
};

// Locks the module while it exists: sysrepo refuses edits of other clients.
class ModuleLock {
  public:
    // Throws std::runtime_error when another client holds the lock.
    explicit ModuleLock(const Datastore &datastore);
    ModuleLock(const ModuleLock &) = delete;
    ModuleLock &operator=(const ModuleLock &) = delete;
    ~ModuleLock();

  private:
    const Datastore &datastore_;
};

} // namespace bgpctl

#endif
