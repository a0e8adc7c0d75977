#include "host/host_application.h"

#include <exception>

#include "host/extension_set.h"
#include "host/host_options.h"
#include "host/plugin_library.h"
#include "host/session_runner.h"
#include "host/session_script.h"
#include "host/uds_dispatcher.h"

namespace zevo::host {
namespace {

int run_command(const Host_options& options, std::ostream& out, std::ostream& err) {
    // Declared in this order so that the extensions are gone before the plug-in is closed.
    const Plugin_library plugin(options.plugin_path);
    Extension_set extensions(plugin.entry_points());
    extensions.attach_all(options.instance);
    Uds_dispatcher dispatcher(options.tester_address);
    extensions.serve_with(dispatcher);

    int exit_code = exit_done;
    if (options.command == Host_command::send) {
        const Uds_response response = dispatcher.dispatch(options.request);
        out << describe_response(response) << '\n';
        if (!response.job_error.empty()) err << "zevo-dm: the job threw: " << response.job_error << '\n';
    } else {
        const Session_report report =
            run_session(dispatcher, make_session_script(extensions.data_identifiers(), extensions.routines()), out);
        exit_code = report.passed() ? exit_done : exit_session_mismatch;
    }
    extensions.detach_all();
    return exit_code;
}

}  // namespace

int run_host(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    Host_options options;
    try {
        options = parse_host_options(arguments);
    } catch (const Option_error& error) {
        err << "zevo-dm: " << error.what() << "\nTry 'zevo-dm --help'.\n";
        return exit_usage_or_plugin;
    }
    if (options.help) {
        out << host_usage();
        return exit_done;
    }
    if (options.command == Host_command::none) {
        err << "zevo-dm: no command given\n\n" << host_usage();
        return exit_usage_or_plugin;
    }
    try {
        return run_command(options, out, err);
    } catch (const std::exception& error) {
        err << "zevo-dm: " << error.what() << '\n';
        return exit_usage_or_plugin;
    }
}

}  // namespace zevo::host
