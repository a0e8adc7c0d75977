// The finder that joins the local registry's discovery with SOME/IP-SD: a subscriber is told the
// services both know, the first finder's first, whenever either changes; the handle ends both.

#include "com/runtime/combined_service_finder.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
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
