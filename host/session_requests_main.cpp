// zevo-session-requests: writes the simulator's scripted session as a zevo-tester request file
// on standard output (the plain steps with their expected answers), so that a script drives a
// served zevo-dm through the same session the host runs, from the one plan in the simulator.
// Usage: zevo-session-requests [--help]. Exit codes: 0 written; 2 a bad command line.

#include <iostream>
#include <string>

#include "host/session_request_file.h"
#include "sim/session_plan.h"

int main(int argc, char** argv) {
    const char* const usage =
        "usage: zevo-session-requests\n"
        "  writes the requests of the simulator's scripted session that a tester can run (no\n"
        "  cancel, withdraw or offer steps) as zevo-tester request lines with their expected\n"
        "  answers. They hold for zevo-keysim or zevo-dm serve started with the scenario\n"
        "  {\"routine_duration_ms\": 0} on a fresh simulator.\n";
    if (argc == 2 && std::string(argv[1]) == "--help") {
        std::cout << usage;
        return 0;
    }
    if (argc != 1) {
        std::cerr << "zevo-session-requests: unknown argument " << argv[1] << '\n' << usage;
        return 2;
    }
    std::cout << zevo::host::tester_request_file(zevo::sim::default_session());
    return std::cout.good() ? 0 : 1;
}
