// The datastore as orv_bgpctl uses it: connection, session and data trees that free themselves.
#ifndef BGPCTL_DATASTORE_H
#define BGPCTL_DATASTORE_H

#include <libyang/libyang.h>
#include <sysrepo.h>

#include <memory>
#include <string>

namespace bgpctl {

inline constexpr const char *module_name = "orv_bgp";

// Throws std::runtime_error with `what` and sysrepo's text when `code` is a failure.
void check(int code, const std::string &what);

struct FreeTree {
    void operator()(lyd_node *tree) const { lyd_free_withsiblings(tree); }
};
using Tree = std::unique_ptr<lyd_node, FreeTree>;

// A connection to the datastore of the environment, and a session on its running datastore.
class Datastore {
  public:
    // Throws std::runtime_error when there is no datastore, or no right to it.
    Datastore();
    Datastore(const Datastore &) = delete;
    Datastore &operator=(const Datastore &) = delete;
    ~Datastore();

    sr_session_ctx_t *session() const { return session_; }

    // The newest revision of the module that is installed; empty: it is not installed.
    std::string revision() const;

    // The data below `path` in one of the datastores; null when there are none. Throws
    // std::runtime_error when they cannot be read.
    Tree data(sr_datastore_t datastore, const std::string &path) const;

    // The running configuration of the module as XML; empty when there is none.
    std::string configuration() const;
    // The configured AS number; 0 when there is none.
    std::uint32_t as() const;

    // Writes the module's source into `directory` and returns its path.
    std::string write_module(const std::string &directory) const;
    // Installs the module of this file. It is there from the next connection on.
    void install(const std::string &file) const;

    // Makes an edit, which is XML, or JSON when it begins with a brace; waits for the callbacks at
    // most an hour. Returns sysrepo's code. Throws std::runtime_error when it is no edit of any
    // installed module.
    int edit(const std::string &text) const;
    // Why the last edit failed, in the words of sysrepo or of a callback.
    std::string reason() const;

  private:
    const ly_ctx *context() const { return sr_get_context(connection_); }

    sr_conn_ctx_t *connection_ = nullptr;
    sr_session_ctx_t *session_ = nullptr;
};

// The lock on the module while it lives: other clients' edits are refused.
class ModuleLock {
  public:
    // Throws std::runtime_error when another client has it.
    explicit ModuleLock(const Datastore &datastore);
    ModuleLock(const ModuleLock &) = delete;
    ModuleLock &operator=(const ModuleLock &) = delete;
    ~ModuleLock();

  private:
    const Datastore &datastore_;
};

} // namespace bgpctl

#endif
