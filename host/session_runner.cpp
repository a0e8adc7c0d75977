#include "host/session_runner.h"

#include <exception>
#include <future>
#include <thread>
#include <utility>

#include "host/hex_bytes.h"

namespace zevo::host {
namespace {

using Step = sim::Session_step;

std::string milliseconds_text(std::chrono::milliseconds duration) { return std::to_string(duration.count()) + " ms"; }

std::string method_name(sim::Method method) {
    switch (method) {
        case sim::Method::cancel: return "Cancel";
        case sim::Method::read_or_results: return "Read/RequestResults";
        case sim::Method::start: return "Start";
    }
    return "method " + std::to_string(static_cast<unsigned>(method));
}

/// One session: the printing and the report, step by step.
class Session {
public:
    Session(const Session_host& host, const Session_controls& controls, const Session_settings& settings,
            std::ostream& out, const Stop_request& stop)
        : host_(host), controls_(controls), settings_(settings), out_(out), stop_(stop) {}

    void run(const Step& step) {
        ++report_.steps;
        const std::size_t mismatches_before = report_.mismatches.size();
        run_step(step);
        if (report_.mismatches.size() != mismatches_before) ++failed_steps_;
    }

    Session_report finish(std::size_t planned) {
        if (report_.interrupted) {
            line("session: interrupted after " + std::to_string(report_.steps) + " of " + std::to_string(planned) +
                 " steps");
        } else if (report_.mismatches.empty()) {
            line("session: all " + std::to_string(report_.steps) + " responses as expected");
        } else {
            line("session: " + std::to_string(failed_steps_) + " of " + std::to_string(report_.steps) +
                 " steps not as expected:");
            for (const std::string& mismatch : report_.mismatches) line("  " + mismatch);
        }
        return std::move(report_);
    }

    void interrupted() { report_.interrupted = true; }

private:
    void line(const std::string& text) { out_ << text << std::endl; }  // flushed: see run_session

    void run_step(const Step& step) {
        line("# " + step.title);
        switch (step.kind) {
            case Step::Kind::send: break;
            case Step::Kind::send_and_cancel: return exchange(step, send_and_cancel(step));
            case Step::Kind::withdraw_then_send:
                controls_.withdraw(step.identifier);
                wait_for_extension(step, false);
                break;
            case Step::Kind::offer_then_send:
                controls_.offer(step.identifier);
                wait_for_extension(step, true);
                break;
        }
        line("-> " + format_hex_bytes(step.request));
        exchange(step, host_.tester.exchange(step.request));
    }

    /// Prints the answers and compares the final one with the step's expectation.
    void exchange(const Step& step, const Exchange& exchange) {
        for (const std::string& answer : describe_exchange(exchange)) line(answer);
        if (!exchange.end.job_error.empty()) line("   (the job threw: " + exchange.end.job_error + ")");
        // The host cancels the job of a send_and_cancel step: it never becomes an answer.
        Request_end expected{Request_end::Kind::answered, step.expected, {}};
        if (step.kind == Step::Kind::send_and_cancel) expected = Request_end{Request_end::Kind::cancelled, {}, {}};
        if (exchange.end.kind != expected.kind || exchange.end.answer != expected.answer) {
            line("   expected " + describe_end(expected));
            report_.mismatches.push_back(step.title + ": sent " + format_hex_bytes(step.request) + ", expected " +
                                         describe_end(expected) + ", got " + describe_end(exchange.end));
        }
    }

    /// Sends on a helper thread, cancels the job from this one once the service holds the call.
    Exchange send_and_cancel(const Step& step) {
        line("-> " + format_hex_bytes(step.request));
        std::promise<Exchange> answer;
        std::future<Exchange> answered = answer.get_future();
        std::thread sender([&] {
            try {
                answer.set_value(host_.tester.exchange(step.request));
            } catch (...) {
                answer.set_exception(std::current_exception());
            }
        });
        bool held = false;
        try {
            held = controls_.wait_for_pending_call(step.identifier, step.method, settings_.pending_call_timeout);
        } catch (const std::exception& error) {
            line(std::string("   (waiting for the service to hold the call failed: ") + error.what() + ")");
        }
        if (held) {
            line("   the service holds the " + method_name(step.method) + " call: cancelling the job");
        } else {
            line("   the service did not hold a " + method_name(step.method) + " call within " +
                 milliseconds_text(settings_.pending_call_timeout) + ": cancelling the job anyway");
            report_.mismatches.push_back(step.title + ": the service did not hold the call within " +
                                         milliseconds_text(settings_.pending_call_timeout));
        }
        // The server repeats the cancel until the job has returned, since a job forgets a cancel
        // that reaches it before it waits.
        if (host_.server.cancel_all() == 0) line("   (the job had already returned)");
        sender.join();
        return answered.get();
    }

    /// Waits until the step's extension has lost (`found` false) or found its service.
    void wait_for_extension(const Step& step, bool found) {
        const std::string identifier = "0x" + format_hex_value(step.identifier, 4);
        line(std::string(found ? "   offered " : "   withdrew ") + identifier);
        Service_wait_result wait;
        try {
            wait = wait_for_services(
                {step.identifier}, found, host_.probe, settings_.discovery_timeout, stop_);
        } catch (const std::exception& error) {
            line(std::string("   (probing the extension failed: ") + error.what() + ")");
            report_.mismatches.push_back(step.title + ": probing the extension of " + identifier +
                                         " failed: " + error.what());
            return;
        }
        if (wait.stopped) return;  // the session ends as interrupted
        const char* what = found ? "found" : "lost";
        if (wait.reached()) {
            line("   its extension " + std::string(what) + " the service after " + milliseconds_text(wait.waited));
        } else {
            line("   its extension had not " + std::string(what) + " the service after " +
                 milliseconds_text(wait.waited));
            report_.mismatches.push_back(step.title + ": the extension of " + identifier + " had not " + what +
                                         " its service within " + milliseconds_text(settings_.discovery_timeout));
        }
    }

    const Session_host& host_;
    const Session_controls& controls_;
    const Session_settings& settings_;
    std::ostream& out_;
    const Stop_request& stop_;
    Session_report report_;
    std::size_t failed_steps_ = 0;  // steps with at least one mismatch
};

}  // namespace

Session_report run_session(const Session_host& host, const std::vector<sim::Session_step>& steps,
                           const Session_controls& controls, const Session_settings& settings, std::ostream& out,
                           const Stop_request& stop) {
    Session session(host, controls, settings, out, stop);
    for (const Step& step : steps) {
        if (stop && stop()) {
            session.interrupted();
            break;
        }
        session.run(step);
    }
    if (stop && stop()) session.interrupted();
    return session.finish(steps.size());
}

}  // namespace zevo::host
