#pragma once
// Catches what the process writes to its standard error while a capture lives: the platform's
// console log sink writes every trace line of ara::com::logger() there. A reader thread drains a
// pipe put in place of descriptor 2, keeps the text and copies it on to the real standard error,
// so that nothing (a sanitizer's report included) is lost from the test's output. Made and
// destroyed on the test's thread; one at a time per process.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace zevo::test {

class Console_capture {
public:
    /// Puts the pipe in place of descriptor 2. Throws std::system_error when it cannot.
    Console_capture();
    /// Puts descriptor 2 back and waits for the reader to drain the pipe.
    ~Console_capture();
    Console_capture(const Console_capture&) = delete;
    Console_capture& operator=(const Console_capture&) = delete;

    /// Writes a line with `label` to descriptor 2 and waits until the reader has it: what this
    /// thread wrote before is then in text(). False when it does not come within `bound`.
    bool mark(const std::string& label, std::chrono::milliseconds bound = std::chrono::seconds{10});

    /// Everything caught so far.
    std::string text() const;

    /// How often `needle` stands in text().
    std::size_t count(const std::string& needle) const;

private:
    void drain() noexcept;

    int saved_ = -1;       ///< the real standard error, duplicated
    int read_end_ = -1;    ///< the pipe's end the reader drains
    int write_end_ = -1;   ///< the pipe's other end, also put at descriptor 2
    mutable std::mutex mutex_;          ///< guards text_
    std::condition_variable arrived_;   ///< notified after each chunk
    std::string text_;
    std::thread reader_;
};

}  // namespace zevo::test
