// zevo-soak: the soak of the whole road, DoIP testers -> zevo-dm serve -> SOME/IP -> zevo-keysim,
// with workshop faults (scripts/soak.sh runs it in a network namespace). Exit 0 when every
// answer was accepted and the serve process kept its resources, 1 on any failure, 2 on a bad
// command line or processes that cannot be started.

#include <iostream>

#include "tests/soak/soak_run.h"

int main(int argc, char** argv) {
    zevo::soak::Soak_options options;
    try {
        options = zevo::soak::parse_soak_options(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::invalid_argument& error) {
        std::cerr << "zevo-soak: " << error.what() << "\n" << zevo::soak::soak_usage;
        return 2;
    }
    try {
        return zevo::soak::run_soak(options, std::cout);
    } catch (const std::exception& error) {
        std::cerr << "zevo-soak: " << error.what() << "\n";
        return 2;
    }
}
