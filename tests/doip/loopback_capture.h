#pragma once
// tshark as the referee of DoIP on the loopback interface: captures the traffic of one port into
// a file of its own, then lists the DoIP payload types it decoded and every malformed packet or
// expert error. Capturing needs root and tshark; a test asks usable() first. Every wait is
// bounded; tshark is stopped (and, failing that, killed) by the capture's destructor. Test
// thread only.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "host/doip/tester/doip_link.h"

namespace zevo::doip::testing {

using test_support::Child_process;
using test_support::Run_result;

class Loopback_capture {
public:
    /// Empty when capturing can work here; else why not (for GTEST_SKIP).
    static std::string unusable() {
        if (::geteuid() != 0) return "capturing on lo needs root";
        if (::access("/usr/bin/tshark", X_OK) != 0) return "tshark is not installed (scripts/install-deps.sh installs it)";
        return {};
    }

    explicit Loopback_capture(std::string port) : port_(std::move(port)) {
        char directory[] = "/tmp/zevo_doip_captureXXXXXX";
        if (::mkdtemp(directory) != nullptr) directory_ = directory;
        file_ = directory_ + "/doip.pcapng";
    }
    ~Loopback_capture() {
        tshark_.reset();
        std::remove(file_.c_str());
        ::rmdir(directory_.c_str());
    }
    Loopback_capture(const Loopback_capture&) = delete;
    Loopback_capture& operator=(const Loopback_capture&) = delete;

    /// Starts tshark and waits until it sees traffic. Datagrams to a port of the capture's own
    /// mark the start and the end of what tshark must have seen (its summary lines, -P, say
    /// "Len=3" and "Len=5"; no DoIP frame is that short). False when it did not start.
    bool start() {
        const std::string marker_port = std::to_string(marker_.port());
        tshark_ = std::make_unique<Child_process>(std::vector<std::string>{
            "/usr/bin/tshark", "-i", "lo", "-f", "port " + port_ + " or port " + marker_port, "-a", "duration:60", "-l",
            "-P", "-w", file_});
        for (int attempt = 0; attempt < 100; ++attempt) {
            marker_.send_to({1, 2, 3}, "127.0.0.1", marker_.port());
            if (!tshark_->wait_for_line("Len=3", std::chrono::milliseconds(200)).empty()) return true;
        }
        return false;
    }

    /// Waits until tshark has seen everything sent so far, and stops it. False when it missed
    /// the end or had to be killed.
    bool stop() {
        marker_.send_to({1, 2, 3, 4, 5}, "127.0.0.1", marker_.port());
        const bool saw_end = !tshark_->wait_for_line("Len=5", std::chrono::seconds(20)).empty();
        tshark_->send_signal(SIGINT);
        const bool stopped = tshark_->finish(std::chrono::seconds(20)).exit_code != -1;
        return saw_end && stopped;
    }

    /// The capture's DoIP payload types, one per line ("0x8001").
    Run_result payload_types() const { return read({"-Y", "doip", "-T", "fields", "-e", "doip.type"}); }
    /// One summary line per malformed packet or expert error; empty output when there is none.
    Run_result problems() const { return read({"-Y", "_ws.malformed || _ws.expert.severity >= \"error\""}); }
    /// tshark's expert summary at error level ("Errors (n)" when it found any).
    Run_result expert_errors() const { return read({"-q", "-z", "expert,error"}); }

private:
    Run_result read(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {"/usr/bin/tshark", "-r", file_, "-d", "tcp.port==" + port_ + ",doip",
                                            "-d", "udp.port==" + port_ + ",doip"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Child_process reader(command);
        return reader.finish(std::chrono::seconds(60));
    }

    std::string port_;
    std::string directory_;
    std::string file_;
    Udp_link marker_{"127.0.0.1"};
    std::unique_ptr<Child_process> tshark_;
};

}  // namespace zevo::doip::testing
