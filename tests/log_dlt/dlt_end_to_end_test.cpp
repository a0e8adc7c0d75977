// libaralog's DLT sink against Debian's dlt-daemon, dlt-receive, dlt-convert and tshark: a whole
// zevo-dm session at level 5 arrives record for record as the console prints it, under the
// expected ids and levels; a process without a daemon ends at once; a daemon started later gets
// what comes after; tshark decodes the traffic between daemon and receiver. Also: zevo-dm send
// prints its answer alone by default.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "private_dlt_daemon.h"
#include "zevo_dm_process.h"

namespace zevo::log_test {
namespace {

namespace host_run = ::zevo::host::testing;

struct Record_key {
    std::string context_id;
    std::string level;
    std::string text;
    bool operator<(const Record_key& other) const {
        return std::tie(context_id, level, text) < std::tie(other.context_id, other.level, other.text);
    }
    bool operator==(const Record_key& other) const {
        return std::tie(context_id, level, text) == std::tie(other.context_id, other.level, other.text);
    }
};

using Record_count = std::map<Record_key, int>;

/// The records of console lines ("date time APID CTID log LEVEL verbose 1 TEXT") of app ZEVO.
std::vector<Record_key> console_records(const std::string& err) {
    static const std::regex line_form{R"(^\S+ \S+ ZEVO (\S+) +log (\S+) verbose 1 (.*)$)"};
    std::vector<Record_key> records;
    std::istringstream in(err);
    for (std::string line; std::getline(in, line);) {
        std::smatch match;
        if (std::regex_match(line, match, line_form)) records.push_back({match[1], match[2], match[3]});
    }
    return records;
}

Record_count count_of(const std::vector<Record_key>& records, const std::string& context_id) {
    Record_count count;
    for (const Record_key& record : records) {
        if (record.context_id == context_id) ++count[record];
    }
    return count;
}

/// Sets environment variables of this process for the programs it starts, and restores them.
class Scoped_environment {
public:
    explicit Scoped_environment(const std::vector<std::pair<std::string, std::string>>& values) {
        for (const auto& [name, value] : values) {
            const char* old = std::getenv(name.c_str());
            saved_.push_back({name, old != nullptr, old != nullptr ? old : ""});
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    ~Scoped_environment() {
        for (const Saved& saved : saved_) {
            if (saved.was_set) {
                setenv(saved.name.c_str(), saved.value.c_str(), 1);
            } else {
                unsetenv(saved.name.c_str());
            }
        }
    }
    Scoped_environment(const Scoped_environment&) = delete;
    Scoped_environment& operator=(const Scoped_environment&) = delete;

private:
    struct Saved {
        std::string name;
        bool was_set;
        std::string value;
    };
    std::vector<Saved> saved_;
};

/// The separator tshark puts between the values of one field when a TCP segment carries several
/// DLT messages: a control character that no record's text holds (the daemon's own messages hold
/// commas).
constexpr char value_separator = '\x1e';

/// "context<TAB>text" for each DLT message in tshark's field output. A TCP segment that carries
/// several messages is one line whose fields list them all, separated by value_separator.
std::set<std::string> decoded_messages(const std::string& decoded) {
    const auto split = [](const std::string& field) {
        std::vector<std::string> parts;
        std::istringstream in(field);
        for (std::string part; std::getline(in, part, value_separator);) parts.push_back(part);
        return parts;
    };
    std::set<std::string> messages;
    std::istringstream lines(decoded);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos) continue;
        const std::vector<std::string> contexts = split(line.substr(0, tab));
        const std::vector<std::string> texts = split(line.substr(tab + 1));
        if (contexts.size() != texts.size()) continue;
        for (std::size_t index = 0; index < contexts.size(); ++index) messages.insert(contexts[index] + "\t" + texts[index]);
    }
    return messages;
}

/// TSAN_OPTIONS for a child: the caller's, with tsan_suppressions.txt added (what the child's
/// libdlt threads do is invisible to the sanitizer). A child built without it ignores the variable.
std::pair<std::string, std::string> tsan_options() {
    const char* const inherited = std::getenv("TSAN_OPTIONS");
    return {"TSAN_OPTIONS",
            std::string(inherited != nullptr ? inherited : "") + ":suppressions=" ZEVO_TEST_TSAN_SUPPRESSIONS};
}

class Dlt_end_to_end : public ::testing::Test {
protected:
    std::string path(const std::string& name) const { return directory_.path() + "/" + name; }

    /// The probe program with the DLT sink towards `fifo_directory`.
    std::unique_ptr<Child_process> start_probe(const std::vector<std::string>& arguments,
                                               const std::string& fifo_directory, const std::string& app_id = "") {
        std::vector<std::string> argv = {ZEVO_TEST_DLT_PROBE_PATH};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        std::vector<std::pair<std::string, std::string>> environment = {
            {"ZEVO_LOG_SINK", "dlt"}, {"ZEVO_LOG_LEVEL", "6"}, {"DLT_PIPE_DIR", fifo_directory}};
        if (!app_id.empty()) environment.push_back({"ZEVO_LOG_APP_ID", app_id});
        environment.push_back(tsan_options());
        return std::make_unique<Child_process>(argv, environment, path("probe.out"), path("probe.err"));
    }

    Temporary_directory directory_;
};

TEST_F(Dlt_end_to_end, session_at_level_5_arrives_as_the_console_prints_it) {
    const host_run::Run_result console = host_run::run_zevo_dm({"--log-level", "5", "session"});
    ASSERT_EQ(console.exit_code, 0) << console.err;
    const std::vector<Record_key> printed = console_records(console.err);

    Private_dlt_daemon daemon(directory_.path());
    ASSERT_TRUE(daemon.ready()) << daemon.diagnostics();
    Dlt_receiver receiver(daemon, path("session.dlt"));
    ASSERT_TRUE(receiver.connected());
    {
        const Scoped_environment environment({{"ZEVO_LOG_SINK", "dlt"}, {"DLT_PIPE_DIR", daemon.fifo_directory()}});
        const host_run::Run_result run = host_run::run_zevo_dm({"--log-level", "5", "session"});
        ASSERT_EQ(run.exit_code, 0) << run.err;
        EXPECT_EQ(run.err, "") << "with the DLT sink nothing is printed";
    }
    ASSERT_TRUE(receiver.wait_for_end_of("ZEVO", 10000ms)) << "the daemon never saw zevo-dm end";

    std::vector<Record_key> received;
    for (const Dlt_line& line : read_capture(path("session.dlt"), path("convert"))) {
        if (line.app_id == "ZEVO" && !line.level.empty()) received.push_back({line.context_id, line.level, line.text});
    }
    // The plug-in's and the runtime's trace records, byte for byte, at their levels.
    const Record_count trace = count_of(printed, "ACOM");
    ASSERT_GT(trace.size(), 20u);
    EXPECT_TRUE(std::any_of(trace.begin(), trace.end(), [](const auto& entry) { return entry.first.level == "debug"; }));
    EXPECT_EQ(count_of(received, "ACOM"), trace);
    // The host's and the simulator's own lines carry times that differ from run to run: the
    // same number arrives at each level. How many 7F xx 78 the server sends depends on how long
    // each job took in that run (a slow machine or a sanitizer makes one more), so the notes of
    // them are left out of the count.
    const auto counted = [](const Record_key& record, const char* context) {
        return record.context_id == context &&
               record.text.find(" 78 sent: the job has not answered yet") == std::string::npos;
    };
    for (const char* context : {"HOST", "KSIM"}) {
        std::map<std::string, int> printed_levels;
        std::map<std::string, int> received_levels;
        for (const Record_key& record : printed) {
            if (counted(record, context)) ++printed_levels[record.level];
        }
        for (const Record_key& record : received) {
            if (counted(record, context)) ++received_levels[record.level];
        }
        EXPECT_GT(printed_levels["info"], 0) << context;
        EXPECT_EQ(received_levels, printed_levels) << context;
    }
}

TEST_F(Dlt_end_to_end, every_level_long_and_multi_line_records_arrive_under_the_chosen_application) {
    Private_dlt_daemon daemon(directory_.path());
    ASSERT_TRUE(daemon.ready()) << daemon.diagnostics();
    Dlt_receiver receiver(daemon, path("probe.dlt"));
    ASSERT_TRUE(receiver.connected());
    const std::unique_ptr<Child_process> probe = start_probe({"records"}, daemon.fifo_directory(), "BNCH");
    ASSERT_TRUE(probe->wait_for_exit(5000ms));
    EXPECT_EQ(probe->exit_code(), 0) << probe->err();
    ASSERT_TRUE(receiver.wait_for_end_of("BNCH", 10000ms));

    std::vector<Record_key> received;
    for (const Dlt_line& line : read_capture(path("probe.dlt"), path("convert"))) {
        if (line.app_id == "BNCH") received.push_back({line.context_id, line.level, line.text});
        EXPECT_NE(line.app_id, "ZEVO");
    }
    ASSERT_EQ(received.size(), 8u);
    const char* levels[] = {"fatal", "error", "warn", "info", "debug", "verbose"};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(received[i].context_id, "PROB");
        EXPECT_EQ(received[i].level, levels[i]);
        EXPECT_EQ(received[i].text, std::string("record at ") + levels[i]);
    }
    EXPECT_EQ(received[6].text, "first line second line  third line");
    EXPECT_EQ(received[7].level, "debug");
}

TEST_F(Dlt_end_to_end, without_a_daemon_a_process_ends_within_a_second_and_prints_nothing) {
    const std::string empty_fifo_directory = path("no-daemon");
    mkdir(empty_fifo_directory.c_str(), 0755);
    const Clock::time_point start = Clock::now();
    const std::unique_ptr<Child_process> probe = start_probe({"records"}, empty_fifo_directory);
    ASSERT_TRUE(probe->wait_for_exit(1000ms)) << "still running after a second";
    EXPECT_LT(Clock::now() - start, 1000ms);
    EXPECT_EQ(probe->exit_code(), 0);
    EXPECT_EQ(probe->out(), "");
    EXPECT_EQ(probe->err(), "");
}

TEST_F(Dlt_end_to_end, a_daemon_started_later_gets_the_records_from_then_on) {
    const std::string go = path("go");
    Temporary_directory daemon_directory;
    // The directory exists before the probe starts, as /tmp does for a daemon that starts late.
    const std::string fifo_directory = daemon_directory.path() + "/fifo";
    mkdir(fifo_directory.c_str(), 0755);
    const std::unique_ptr<Child_process> probe = start_probe({"later", go}, fifo_directory);
    // libdlt has started without a daemon when the probe has written its first record.
    ASSERT_TRUE(wait_until([&] { return probe->out() == "waiting\n"; }, 5000ms)) << probe->err();
    Private_dlt_daemon daemon(daemon_directory.path());
    ASSERT_TRUE(daemon.ready()) << daemon.diagnostics();
    Dlt_receiver receiver(daemon, path("later.dlt"));
    ASSERT_TRUE(receiver.connected());
    ASSERT_TRUE(receiver.wait_for_start_of("ZEVO", 5000ms)) << "the probe never found the daemon";
    std::ofstream(go) << "go\n";
    ASSERT_TRUE(probe->wait_for_exit(5000ms));
    EXPECT_EQ(probe->exit_code(), 0) << probe->err();
    const bool ended = receiver.wait_for_end_of("ZEVO", 10000ms);
    std::string seen;
    for (const Dlt_line& line : read_capture(path("later.dlt"), path("convert"))) {
        seen += line.app_id + " " + line.context_id + " " + line.text + "\n";
    }
    ASSERT_TRUE(ended) << seen << probe->err() << daemon.diagnostics();
    bool after = false;
    for (const Dlt_line& line : read_capture(path("later.dlt"), path("convert"))) {
        after = after || (line.app_id == "ZEVO" && line.context_id == "PROB" && line.text == "after the daemon");
    }
    EXPECT_TRUE(after);
}

TEST_F(Dlt_end_to_end, tshark_decodes_the_records_between_daemon_and_receiver) {
    Private_dlt_daemon daemon(directory_.path());
    ASSERT_TRUE(daemon.ready()) << daemon.diagnostics();
    const std::string packets = path("dlt.pcapng");
    Child_process tshark({"tshark", "-i", "lo", "-f", "tcp port " + std::to_string(daemon.port()), "-w", packets}, {},
                         path("tshark.out"), path("tshark.err"));
    // tshark says "Capturing on 'Loopback: lo'" once it captures, or why it cannot.
    wait_until([&] { return tshark.err().find("Capturing on") != std::string::npos || !tshark.running(); }, 10000ms);
    if (tshark.err().find("Capturing on") == std::string::npos) {
        GTEST_SKIP() << "tshark cannot capture on lo here (capturing needs root or CAP_NET_RAW): " << tshark.err();
    }
    // The filter takes effect a little after that message: connections to the daemon's port are
    // made until the first of them lands in the file.
    ASSERT_TRUE(wait_until([&] { return file_size(packets) > 0; }, 5000ms)) << tshark.err();
    const long empty_size = file_size(packets);
    ASSERT_TRUE(wait_until([&] { return accepts_connections(daemon.port()) && file_size(packets) > empty_size; },
                           10000ms))
        << "tshark captured nothing: " << tshark.err();
    Dlt_receiver receiver(daemon, path("tshark.dlt"));
    ASSERT_TRUE(receiver.connected());
    const std::unique_ptr<Child_process> probe = start_probe({"records"}, daemon.fifo_directory(), "TSHK");
    ASSERT_TRUE(probe->wait_for_exit(5000ms));
    ASSERT_TRUE(receiver.wait_for_end_of("TSHK", 10000ms));
    // dumpcap writes the file as packets come: it is decoded until the last record is in it.
    const auto decode = [&] {
        Child_process decoder({"tshark", "-r", packets, "-d", "tcp.port==" + std::to_string(daemon.port()) + ",dlt",
                               "-Y", "dlt.application_id == \"TSHK\"", "-T", "fields", "-E", "occurrence=a", "-E",
                               std::string("aggregator=") + value_separator, "-e",
                               "dlt.context_id", "-e", "dlt.data.string"},
                              {}, path("decode.out"), path("decode.err"));
        decoder.wait_for_exit(20000ms);
        return decoder.out();
    };
    std::string decoded;
    wait_until([&] { return (decoded = decode()).find("first line") != std::string::npos; }, 15000ms);
    tshark.stop(SIGINT);
    decoded += "\n(tshark: " + tshark.err() + read_file(path("decode.err")) + ")";
    const std::set<std::string> messages = decoded_messages(decoded);
    for (const char* level : {"fatal", "error", "warn", "info", "debug", "verbose"}) {
        EXPECT_EQ(messages.count(std::string("PROB\trecord at ") + level), 1u) << level << "\n" << decoded;
    }
    EXPECT_EQ(messages.count("PROB\tfirst line second line  third line"), 1u) << decoded;
}

TEST_F(Dlt_end_to_end, send_prints_its_answer_alone_by_default) {
    const Scoped_environment environment({{"ZEVO_LOG_SINK", "console"}, {"ZEVO_LOG_APP_ID", "ZEVO"}});
    unsetenv("ZEVO_LOG_LEVEL");
    Child_process send({ZEVO_TEST_ZEVO_DM_PATH, "send", "22", "2C", "56"}, {tsan_options()}, path("send.out"),
                       path("send.err"));
    ASSERT_TRUE(send.wait_for_exit(30000ms));
    EXPECT_EQ(send.exit_code(), 0);
    EXPECT_EQ(send.out(), "-> 22 2C 56\n<- 62 2C 56 00 00 02\n");
    EXPECT_EQ(send.err(), "");
}

}  // namespace
}  // namespace zevo::log_test
