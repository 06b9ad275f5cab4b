#include "datastore.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
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

// The environment may name another build of the plug-in, and the library of the sanitizers that it
// was built with.
const char *from_environment(const char *name, const char *otherwise) {
    const char *value = std::getenv(name);
    return value == nullptr ? otherwise : value;
}

const char *sanitizer_runtime() {
    return from_environment("SANITIZER_RUNTIME", "");
}

// The last registration: when sysrepo lists it, all are complete.
constexpr const char *last_registration = "clear-ip-bgp";

Outcome checked(const std::string &program, std::vector<std::string> arguments) {
    Outcome outcome = run(program, std::move(arguments));
    if (outcome.exit_code != 0) {
        throw std::runtime_error(program + " failed: " + outcome.output);
    }
    return outcome;
}

fs::path reports_of(const Datastore &datastore) {
    return datastore.directory() / "sanitizer";
}

// The host itself is not instrumented: it loads the sanitizers first, and they write their findings
// to separate files.
std::vector<std::string> host_variables(const std::vector<std::string> &preloads,
                                        const fs::path &reports) {
    std::string libraries = sanitizer_runtime();
    for (const std::string &library : preloads) {
        libraries += " " + library;
    }
    const std::string log = "log_path=" + reports.string();
    std::string options = from_environment("ASAN_OPTIONS", "") + (":" + log);
    if (!preloads.empty()) {
        // A preloaded object may replace a variable of the plug-in.
        options += ":detect_odr_violation=0";
    }
    return {"LD_PRELOAD=" + libraries, "ASAN_OPTIONS=" + options,
            "UBSAN_OPTIONS=print_stacktrace=1:" + log};
}

} // namespace

std::string router_bgp(const std::string &content, const std::string &attributes) {
    return R"(<router-bgp xmlns="urn:orv:params:xml:ns:yang:orv_bgp" )"
           R"(xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0")" +
           attributes + ">" + content + "</router-bgp>";
}

std::string set_as(std::uint32_t as) {
    return router_bgp("<as>" + std::to_string(as) + "</as>");
}

std::string element(const std::string &name, const std::string &content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

Datastore::Datastore() : Datastore(from_environment("ORV_BGP_PLUGIN", ORV_BGP_PLUGIN)) {}

Datastore::Datastore(const fs::path &plugin) {
    std::string name = (fs::temp_directory_path() / "orv_bgp_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    directory_ = name;
    prefix_ = directory_.filename().string();
    fs::create_directory(directory_ / "plugins");
    fs::create_directory(directory_ / "repository");
    fs::copy_file(plugin, directory_ / "plugins" / plugin.filename());
    setenv("SYSREPO_REPOSITORY_PATH", (directory_ / "repository").c_str(), 1);
    setenv("SYSREPO_SHM_PREFIX", prefix_.c_str(), 1);
    setenv("SRPD_PLUGINS_PATH", (directory_ / "plugins").c_str(), 1);
    install(ORV_BGP_YANG);
}

Datastore::~Datastore() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
    for (const auto &file : fs::directory_iterator("/dev/shm", ignored)) {
        if (file.path().filename().string().rfind(prefix_ + "_", 0) == 0) {
            fs::remove(file.path(), ignored);
        }
    }
}

fs::path Datastore::write(const std::string &name, const std::string &content) const {
    fs::path path = directory_ / name;
    std::ofstream(path) << content;
    return path;
}

void Datastore::uninstall() const {
    checked("sysrepoctl", {"--uninstall", module_name});
}

void Datastore::install(const fs::path &yang) const {
    checked("sysrepoctl", {"--install", yang.string()});
}

std::unique_ptr<Process> Datastore::start_edit(const std::string &xml, int seconds) const {
    return std::make_unique<Process>(
        "sysrepocfg",
        std::vector<std::string>{"--edit=" + write("edit.xml", xml).string(), "-m", module_name,
                                 "-f", "xml", "-d", "running", "-t", std::to_string(seconds)});
}

Outcome Datastore::edit(const std::string &xml) const {
    return start_edit(xml)->finish();
}

std::unique_ptr<Process> Datastore::start_call(const std::string &xml, int seconds) const {
    return std::make_unique<Process>(
        "sysrepocfg",
        std::vector<std::string>{"--rpc=" + write("rpc.xml", xml).string(), "-m", module_name, "-f",
                                 "xml", "-t", std::to_string(seconds)});
}

Outcome Datastore::call(const std::string &xml, int seconds) const {
    return start_call(xml, seconds)->finish();
}

std::string Datastore::configuration() const {
    return checked("sysrepocfg", {"-X", "-d", "running", "-f", "xml", "-m", module_name}).output;
}

std::string Datastore::operational(const std::string &module) {
    return checked("sysrepocfg", {"-X", "-d", "operational", "-f", "xml", "-m", module}).output;
}

Host::Host(const Datastore &datastore, const std::vector<std::string> &preloads)
    : reports_(reports_of(datastore)), process_(start(datastore, preloads)) {
    while (Datastore::operational("sysrepo-monitoring").find(last_registration) ==
           std::string::npos) {
        if (!is_alive()) {
            throw std::runtime_error("sysrepo-plugind: " + process_->read_all() + reports());
        }
    }
}

std::unique_ptr<Process> Host::start(const Datastore &datastore,
                                     const std::vector<std::string> &preloads) {
    return std::make_unique<Process>("sysrepo-plugind", std::vector<std::string>{"-d", "-v", "1"},
                                     host_variables(preloads, reports_of(datastore)));
}

bool Host::is_sanitized() {
    return *sanitizer_runtime() != '\0';
}

Host::~Host() {
    if (process_ == nullptr) {
        return;
    }
    if (is_alive()) {
        EXPECT_EQ(terminate(), 0);
    }
    EXPECT_EQ(reports(), "");
}

std::string Host::reports() const {
    std::string text;
    for (const auto &file : fs::directory_iterator(reports_.parent_path())) {
        if (file.path().stem() == reports_.filename()) {
            std::ifstream report(file.path());
            text.append(std::istreambuf_iterator<char>(report), {});
        }
    }
    return text;
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

std::size_t Host::sockets() const {
    const fs::path directory = "/proc/" + std::to_string(process_->pid()) + "/fd";
    return static_cast<std::size_t>(
        std::count_if(fs::directory_iterator(directory), fs::directory_iterator(),
                      [](const fs::directory_entry &descriptor) {
                          std::error_code closed_meanwhile;
                          return fs::read_symlink(descriptor.path(), closed_meanwhile)
                                     .string()
                                     .rfind("socket:", 0) == 0;
                      }));
}

} // namespace support
