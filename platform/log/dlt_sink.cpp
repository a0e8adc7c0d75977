#include "platform/log/dlt_sink.h"

#include <dlt.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>

#include "ara/log/contexts.h"
#include "platform/log/dlt_message.h"

namespace ara::log::detail {

namespace {

// The process's sink, for the exit handler. Set once by the constructor.
std::atomic<Dlt_sink*> process_sink{nullptr};

// libdlt reads the size of its message buffer from this variable at initialisation; its
// default (1390 bytes) is smaller than many records. A value set by the user is kept.
constexpr char const* buffer_length_variable = "DLT_LOG_MSG_BUF_LEN";
constexpr std::size_t libdlt_default_buffer = 1390;

std::size_t payload_limit_from_environment() {
    char const* const text = std::getenv(buffer_length_variable);
    if (text == nullptr) return libdlt_default_buffer;
    char* end = nullptr;
    unsigned long const value = std::strtoul(text, &end, 10);
    if (end == text || *end != '\0' || value < 10) return libdlt_default_buffer;
    return std::min<std::size_t>(value, dlt_payload_limit);
}

}  // namespace

struct Dlt_sink::Contexts {
    // Node-based: a DltContext is registered by address and must not move.
    std::map<std::string, DltContext, std::less<>> by_id;
};

Dlt_sink::Dlt_sink(std::string_view app_id, std::string_view description, LogLevel threshold)
    : threshold_(threshold), payload_limit_(libdlt_default_buffer),
      contexts_(std::make_unique<Contexts>()) {
    Dlt_sink* expected = nullptr;
    if (!process_sink.compare_exchange_strong(expected, this)) {
        throw std::logic_error("a process has one DLT sink");
    }
    setenv(buffer_length_variable, std::to_string(dlt_payload_limit).c_str(), 0);
    payload_limit_ = payload_limit_from_environment();
    // Before libdlt initialises: its notes ("FIFO cannot be opened. Retrying later...") would
    // go to standard output, which belongs to the program.
    dlt_log_set_level(LOG_ERR);
    dlt_log_init(DLT_LOG_TO_STDERR);

    std::string const app{app_id.substr(0, 4)};
    std::string const text{description};
    dlt_register_app(app.c_str(), text.c_str());  // initialises libdlt; never waits for a daemon
    // libdlt tries for 10 s at exit to hand buffered messages to a daemon; a program without
    // one must not hang, so it gives up at once.
    dlt_set_resend_timeout_atexit(0);
    // Registered after libdlt's own exit handler, so it runs first: later records are dropped
    // instead of reaching libdlt after it has released its contexts.
    std::atexit(&Dlt_sink::close_at_exit);
}

Dlt_sink::~Dlt_sink() {
    {
        std::lock_guard<std::mutex> const lock{mutex_};
        if (!closed_) {
            for (auto& entry : contexts_->by_id) dlt_unregister_context(&entry.second);
            dlt_unregister_app();
            closed_ = true;
        }
    }
    Dlt_sink* expected = this;
    process_sink.compare_exchange_strong(expected, nullptr);
}

void Dlt_sink::close_at_exit() noexcept {
    Dlt_sink* const sink = process_sink.load();
    if (sink == nullptr) return;
    std::lock_guard<std::mutex> const lock{sink->mutex_};
    sink->closed_ = true;
}

void* Dlt_sink::find_or_register(std::string_view context_id) {
    auto const found = contexts_->by_id.find(context_id);
    if (found != contexts_->by_id.end()) return &found->second;
    std::string id{context_id.substr(0, 4)};
    auto& context = contexts_->by_id[id];
    std::string const description{contexts::description_of(id)};
    dlt_register_context_ll_ts(&context, id.c_str(), description.c_str(),
                               dlt_level_of(threshold_), DLT_TRACE_STATUS_OFF);
    return &context;
}

void Dlt_sink::add_context(std::string_view context_id) {
    std::lock_guard<std::mutex> const lock{mutex_};
    if (!closed_) find_or_register(context_id);
}

void Dlt_sink::write(Record const& record) noexcept {
    try {
        std::vector<char> payload = verbose_string_payload(record.text, payload_limit_);
        std::lock_guard<std::mutex> const lock{mutex_};
        if (closed_) return;
        auto* const context = static_cast<DltContext*>(find_or_register(record.context_id));
        DltContextData data{};
        auto const level = static_cast<DltLogLevelType>(dlt_level_of(record.level));
        if (dlt_user_log_write_start_w_given_buffer(context, &data, level, payload.data(),
                                                    payload.size(), 1) > 0) {
            dlt_user_log_write_finish_w_given_buffer(&data);
        }
    } catch (...) {
        // Out of memory: the record is lost, as a sink's failure to write loses it.
    }
}

}  // namespace ara::log::detail
