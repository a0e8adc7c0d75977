#pragma once
// What runs tasks for others (the strand) answers one question from any thread, without
// throwing: is the calling thread running one of its tasks now. The slot order is a binary
// contract: the destructor pair, then running_in_this_thread.

#include "kel/com/interface.h"

namespace ruv::com {

class Task_dispatcher : public kel::com::Interface {
public:
    ~Task_dispatcher() override = default;

    /// True when the calling thread is running one of this dispatcher's tasks.
    virtual bool running_in_this_thread() const noexcept = 0;

protected:
    Task_dispatcher() = default;
    Task_dispatcher(const Task_dispatcher&) = default;
    Task_dispatcher& operator=(const Task_dispatcher&) = default;
};

}  // namespace ruv::com
