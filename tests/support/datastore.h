// A private sysrepo datastore with the module installed, and the real plug-in
// host with the plug-in in it.
#ifndef DATASTORE_H
#define DATASTORE_H

#include "process.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace support {

// An edit of the module's configuration: router-bgp with this content, as XML. `attributes` are
// the element's own, such as a NETCONF operation.
std::string router_bgp(const std::string &content, const std::string &attributes = "");
std::string element(const std::string &name, const std::string &content = "");

// Made when constructed, in a directory and under a shared-memory prefix of its
// own, and wiped when destroyed. One at a time in a process: sysrepo's programs
// find it through the environment.
class Datastore {
  public:
    Datastore();
    // For a host with another plug-in than this build's.
    explicit Datastore(const std::filesystem::path &plugin);
    Datastore(const Datastore &) = delete;
    Datastore &operator=(const Datastore &) = delete;
    ~Datastore();

    // Edits the running datastore with sysrepocfg. The exit code is 0 when the
    // edit was made; the output is the client's.
    Outcome edit(const std::string &xml) const;

    // The same without waiting for the client's end. It gives up after `seconds`.
    std::unique_ptr<Process> start_edit(const std::string &xml, int seconds = 60) const;

    // Calls an RPC with sysrepocfg; the output is the RPC's, as XML.
    Outcome call(const std::string &xml, int seconds = 60) const;
    std::unique_ptr<Process> start_call(const std::string &xml, int seconds = 60) const;

    // The configuration held, as XML; empty when there is none.
    std::string configuration() const;

    // Takes the module out, with its data, and puts one of a YANG file in. No host
    // runs meanwhile.
    void uninstall() const;
    void install(const std::filesystem::path &yang) const;

    // The operational data of a module, as XML.
    static std::string operational(const std::string &module);

    const std::filesystem::path &directory() const { return directory_; }

    // Writes a file into the directory and returns its path.
    std::filesystem::path write(const std::string &name, const std::string &content) const;

  private:
    std::filesystem::path directory_;
    std::string prefix_;
};

// sysrepo-plugind with the datastore's plug-in alone, its callbacks registered.
// When the plug-in is built with sanitizers, what they found is a failure of the
// test.
class Host {
  public:
    // Whether sanitizers look on; freed memory then stays with the process.
    static bool is_sanitized();

    // `preloads` are shared objects that go before the host's own.
    explicit Host(const Datastore &datastore, const std::vector<std::string> &preloads = {});
    Host(Host &&) = default;
    Host &operator=(Host &&) = default; // once the one that it replaces has ended
    // Ends it, if need be, as terminate does.
    ~Host();

    // Starts one without waiting for its registrations, as when they will fail.
    static std::unique_ptr<Process> start(const Datastore &datastore,
                                          const std::vector<std::string> &preloads = {});

    // Ends it as its service manager would. Returns the exit code, or the
    // signal's number negated.
    int terminate();

    // Whether it is running.
    bool is_alive() const;

    // How many descriptors it has open, and how many of them are sockets: sysrepo
    // itself uses none.
    std::size_t descriptors() const { return process_->descriptors(); }
    std::size_t sockets() const;

    Process &process() { return *process_; }
    const Process &process() const { return *process_; }

  private:
    // What the sanitizers have found.
    std::string reports() const;

    std::filesystem::path reports_; // files whose name starts so
    std::unique_ptr<Process> process_;
};

} // namespace support

#endif
