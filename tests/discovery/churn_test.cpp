// The ten extensions attached while their services are offered and withdrawn round after round,
// and host threads run jobs and cancels on them all the while: discovery swaps the proxies under
// running jobs. Every job answers 0 or 0x10 and every cancel 1 or 0, nothing hangs, and once the
// churn is over the extensions serve again. Built to run clean under ASan and TSan as well.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/discovery/discovery_sync.h"
#include "tests/discovery/extension_settling.h"
#include "tests/discovery/sample_services.h"

namespace {

using ruv::com::local::Offer;
using zevo::test::Extension_probe;
using zevo::test::Registry_watch;

constexpr int rounds = 200;       // each offers all ten services and withdraws them again
constexpr int job_threads = 4;    // beside one thread that cancels
constexpr auto hang_bound = std::chrono::seconds{15};

// Thousands of discovery results would flood the console at the default level: warnings and
// errors only, asked for before the first logger of the process is made.
class Quiet_log : public testing::Environment {
public:
    void SetUp() override { setenv("ZEVO_LOG_LEVEL", "2", 1); }
};
[[maybe_unused]] testing::Environment* const quiet_log = testing::AddGlobalTestEnvironment(new Quiet_log);

/// One extension with its jobs, type-erased so that threads can go round all ten.
struct Subject {
    std::string name;
    std::shared_ptr<ruv::dm::foundation::extension::Extension> extension;
    std::vector<std::uint8_t> record;  ///< what the results job appends when served
    std::function<std::uint8_t(std::vector<std::uint8_t>&)> results;
    std::function<std::uint8_t()> start;
    std::function<std::uint8_t()> cancel;
    std::function<Offer()> offer;
    std::function<std::unique_ptr<Registry_watch>()> watch;
    std::function<testing::AssertionResult(Registry_watch&, std::size_t)> settle;
};

template <class Class>
Subject subject_of() {
    using Interface = zevo::test::Interface_of<Class>;
    auto extension = std::make_shared<Extension_probe<Class>>();
    Extension_probe<Class>* const raw = extension.get();
    Subject subject;
    subject.name = Class::interface_name;
    subject.extension = extension;
    subject.record = zevo::test::sample_record<Class>();
    subject.results = [raw](std::vector<std::uint8_t>& response) { return zevo::test::results_job(*raw, response); };
    subject.start = [raw] { return zevo::test::start_job(*raw); };
    subject.cancel = [raw] { return zevo::test::cancel_job(*raw); };
    subject.offer = [] { return zevo::test::offer_sample<Interface>(); };
    subject.watch = [] { return std::make_unique<Registry_watch>(Interface::name, "1"); };
    subject.settle = [raw](Registry_watch& watch, std::size_t count) { return zevo::test::settled(*raw, watch, count); };
    return subject;
}

template <class... Classes>
std::vector<Subject> subjects_of(std::tuple<Classes...>*) {
    return {subject_of<Classes>()...};
}

/// What the threads saw, kept under one lock; the first few wrong answers are spelled out.
class Tally {
public:
    void job(const std::string& what, std::uint8_t code, bool response_ok) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++jobs_;
        served_ += code == 0 ? 1 : 0;
        if ((code != 0 && code != 0x10) || !response_ok) note(what + " answered " + std::to_string(code) +
                                                              (response_ok ? "" : " with a wrong response"));
    }
    void cancel(const std::string& what, std::uint8_t code) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++cancels_;
        if (code != 0 && code != 1) note(what + " cancel answered " + std::to_string(code));
    }
    int jobs() const { const std::lock_guard<std::mutex> lock(mutex_); return jobs_; }
    int served() const { const std::lock_guard<std::mutex> lock(mutex_); return served_; }
    int cancels() const { const std::lock_guard<std::mutex> lock(mutex_); return cancels_; }
    std::vector<std::string> wrong() const { const std::lock_guard<std::mutex> lock(mutex_); return wrong_; }

private:
    void note(std::string text) {
        if (wrong_.size() < 10) wrong_.push_back(std::move(text));
    }
    mutable std::mutex mutex_;
    int jobs_ = 0;
    int served_ = 0;
    int cancels_ = 0;
    std::vector<std::string> wrong_;
};

/// Waits for a worker within the bound; a worker that hangs cannot be released, so the program
/// ends with `what` rather than sit until the test driver's time-out.
void finish_or_abort(std::future<void>& worker, const std::string& what) {
    if (worker.wait_for(hang_bound) != std::future_status::ready) {
        std::fprintf(stderr, "%s hung: not done within %lld s\n", what.c_str(),
                     static_cast<long long>(hang_bound.count()));
        std::abort();
    }
    worker.get();
}

TEST(Discovery_churn, jobs_and_cancels_beside_offers_and_withdrawals_answer_only_allowed_codes_and_never_hang) {
    std::vector<Subject> subjects = subjects_of(static_cast<zevo::test::Extension_class_tuple*>(nullptr));
    for (Subject& subject : subjects) subject.extension->attach("1");
    // The host's order also when an assertion ends the test early: detach, then destroy.
    struct Detach_all {
        std::vector<Subject>& subjects;
        ~Detach_all() {
            for (Subject& subject : subjects) subject.extension->detach();
            subjects.clear();
        }
    } detach_all{subjects};

    std::atomic<bool> churning{true};
    Tally tally;
    // Where each worker is, for the message when one hangs.
    std::vector<std::atomic<const char*>> doing(static_cast<std::size_t>(job_threads) + 1);
    for (auto& step : doing) step = "nothing yet";

    std::vector<std::future<void>> workers;
    for (int thread = 0; thread < job_threads; ++thread) {
        workers.push_back(std::async(std::launch::async, [&, thread] {
            for (std::size_t turn = static_cast<std::size_t>(thread); churning.load(); ++turn) {
                Subject& subject = subjects[turn % subjects.size()];
                std::vector<std::uint8_t> response;
                if (turn % 3 == 1) {
                    doing[static_cast<std::size_t>(thread)] = "start";
                    tally.job(subject.name + " start", subject.start(), true);
                } else {
                    doing[static_cast<std::size_t>(thread)] = "results";
                    const std::uint8_t code = subject.results(response);
                    // Served, or cancelled while waiting (nothing appended), or refused.
                    const bool response_ok = response.empty() || (code == 0 && response == subject.record);
                    tally.job(subject.name + " results", code, response_ok);
                }
            }
            doing[static_cast<std::size_t>(thread)] = "done";
        }));
    }
    workers.push_back(std::async(std::launch::async, [&] {
        for (std::size_t turn = 0; churning.load(); ++turn) {
            Subject& subject = subjects[turn % subjects.size()];
            doing[static_cast<std::size_t>(job_threads)] = "cancel";
            tally.cancel(subject.name, subject.cancel());
        }
        doing[static_cast<std::size_t>(job_threads)] = "done";
    }));

    auto churn = std::async(std::launch::async, [&] {
        for (int round = 0; round < rounds; ++round) {
            std::vector<Offer> offers;
            for (Subject& subject : subjects) offers.push_back(subject.offer());
            // A round lasts until jobs were served in it, so that proxies are swapped under jobs
            // that call them, not only under jobs refused by a service already gone.
            const int served_before = tally.served();
            if (!zevo::test::eventually([&] { return tally.served() >= served_before + job_threads; })) {
                ADD_FAILURE() << "no job was served in round " << round;
                return;
            }
            for (Offer& offer : offers) offer.withdraw();
        }
    });
    finish_or_abort(churn, "the churn of offers and withdrawals");
    const int jobs_during_churn = tally.jobs();
    churning = false;
    for (std::size_t worker = 0; worker < workers.size(); ++worker) {
        finish_or_abort(workers[worker], "worker " + std::to_string(worker) + " in " + doing[worker].load());
    }

    EXPECT_EQ(tally.wrong(), std::vector<std::string>{});
    EXPECT_GT(jobs_during_churn, 0);
    EXPECT_GT(tally.cancels(), 0);
    std::printf("churn: %d rounds, %d jobs (%d served), %d cancels\n", rounds, tally.jobs(), tally.served(),
                tally.cancels());

    // Once the churn is over, every extension follows its service again.
    std::vector<Offer> offers;
    for (Subject& subject : subjects) {
        SCOPED_TRACE(subject.name);
        std::unique_ptr<Registry_watch> watch = subject.watch();
        ASSERT_TRUE(subject.settle(*watch, 0));
        offers.push_back(subject.offer());
        ASSERT_TRUE(subject.settle(*watch, 1));
        std::vector<std::uint8_t> response;
        EXPECT_EQ(subject.results(response), 0);
        EXPECT_EQ(response, subject.record);
    }
}

}  // namespace
