#pragma once
// Calls user code under guard: an exception out of it is reported through `on_exception` and
// then goes on to the caller. Runs on the caller's thread (a discovery strand's pool thread).
// Throws std::bad_function_call for an empty function or, when something is thrown, an empty
// `on_exception`; otherwise rethrows what the function threw.

#include <functional>
#include <utility>

namespace ruv::com::cpp_binding {

template <class F, class Args>
decltype(auto) apply_callout(F const& function, std::function<void()> const& on_exception, Args&& args) {
    auto arguments = std::forward<Args>(args);
    try {
        if (!function) {
            throw std::bad_function_call();
        }
        return function(std::move(arguments));
    } catch (...) {
        if (!on_exception) {
            throw std::bad_function_call();
        }
        on_exception();
        throw;
    }
}

}  // namespace ruv::com::cpp_binding
