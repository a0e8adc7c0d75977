// The finder that joins the local registry's discovery with SOME/IP-SD: a subscriber is told the
// services both know, the first finder's first, whenever either changes, one list at a time and
// the lists after the last change last, also when the two finders tell on threads of their own;
// the handle ends both.

#include "com/runtime/combined_service_finder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_handle.h"

namespace {

using kel::com::runtime::Instance_id;
using kel::com::runtime::Service_finder;
using kel::com::runtime::Service_handle;

class Named final : public kel::com::runtime::Service_handle_record {
public:
    explicit Named(std::string name) : name_(std::move(name)) {}
    const std::string& instance_id() const override { return instance_; }
    const std::string& service_id() const override { return name_; }

private:
    std::string name_;
    std::string instance_ = "1";
};

Service_handle handle(const std::string& name) { return Service_handle{std::make_shared<Named>(name)}; }

/// A finder whose one subscriber the test calls by hand; it sees when the handle ends.
class Fake_finder final : public Service_finder {
public:
    class Handle final : public Subscription_handle {
    public:
        explicit Handle(bool& ended) : ended_(ended) {}
        ~Handle() override { ended_ = true; }

    private:
        bool& ended_;
    };

    std::vector<Service_handle> find_services(const std::string&, const Instance_id&) override { return known; }
    std::shared_ptr<Subscription_handle> subscribe(Callback callback, std::string service,
                                                   const Instance_id&) override {
        subscriber = std::move(callback);
        name = std::move(service);
        return std::make_shared<Handle>(ended);
    }

    Callback subscriber;
    std::string name;
    std::vector<Service_handle> known;
    bool ended = false;
};

std::vector<std::string> names(const std::vector<Service_handle>& services) {
    std::vector<std::string> out;
    for (const Service_handle& service : services) out.push_back(service.service_id());
    return out;
}

/// A subscriber whose first call, on the local finder's thread, waits until the test lets it go,
/// as a thread preempted between putting a list together and handing it on does. It records
/// every list it is told, in the order they are handed on.
class Held_subscriber {
public:
    bool operator()(const std::vector<Service_handle>& services) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (calls_++ == 0) {
            inside_ = true;
            changed_.notify_all();
            if (!changed_.wait_for(lock, std::chrono::seconds(10), [this] { return released_; })) {
                timed_out_ = true;
            }
        }
        told_.push_back(names(services));
        if (end_at_first_ != nullptr && told_.size() == 1) {
            std::shared_ptr<Service_finder::Subscription_handle> handle = std::move(*end_at_first_);
            lock.unlock();
            handle.reset();  // the subscription ends inside its own callback
        }
        return true;
    }

    /// Waits (bounded) until the first call is inside and holding.
    bool wait_until_inside() {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [this] { return inside_; });
    }

    void release() {
        std::lock_guard<std::mutex> lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

    std::vector<std::vector<std::string>> told() {
        std::lock_guard<std::mutex> lock(mutex_);
        return told_;
    }

    bool timed_out() {
        std::lock_guard<std::mutex> lock(mutex_);
        return timed_out_;
    }

    /// Set before the first call: the handle that the first call destroys.
    std::shared_ptr<Service_finder::Subscription_handle>* end_at_first_ = nullptr;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int calls_ = 0;
    bool inside_ = false;
    bool released_ = false;
    bool timed_out_ = false;
    std::vector<std::vector<std::string>> told_;
};

TEST(Combined_service_finder, tells_both_lists_first_finder_first_on_every_change) {
    auto local = std::make_shared<Fake_finder>();
    auto remote = std::make_shared<Fake_finder>();
    auto sut = ruv::com::runtime::detail::make_combined_service_finder(local, remote);
    std::vector<std::vector<std::string>> told;
    auto subscription = sut->subscribe(
        [&told](std::vector<Service_handle> services) {
            told.push_back(names(services));
            return true;
        },
        "talm::x", Instance_id("1"));
    EXPECT_EQ(local->name, "talm::x");
    EXPECT_EQ(remote->name, "talm::x");
    remote->subscriber({handle("remote")});
    local->subscriber({handle("local")});
    remote->subscriber({});
    const std::vector<std::vector<std::string>> expected = {{"remote"}, {"local", "remote"}, {"local"}};
    EXPECT_EQ(told, expected);
    subscription.reset();
    EXPECT_TRUE(local->ended);
    EXPECT_TRUE(remote->ended);
}

/// A subscription of the joined finder whose subscriber holds the first list it is told, and
/// the race of the two finders' threads that the tests below stage with it.
class Combined_service_finder_overlap : public ::testing::Test {
protected:
    void SetUp() override {
        sut_ = ruv::com::runtime::detail::make_combined_service_finder(local_, remote_);
        subscription_ = sut_->subscribe(
            [subscriber = subscriber_](std::vector<Service_handle> services) { return (*subscriber)(services); },
            "talm::x", Instance_id("1"));
    }

    /// The local finder tells `local_list` on a thread of its own; while the subscriber holds that
    /// list, SD tells `remote_list` on the test's thread; then the first list is let go.
    void overlap(std::vector<Service_handle> local_list, std::vector<Service_handle> remote_list) {
        std::thread local_thread([this, &local_list] { local_->subscriber(std::move(local_list)); });
        const bool inside = subscriber_->wait_until_inside();
        if (inside) remote_->subscriber(std::move(remote_list));
        subscriber_->release();
        local_thread.join();
        ASSERT_TRUE(inside) << "the local finder's list never reached the subscriber";
        EXPECT_FALSE(subscriber_->timed_out());
    }

    std::shared_ptr<Fake_finder> local_ = std::make_shared<Fake_finder>();
    std::shared_ptr<Fake_finder> remote_ = std::make_shared<Fake_finder>();
    std::shared_ptr<Service_finder> sut_;
    std::shared_ptr<Held_subscriber> subscriber_ = std::make_shared<Held_subscriber>();
    std::shared_ptr<Service_finder::Subscription_handle> subscription_;
};

// The local finder tells its (empty) first list on a runtime thread while SD, on its I/O thread,
// has just found the service: the list put together first must not be the last one told.
TEST_F(Combined_service_finder_overlap, a_list_put_together_before_another_finders_change_is_not_the_last_one_told) {
    overlap({}, {handle("remote")});
    const std::vector<std::vector<std::string>> told = subscriber_->told();
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.back(), std::vector<std::string>{"remote"});
}

TEST_F(Combined_service_finder_overlap,
       a_change_left_to_the_telling_thread_is_not_told_after_the_handle_ended_in_the_callback) {
    subscriber_->end_at_first_ = &subscription_;
    overlap({handle("local")}, {handle("remote")});
    EXPECT_TRUE(local_->ended);
    EXPECT_TRUE(remote_->ended);
    const std::vector<std::vector<std::string>> expected = {{"local"}};
    EXPECT_EQ(subscriber_->told(), expected);
}

TEST(Combined_service_finder, finds_in_both) {
    auto local = std::make_shared<Fake_finder>();
    auto remote = std::make_shared<Fake_finder>();
    local->known = {handle("a")};
    remote->known = {handle("b"), handle("c")};
    auto sut = ruv::com::runtime::detail::make_combined_service_finder(local, remote);
    EXPECT_EQ(names(sut->find_services("x", Instance_id("1"))), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(Combined_service_finder, refuses_an_empty_callback) {
    auto sut = ruv::com::runtime::detail::make_combined_service_finder(std::make_shared<Fake_finder>(),
                                                                       std::make_shared<Fake_finder>());
    EXPECT_THROW(sut->subscribe({}, "x", Instance_id("1")), std::invalid_argument);
}

}  // namespace
