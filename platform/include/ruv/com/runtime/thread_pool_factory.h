#pragma once
// Hands out the platform's thread pools, on which strands are built; reached through
// Component_singleton. Callable from any thread. The slot order is a binary contract: the
// destructor pair, then get_thread_pool.

namespace ruv::com {
class static_thread_pool;
}  // namespace ruv::com

namespace ruv::com::runtime {

class Thread_pool_factory {
public:
    virtual ~Thread_pool_factory();

    /// The pool with this number, not owned; 0 is the default pool, which lives until the
    /// process ends. Throws std::invalid_argument with the text
    /// "Thread_pool_factory::get_thread_pool: unknown pool" for a number without a pool.
    virtual static_thread_pool* get_thread_pool(unsigned long pool_number) = 0;

protected:
    Thread_pool_factory() = default;
    Thread_pool_factory(const Thread_pool_factory&) = default;
    Thread_pool_factory& operator=(const Thread_pool_factory&) = default;
};

}  // namespace ruv::com::runtime
