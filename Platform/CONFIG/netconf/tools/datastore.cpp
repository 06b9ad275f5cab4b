#include "datastore.h"

#include <fmt/format.h>

#include <cstdlib>
#include <stdexcept>

namespace bgpctl {
namespace {

constexpr std::uint32_t longest_edit = 3600 * 1000; // milliseconds

const lys_module &installed_module(const ly_ctx *context) {
    const lys_module *module = ly_ctx_get_module(context, module_name, nullptr, 1);
    if (module == nullptr) {
        throw std::runtime_error(fmt::format(
            "the module {} is not installed in sysrepo; install it with sysrepoctl --install",
            module_name));
    }
    return *module;
}

} // namespace

void check(int code, const std::string &what) {
    if (code != SR_ERR_OK) {
        throw std::runtime_error(fmt::format("{}: {}", what, sr_strerror(code)));
    }
}

Datastore::Datastore() {
    ly_log_options(LY_LOSTORE_LAST); // the exception carries the message
    check(sr_connect(SR_CONN_DEFAULT, &connection_),
          "cannot connect to sysrepo; check that it is installed and that this user may use it");
    const int code = sr_session_start(connection_, SR_DS_RUNNING, &session_);
    if (code != SR_ERR_OK) {
        sr_disconnect(connection_);
        check(code, "cannot start a session with sysrepo");
    }
}

Datastore::~Datastore() {
    sr_disconnect(connection_);
}

std::string Datastore::revision() const {
    const lys_module *module = ly_ctx_get_module(context(), module_name, nullptr, 1);
    return module == nullptr || module->rev_size == 0 ? "" : module->rev[0].date;
}

Tree Datastore::data(sr_datastore_t datastore, const std::string &path) const {
    check(sr_session_switch_ds(session_, datastore),
          "cannot switch to another datastore of sysrepo");
    lyd_node *tree = nullptr;
    const int code = sr_get_data(session_, path.c_str(), 0, 0, 0, &tree);
    sr_session_switch_ds(session_, SR_DS_RUNNING);
    check(code, fmt::format("cannot read {} from sysrepo", path));
    return Tree(tree);
}

std::string Datastore::configuration() const {
    installed_module(context());
    const Tree tree = data(SR_DS_RUNNING, fmt::format("/{}:*", module_name));
    char *text = nullptr;
    if (tree == nullptr || lyd_print_mem(&text, tree.get(), LYD_XML, LYP_WITHSIBLINGS) != 0 ||
        text == nullptr) {
        return {};
    }
    const std::unique_ptr<char, void (*)(void *)> owner(text, std::free);
    return text;
}

std::uint32_t Datastore::as() const {
    sr_val_t *value = nullptr;
    if (sr_get_item(session_, "/orv_bgp:router-bgp/as", 0, &value) != SR_ERR_OK) {
        return 0;
    }
    const std::uint32_t as = value->data.uint32_val;
    sr_free_val(value);
    return as;
}

std::string Datastore::write_module(const std::string &directory) const {
    std::string path = fmt::format("{}/{}@{}.yang", directory, module_name, revision());
    if (lys_print_path(path.c_str(), &installed_module(context()), LYS_OUT_YANG, nullptr, 0, 0) !=
        0) {
        throw std::runtime_error("cannot write the module to " + path);
    }
    return path;
}

void Datastore::install(const std::string &file) const {
    check(sr_install_module(connection_, file.c_str(), nullptr, nullptr, 0),
          "sysrepo cannot install " + file);
}

int Datastore::edit(const std::string &text) const {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        throw std::runtime_error("the edit is empty");
    }
    const Tree tree(lyd_parse_mem(const_cast<ly_ctx *>(context()), text.c_str(),
                                  text[first] == '{' ? LYD_JSON : LYD_XML,
                                  LYD_OPT_EDIT | LYD_OPT_STRICT));
    if (tree == nullptr) {
        throw std::runtime_error(
            fmt::format("the edit does not fit the module: {}", ly_errmsg(context())));
    }
    const int code = sr_edit_batch(session_, tree.get(), "merge");
    return code == SR_ERR_OK ? sr_apply_changes(session_, longest_edit, 1) : code;
}

std::string Datastore::reason() const {
    const sr_error_info_t *info = nullptr;
    if (sr_get_error(session_, &info) != SR_ERR_OK || info == nullptr || info->err_count == 0) {
        return {};
    }
    const auto &first = info->err[0];
    return first.xpath == nullptr ? first.message
                                  : fmt::format("{}: {}", first.xpath, first.message);
}

ModuleLock::ModuleLock(const Datastore &datastore) : datastore_(datastore) {
    check(sr_lock(datastore.session(), module_name),
          "another client holds the lock on the running configuration; try again later");
}

ModuleLock::~ModuleLock() {
    sr_unlock(datastore_.session(), module_name);
}

} // namespace bgpctl
