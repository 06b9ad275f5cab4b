#include "commands.h"

#include "datastore.h"
#include "isolation.h"
#include "message.h"
#include "plugin.h"
#include "relay.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

namespace bgpctl {
namespace {

namespace fs = std::filesystem;

std::string content_of(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error(fmt::format("cannot read the edit {}", file));
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

constexpr const char *directory = "/dev/shm/orv_bgpctl";

// Creates a private datastore with the real module in memory that ends with this process, and uses
// it from now on. Returns the running configuration of the real datastore, as XML.
std::string leave_datastore() {
    std::string configuration;
    std::string module;
    {
        const Datastore real;
        configuration = real.configuration();
        char name[] = "/tmp/orv_bgpctl.XXXXXX";
        if (mkdtemp(name) == nullptr) {
            throw std::runtime_error("cannot create a directory in /tmp");
        }
        module = content_of(real.write_module(name));
        fs::remove_all(name);
    }
    if (!isolate(/*own_memory=*/true)) {
        throw std::runtime_error(
            "this user cannot create namespaces on this kernel; run orv_bgpctl as root");
    }
    for (const char *name : {"repository", "plugins"}) {
        fs::create_directories(fmt::format("{}/{}", directory, name));
    }
    setenv("SYSREPO_REPOSITORY_PATH", fmt::format("{}/repository", directory).c_str(), 1);
    setenv("SYSREPO_SHM_PREFIX", "orv_bgpctl", 1);
    setenv("SRPD_PLUGINS_PATH", fmt::format("{}/plugins", directory).c_str(), 1);
    const std::string file = fmt::format("{}/{}.yang", directory, module_name);
    std::ofstream(file) << module;
    Datastore().install(file);
    return configuration;
}

// sysrepo's own host with this plug-in alone; ends with the object.
class PrivateHost {
  public:
    // Throws std::runtime_error when the host does not start or the plug-in does not register.
    explicit PrivateHost(const std::string &plugin) {
        fs::copy_file(plugin, fmt::format("{}/plugins/orv_bgp_plugin.so", directory));
        const pid_t parent = getpid();
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() == parent) {
                execlp("sysrepo-plugind", "sysrepo-plugind", "-d", "-v", "0", nullptr);
            }
            _exit(127);
        }
        while (!is_registered()) {
            int status = 0;
            if (pid_ < 0 || waitpid(pid_, &status, WNOHANG) != 0) {
                throw std::runtime_error("sysrepo-plugind does not start with the plug-in");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    PrivateHost(const PrivateHost &) = delete;
    PrivateHost &operator=(const PrivateHost &) = delete;
    ~PrivateHost() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }

  private:
    // Whether the last RPC is registered.
    static bool is_registered() {
        return Datastore().data(SR_DS_OPERATIONAL,
                                "/sysrepo-monitoring:sysrepo-state/"
                                "rpc[path='/orv_bgp:clear-ip-bgp']/rpc-sub") != nullptr;
    }

    pid_t pid_ = 0;
};

void make(const Datastore &datastore, const std::string &edit) {
    const int code = datastore.edit(edit);
    if (code != SR_ERR_OK) {
        const std::string reason = datastore.reason();
        throw std::runtime_error(
            fmt::format("it would be refused: {}", reason.empty() ? sr_strerror(code) : reason));
    }
}

} // namespace

int preview(const PreviewOptions &options) {
    const std::string edit = options.edit.empty() ? "" : content_of(options.edit);
    check_version(options.plugin);
    const std::string plugin = fs::canonical(options.plugin);
    const std::string running = leave_datastore();
    const Relay relay(nullptr, [&](const configd::Message &message, std::int32_t /*code*/) {
        fmt::print("{}\n", options.json ? configd::json_line(configd::decode(message))
                                        : configd::readable(message));
    });
    const Datastore datastore;
    if (!running.empty()) {
        make(datastore, running);
    }
    if (options.edit.empty()) {
        const ModuleLock lock(datastore);
        const int code = Plugin(plugin, datastore.session()).take_configuration(datastore, lock);
        check(code, "the plug-in refuses the configuration");
        return EXIT_SUCCESS;
    }
    const PrivateHost host(plugin);
    make(datastore, edit);
    return EXIT_SUCCESS;
}

} // namespace bgpctl
