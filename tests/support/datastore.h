// A private sysrepo datastore with the module installed, and the real plug-in
// host with the plug-in in it.
#ifndef DATASTORE_H
#define DATASTORE_H

#include "process.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace support {

// An edit of the module's configuration: router-bgp with this content, as XML. `attributes` are
// those of the element, such as a NETCONF operation.
std::string router_bgp(const std::string &content, const std::string &attributes = "");
std::string element(const std::string &name, const std::string &content = "");
std::string set_as(std::uint32_t as);

// The constructor creates it, with its own directory and shared-memory prefix; the destructor
// removes it. One at a time in a process: sysrepo's programs find it through the environment.
class Datastore {
  public:
    Datastore();
    // For a host with another plug-in than that of this build.
    explicit Datastore(const std::filesystem::path &plugin);
    Datastore(const Datastore &) = delete;
    Datastore &operator=(const Datastore &) = delete;
    ~Datastore();

    // Edits the running datastore with sysrepocfg. The exit code is 0 when the
    // edit was accepted; the output is that of sysrepocfg.
    Outcome edit(const std::string &xml) const;

    // The same without waiting for the client, which gives up after `seconds`.
    std::unique_ptr<Process> start_edit(const std::string &xml, int seconds = 60) const;

    // Sends an RPC with sysrepocfg; the output is that of the RPC, as XML.
    Outcome call(const std::string &xml, int seconds = 60) const;
    std::unique_ptr<Process> start_call(const std::string &xml, int seconds = 60) const;

    // The configuration, as XML; empty when there is none.
    std::string configuration() const;

    // Removes the module with its data and installs the module of a YANG file. No
    // host may run meanwhile.
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

// sysrepo-plugind with only the datastore's plug-in, its callbacks registered. If the plug-in is
// built with sanitizers, a finding fails the test.
class Host {
  public:
    // Whether sanitizers are active; the process then keeps freed memory.
    static bool is_sanitized();

    // `preloads` are shared objects that the host loads first.
    explicit Host(const Datastore &datastore, const std::vector<std::string> &preloads = {});
    Host(Host &&) = default;
    Host &operator=(Host &&) = default; // once the one that it replaces has ended
    // Ends it like terminate, if it still runs.
    ~Host();

    // Starts one without waiting for its registrations, for instance because they fail.
    static std::unique_ptr<Process> start(const Datastore &datastore,
                                          const std::vector<std::string> &preloads = {});

    // Ends it like a service manager. Returns the exit code, or the negated number of
    // the signal.
    int terminate();

    // Whether it is running.
    bool is_alive() const;

    // The number of its open descriptors, and of sockets among them: sysrepo itself
    // uses no sockets.
    std::size_t descriptors() const { return process_->descriptors(); }
    std::size_t sockets() const;

    Process &process() { return *process_; }
    const Process &process() const { return *process_; }

  private:
    // The findings of the sanitizers.
    std::string reports() const;

    std::filesystem::path reports_; // the start of the report files' names
    std::unique_ptr<Process> process_;
};

} // namespace support

#endif
