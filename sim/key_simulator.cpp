#include "sim/key_simulator.h"

#include <array>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "ruv/com/local/provider_registry.h"
#include "sim/fault_plan.h"
#include "sim/held_calls.h"
#include "sim/response_codes.h"
#include "sim/service_state.h"
#include "sim/service_table.h"
#include "sim/sim_log.h"
#include "sim/timer_thread.h"

namespace zevo::sim {
namespace {

std::size_t index_of(std::uint16_t identifier) {
    const Service_entry* service = find_service(identifier);
    if (service == nullptr) {
        throw std::invalid_argument("Key_simulator: " + hex_identifier(identifier) + " is not served");
    }
    return static_cast<std::size_t>(service - service_table().data());
}

void check_usable(const Fault& fault, const std::string& which) {
    if (const std::optional<Fault_problem> problem = check_fault(fault)) {
        throw std::invalid_argument("Key_simulator: " + which + ": " +
                                    (problem->field.empty() ? "" : problem->field + ": ") + problem->message);
    }
}

/// What a call comes to, decided under the lock and carried out after it.
struct Decision {
    std::optional<Fault> fault;
    Answer answer;
    bool served = false;  ///< the service's behaviour ran (no fault replaced it)
};

}  // namespace

const std::vector<std::uint16_t>& served_identifiers() {
    static const std::vector<std::uint16_t> identifiers = [] {
        std::vector<std::uint16_t> all;
        for (const Service_entry& service : service_table()) all.push_back(service.identifier);
        return all;
    }();
    return identifiers;
}

std::string interface_name_of(std::uint16_t identifier) { return service_table()[index_of(identifier)].interface_name; }

class Key_simulator::Services {
public:
    Services(ruv::com::local::Provider_registry& registry, Simulator_options options, Sim_clock clock)
        : registry_(registry),
          instance_(std::move(options.instance)),
          state_(std::move(clock), options.scenario.routine_duration),
          calls_(service_table().size()),
          offers_(service_table().size()) {
        for (std::size_t i = 0; i < options.scenario.faults.size(); ++i) {
            check_usable(options.scenario.faults[i], "fault " + std::to_string(i));
        }
        faults_ = Fault_plan(options.scenario.faults);
    }

    ~Services() {
        timer_.stop();  // no late answer and no re-offer from here on
        withdraw_all();
        held_.clear();
    }

    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    /// True when the service was not offered before.
    bool offer(std::size_t index) {
        const std::lock_guard<std::mutex> lock(offers_mutex_);
        if (offers_[index].offered()) return false;
        offers_[index] = registry_.offer(service_table()[index].interface_name, instance_,
                                         [this, index](std::uint16_t method_id, std::vector<std::uint8_t> request,
                                                       ruv::com::local::Reply reply) {
                                             receive(index, method_id, request, std::move(reply));
                                         });
        return true;
    }

    /// Waits for the service's running handlers; they never take offers_mutex_. True when the
    /// service was offered before.
    bool withdraw(std::size_t index) noexcept {
        const std::lock_guard<std::mutex> lock(offers_mutex_);
        const bool was_offered = offers_[index].offered();
        offers_[index].withdraw();
        return was_offered;
    }

    void withdraw_all() noexcept {
        for (std::size_t index = 0; index < offers_.size(); ++index) withdraw(index);
    }

    bool offered(std::size_t index) const {
        const std::lock_guard<std::mutex> lock(offers_mutex_);
        return offers_[index].offered();
    }

    void inject(const Fault& fault) {
        check_usable(fault, "injected fault");
        {
            const std::lock_guard<std::mutex> lock(state_mutex_);
            faults_.add(fault);
        }
        log_fault_added(fault);
    }

    const std::string& instance() const { return instance_; }

    bool wait_for_pending_call(std::uint16_t identifier, Method method, std::chrono::milliseconds timeout) const {
        return held_.wait_for(identifier, method, timeout);
    }

    unsigned calls(std::size_t index, Method method) const {
        const std::lock_guard<std::mutex> lock(state_mutex_);
        return calls_[index][static_cast<std::size_t>(method)];
    }

private:
    /// One call, on a runtime thread.
    void receive(std::size_t index, std::uint16_t method_id, const std::vector<std::uint8_t>& request,
                 ruv::com::local::Reply reply) {
        const Service_entry& service = service_table()[index];
        Method method{};
        if (!method_of(method_id, service.routine, method)) {
            reply.answer(call_code::unknown_method);
            return;
        }
        const Decision decision = decide(service, index, method, request);
        const std::optional<Fault>& fault = decision.fault;
        if (fault) log_fault_taken(service.identifier, method, service.routine, *fault);
        if (fault && fault->drop) return;  // the reply goes with this frame, unanswered
        if (fault && (fault->no_answer || fault->hold_until_cancel)) {
            held_.add(service.identifier, method, std::move(reply), fault->hold_until_cancel);
            return;
        }
        if (fault && fault->withdraw_for) {
            // The withdrawal answers the held call 0xFF; it runs on the timer thread, as a
            // handler must not wait for the other handlers of its own service.
            held_.add(service.identifier, method, std::move(reply), false);
            const std::chrono::milliseconds away = *fault->withdraw_for;
            timer_.schedule(std::chrono::steady_clock::now(), [this, index, away] { withdraw_for(index, away); });
            return;
        }
        if (decision.served && method == Method::cancel) release_until_cancel(service);
        send(service, method, std::move(reply), decision.answer, fault ? fault->delay : std::chrono::milliseconds{0});
    }

    Decision decide(const Service_entry& service, std::size_t index, Method method,
                    const std::vector<std::uint8_t>& request) {
        Decision decision;
        const std::lock_guard<std::mutex> lock(state_mutex_);
        ++calls_[index][static_cast<std::size_t>(method)];
        decision.fault = faults_.take(service.identifier, method);
        const std::optional<Fault>& fault = decision.fault;
        if (fault && fault->application_error) {
            decision.answer = Answer{2, *fault->application_error, {}};
        } else if (fault && fault->return_code) {
            decision.answer = Answer{*fault->return_code, {}, {}};
        } else if (!fault || !(fault->no_answer || fault->drop || fault->hold_until_cancel || fault->withdraw_for)) {
            decision.answer = service.serve(state_, method, request);
            decision.served = true;
        }
        if (fault && fault->short_payload) shorten(decision.answer);
        if (fault && fault->malformed_payload) malform(decision.answer);
        return decision;
    }

    void send(const Service_entry& service, Method method, ruv::com::local::Reply reply, const Answer& answer,
              std::chrono::milliseconds delay) {
        if (delay.count() <= 0) {
            reply.answer(answer.code, answer.payload);
            return;
        }
        const std::uint64_t id = held_.add(service.identifier, method, std::move(reply), false);
        timer_.schedule(std::chrono::steady_clock::now() + delay, [this, id, answer] {
            if (std::optional<ruv::com::local::Reply> late = held_.take(id)) late->answer(answer.code, answer.payload);
        });
    }

    /// A Cancel was served: the calls held for it are answered.
    void release_until_cancel(const Service_entry& service) {
        for (Held_calls::Call& call : held_.take_until_cancel(service.identifier)) {
            if (call.method == Method::start) {
                call.reply.answer(0);
            } else {
                const Answer refused = application_error(nrc::conditions_not_correct, service.routine);
                call.reply.answer(refused.code, refused.payload);
            }
        }
    }

    /// On the timer thread.
    void withdraw_for(std::size_t index, std::chrono::milliseconds away) {
        const std::uint16_t identifier = service_table()[index].identifier;
        if (withdraw(index)) {
            log_offer_change(identifier, false, "by a fault, for " + std::to_string(away.count()) + " ms");
        }
        timer_.schedule(std::chrono::steady_clock::now() + away, [this, index, identifier] {
            if (offer(index)) log_offer_change(identifier, true, "after a fault's withdrawal");
        });
    }

    ruv::com::local::Provider_registry& registry_;
    const std::string instance_;

    mutable std::mutex state_mutex_;
    Service_state state_;                              ///< guarded by state_mutex_
    Fault_plan faults_;                                ///< guarded by state_mutex_
    std::vector<std::array<unsigned, 3>> calls_;       ///< guarded by state_mutex_; by table index and method

    Held_calls held_;  ///< locks itself

    mutable std::mutex offers_mutex_;               ///< never taken by a handler
    std::vector<ruv::com::local::Offer> offers_;    ///< guarded by offers_mutex_; by table index

    Timer_thread timer_;  ///< stopped first in the destructor
};

Key_simulator::Key_simulator(ruv::com::local::Provider_registry& registry, Simulator_options options,
                             Sim_clock clock)
    : services_(std::make_unique<Services>(registry, std::move(options), std::move(clock))) {}

Key_simulator::~Key_simulator() = default;

void Key_simulator::offer_all() {
    for (std::size_t index = 0; index < service_table().size(); ++index) services_->offer(index);
    log_all_offered(services_->instance());
}

void Key_simulator::offer(std::uint16_t identifier) {
    if (services_->offer(index_of(identifier))) log_offer_change(identifier, true, "");
}

void Key_simulator::withdraw(std::uint16_t identifier) {
    if (services_->withdraw(index_of(identifier))) log_offer_change(identifier, false, "");
}

void Key_simulator::withdraw_all() noexcept { services_->withdraw_all(); }

bool Key_simulator::offered(std::uint16_t identifier) const { return services_->offered(index_of(identifier)); }

void Key_simulator::inject(const Fault& fault) { services_->inject(fault); }

bool Key_simulator::wait_for_pending_call(std::uint16_t identifier, Method method, std::chrono::milliseconds timeout) {
    return services_->wait_for_pending_call(identifier, method, timeout);
}

unsigned Key_simulator::calls(std::uint16_t identifier, Method method) const {
    return services_->calls(index_of(identifier), method);
}

}  // namespace zevo::sim
