#pragma once
// Debian's dlt-daemon on a configuration, FIFO directory and TCP port of the test's own
// (127.0.0.1 only), dlt-receive writing what it receives into a DLT file, and that file read
// back with dlt-convert. Each program is stopped by its destructor, also when a test fails.
// Used on the test's thread only.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "child_process.h"

namespace zevo::log_test {

/// A directory of the test's own under /tmp, removed with everything in it at the end.
class Temporary_directory {
public:
    Temporary_directory() {
        char pattern[] = "/tmp/zevo_dlt_XXXXXX";
        if (mkdtemp(pattern) != nullptr) path_ = pattern;
    }
    ~Temporary_directory() {
        if (!path_.empty()) std::system(("rm -rf '" + path_ + "'").c_str());
    }
    Temporary_directory(const Temporary_directory&) = delete;
    Temporary_directory& operator=(const Temporary_directory&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// A TCP port on 127.0.0.1 that was free a moment ago: the kernel picks it, so parallel runs
/// get different ones.
inline int free_loopback_port() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = -1;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
    }
    close(fd);
    return port;
}

inline bool accepts_connections(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

inline bool file_exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

inline long file_size(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? static_cast<long>(status.st_size) : -1;
}

class Private_dlt_daemon {
public:
    /// Writes the configuration into `directory` and starts the daemon; ready() tells whether
    /// it came up (FIFO made, port accepting) within 5 s. Every context may log up to verbose.
    explicit Private_dlt_daemon(const std::string& directory)
        : directory_(directory), fifo_directory_(directory + "/fifo"), port_(free_loopback_port()) {
        mkdir(fifo_directory_.c_str(), 0755);
        std::ofstream(directory_ + "/dlt.conf")
            << "SendContextRegistration = 0\n"
               "ECUId = ECU1\n"
               "LoggingMode = 2\n"
               "LoggingLevel = 6\n"
               "LoggingFilename = " << directory_ << "/daemon-internal.log\n"
               "ContextLogLevel = 6\n"
               "ContextTraceStatus = 0\n"
               "DaemonFIFOSize = 262144\n"
               "BindAddress = ::ffff:127.0.0.1\n"  // an IPv6 socket here: 127.0.0.1 as mapped address

               "ControlSocketPath = " << directory_ << "/dlt-ctrl.sock\n"
               "PersistanceStoragePath = " << directory_ << "\n";
        daemon_ = std::make_unique<Child_process>(
            std::vector<std::string>{"dlt-daemon", "-c", directory_ + "/dlt.conf", "-t", fifo_directory_, "-p",
                                     std::to_string(port_)},
            std::vector<std::pair<std::string, std::string>>{}, directory_ + "/daemon.out", directory_ + "/daemon.err");
        ready_ = port_ > 0 && wait_until(
                                  [this] {
                                      return daemon_->running() && file_exists(fifo_directory_ + "/dlt") &&
                                             accepts_connections(port_);
                                  },
                                  5000ms);
    }

    bool ready() const { return ready_; }
    int port() const { return port_; }
    const std::string& fifo_directory() const { return fifo_directory_; }
    /// What went wrong, for a failure message.
    std::string diagnostics() const {
        return "dlt-daemon on port " + std::to_string(port_) + ": " + daemon_->err() +
               read_file(directory_ + "/daemon-internal.log");
    }

private:
    std::string directory_;
    std::string fifo_directory_;
    int port_;
    std::unique_ptr<Child_process> daemon_;
    bool ready_ = false;
};

/// One message as dlt-convert -a prints it.
struct Dlt_line {
    std::string app_id;
    std::string context_id;
    std::string level;  ///< "fatal" … "verbose"; empty for messages that are not logs
    std::string text;   ///< the payload between the brackets
};

/// dlt-convert -a over `capture`, one entry per message.
inline std::vector<Dlt_line> read_capture(const std::string& capture, const std::string& scratch) {
    std::vector<Dlt_line> lines;
    if (file_size(capture) <= 0) return lines;
    Child_process convert({"dlt-convert", "-a", capture}, {}, scratch + ".out", scratch + ".err");
    convert.wait_for_exit(10000ms);
    // "3 2026/11/23 22:06:54.858128   28311441 000 ECU1 ZEVO HOST log info V 1 [hello info]"
    static const std::regex line_form{R"(^\d+ \S+ \S+ +\d+ +\d+ \S+ (\S+) (\S+) (\S+) (\S+) [VN] \d+ \[(.*)\]$)"};
    std::istringstream in(convert.out());
    for (std::string line; std::getline(in, line);) {
        std::smatch match;
        if (!std::regex_match(line, match, line_form)) continue;
        lines.push_back({match[1], match[2], match[3] == "log" ? std::string(match[4]) : std::string(), match[5]});
    }
    return lines;
}

/// dlt-receive connected to the daemon, writing every message into `capture`.
class Dlt_receiver {
public:
    Dlt_receiver(const Private_dlt_daemon& daemon, const std::string& capture)
        : capture_(capture),
          receiver_({"dlt-receive", "-o", capture, "-p", std::to_string(daemon.port()), "127.0.0.1"}, {},
                    capture + ".receive.out", capture + ".receive.err") {
        // On connection the daemon answers at once; the first bytes in the file show it.
        connected_ = wait_until([this] { return file_size(capture_) > 0; }, 5000ms);
    }

    bool connected() const { return connected_; }

    /// Waits, at most `timeout`, until the daemon reports that application `app_id` ended
    /// (it unregisters at exit, after its last record); true when it did.
    bool wait_for_end_of(const std::string& app_id, std::chrono::milliseconds timeout) {
        return wait_for_note("Unregistered ApID '" + app_id + "'", timeout);
    }

    /// Waits, at most `timeout`, until the daemon reports that application `app_id` registered
    /// (libdlt looks for a daemon about twice a second); true when it did.
    bool wait_for_start_of(const std::string& app_id, std::chrono::milliseconds timeout) {
        return wait_for_note("ApplicationID '" + app_id + "' registered", timeout);
    }

    /// Waits, at most `timeout`, for a message that holds `note`.
    bool wait_for_note(const std::string& note, std::chrono::milliseconds timeout) {
        return wait_until(
            [&] {
                for (const Dlt_line& line : read_capture(capture_, capture_ + ".poll")) {
                    if (line.text.find(note) != std::string::npos) return true;
                }
                return false;
            },
            timeout);
    }

private:
    std::string capture_;
    Child_process receiver_;
    bool connected_ = false;
};

}  // namespace zevo::log_test
