// zevo-dm, the diagnostic host of the bench: see host_application.h and --help.

#include <iostream>
#include <string>
#include <vector>

#include "host/host_application.h"

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return zevo::host::run_host(arguments, std::cout, std::cerr);
}
