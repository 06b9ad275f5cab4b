#include "datastore.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace support {

namespace fs = std::filesystem;

namespace {

constexpr const char *module_name = "orv_bgp";

// The last registration: once sysrepo lists it, all are made.
constexpr const char *last_registration = "clear-ip-bgp";

Outcome checked(const std::string &program, std::vector<std::string> arguments) {
    Outcome outcome = run(program, std::move(arguments));
    if (outcome.exit_code != 0) {
        throw std::runtime_error(program + " failed: " + outcome.output);
    }
    return outcome;
}

} // namespace

Datastore::Datastore() {
    std::string name = (fs::temp_directory_path() / "orv_bgp_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    directory_ = name;
    prefix_ = directory_.filename().string();
    fs::create_directory(directory_ / "plugins");
    fs::create_directory(directory_ / "repository");
    fs::copy_file(ORV_BGP_PLUGIN, directory_ / "plugins" / fs::path(ORV_BGP_PLUGIN).filename());
    setenv("SYSREPO_REPOSITORY_PATH", (directory_ / "repository").c_str(), 1);
    setenv("SYSREPO_SHM_PREFIX", prefix_.c_str(), 1);
    setenv("SRPD_PLUGINS_PATH", (directory_ / "plugins").c_str(), 1);
    checked("sysrepoctl", {"--install", ORV_BGP_YANG});
}

Datastore::~Datastore() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
    for (const auto &file : fs::directory_iterator("/dev/shm", ignored)) {
        if (file.path().filename().string().rfind(prefix_, 0) == 0) {
            fs::remove(file.path(), ignored);
        }
    }
}

fs::path Datastore::write(const std::string &name, const std::string &content) const {
    fs::path path = directory_ / name;
    std::ofstream(path) << content;
    return path;
}

std::unique_ptr<Process> Datastore::start_edit(const std::string &xml) const {
    return std::make_unique<Process>(
        "sysrepocfg", std::vector<std::string>{"--edit=" + write("edit.xml", xml).string(), "-m",
                                               module_name, "-f", "xml", "-d", "running"});
}

Outcome Datastore::edit(const std::string &xml) const {
    const auto client = start_edit(xml);
    std::string output = client->read_all();
    return {client->wait(), std::move(output)};
}

Outcome Datastore::call(const std::string &xml, int seconds) const {
    return run("sysrepocfg", {"--rpc=" + write("rpc.xml", xml).string(), "-m", module_name, "-f",
                              "xml", "-t", std::to_string(seconds)});
}

std::string Datastore::configuration() const {
    return checked("sysrepocfg", {"-X", "-d", "running", "-f", "xml", "-m", module_name}).output;
}

std::string Datastore::operational(const std::string &module) {
    return checked("sysrepocfg", {"-X", "-d", "operational", "-f", "xml", "-m", module}).output;
}

Host::Host(const Datastore & /*datastore*/)
    : process_(
          std::make_unique<Process>("sysrepo-plugind", std::vector<std::string>{"-d", "-v", "1"})) {
    while (Datastore::operational("sysrepo-monitoring").find(last_registration) ==
           std::string::npos) {
        if (!is_alive()) {
            throw std::runtime_error("sysrepo-plugind: " + process_->read_all());
        }
    }
}

int Host::terminate() {
    process_->signal(SIGTERM);
    return process_->wait();
}

bool Host::is_alive() const {
    std::ifstream status("/proc/" + std::to_string(process_->pid()) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(status), {}};
    const std::size_t name_end = text.rfind(") ");
    return name_end != std::string::npos && text[name_end + 2] != 'Z';
}

std::size_t Host::descriptors() const {
    const fs::path directory = "/proc/" + std::to_string(process_->pid()) + "/fd";
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

} // namespace support
