#include "tests/soak/process_figures.h"

#include <dirent.h>

#include <fstream>
#include <string>

namespace zevo::soak {

Process_figures read_process_figures(pid_t pid) {
    Process_figures figures;
    const std::string base = "/proc/" + std::to_string(pid);
    std::ifstream status(base + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) figures.rss_kib = std::stoul(line.substr(6));
        if (line.rfind("Threads:", 0) == 0) figures.threads = std::stoul(line.substr(8));
    }
    if (DIR* directory = opendir((base + "/fd").c_str())) {
        while (const dirent* entry = readdir(directory)) {
            if (entry->d_name[0] != '.') ++figures.descriptors;
        }
        closedir(directory);
    }
    return figures;
}

}  // namespace zevo::soak
