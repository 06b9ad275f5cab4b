// orv_bgpctl: replay, preview, status and traces of the BGP plug-in.
#include "commands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <tuple>

std::string bgpctl::installed_plugin() {
    const char *directory = std::getenv("SRPD_PLUGINS_PATH");
    return std::string(directory == nullptr ? PLUGIN_DIRECTORY : directory) + "/orv_bgp_plugin.so";
}

int main(int argc, char **argv) try {
    CLI::App app("Operates the BGP plug-in for sysrepo.");
    app.name("orv_bgpctl");
    app.set_version_flag("--version", "orv_bgpctl " ORV_BGP_VERSION);
    app.require_subcommand(1);
    std::string plugin = bgpctl::installed_plugin();
    const auto add_plugin = [&](CLI::App *command) {
        command->add_option("--plugin", plugin, "The plug-in; default: " + plugin)
            ->type_name("FILE");
    };

    bgpctl::ReplayOptions replay;
    CLI::App *replaying = app.add_subcommand(
        "replay",
        "Send the running configuration to the daemon, through the plug-in's own callbacks");
    replaying->add_flag(
        "--replace", replay.replace,
        "Make the daemon drop the BGP instance first, which also removes what the datastore "
        "does not have; all BGP sessions go down");
    replaying->add_flag("--yes", replay.yes, "Do not ask before --replace");
    add_plugin(replaying);

    bgpctl::PreviewOptions preview;
    CLI::App *previewing = app.add_subcommand(
        "preview", "Show the records of the running configuration or of an edit; send nothing");
    previewing->add_option("EDIT", preview.edit, "A file with an edit, as XML or JSON")
        ->check(CLI::ExistingFile);
    previewing->add_flag("--json", preview.json, "One JSON object for each record");
    add_plugin(previewing);

    bgpctl::StatusOptions status;
    CLI::App *asking =
        app.add_subcommand("status", "Show what works and what to do about the rest");
    asking->add_flag("--json", status.json, "One JSON object");
    asking->add_option("--wait", status.wait, "Wait until all is well, at most this many seconds")
        ->check(CLI::NonNegativeNumber)
        ->type_name("SECONDS");
    add_plugin(asking);

    bgpctl::TraceOptions trace;
    CLI::App *tracing = app.add_subcommand("trace", "Switch the plug-in's traces on and off");
    tracing->require_subcommand(1);
    const std::tuple<const char *, bgpctl::TraceAction, const char *> actions[] = {
        {"on", bgpctl::TraceAction::on, "Switch the traces on"},
        {"off", bgpctl::TraceAction::off, "Switch the traces off"},
        {"status", bgpctl::TraceAction::status, "Show whether the traces are on"}};
    for (const auto &[name, action, what] : actions) {
        CLI::App *command = tracing->add_subcommand(name, what);
        command->callback([&trace, action = action] { trace.action = action; });
        command->add_flag("--transport", trace.transport,
                          "on: also the exchanges with the daemon; off: only these");
        command->add_option("--pid", trace.pid, "The host, if several have loaded the plug-in")
            ->type_name("PID");
    }

    CLI11_PARSE(app, argc, argv);
    replay.plugin = preview.plugin = status.plugin = plugin;
    if (replaying->parsed()) {
        return bgpctl::replay(replay);
    }
    if (previewing->parsed()) {
        return bgpctl::preview(preview);
    }
    return asking->parsed() ? bgpctl::status(status) : bgpctl::trace(trace);
} catch (const std::exception &error) {
    std::fprintf(stderr, "orv_bgpctl: %s\n", error.what());
    return EXIT_FAILURE;
}
