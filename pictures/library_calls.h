// Calls into libraries that break off by a jump when something fails, as those for PNG and JPEG do.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>

#include "pictures/file_failure.h"

// Where packed bytes go. Failures are thrown.
using CPutBytes = std::function<void(const void* bytes, std::size_t count)>;

// A jump passes destructors by. So there may be none between Run and Break: actions hold references
// alone, and nothing is thrown through the library: what a callback throws is kept on the way.
class CLibraryCalls {
  public:
    // Throws what the library or a callback broke off with.
    template <typename TAction>
    void Run(TAction action) {
        static_assert(std::is_trivially_destructible_v<TAction>);
        if (setjmp(m_place) == 0) {
            action();
            return;
        }
        if (m_failure)
            std::rethrow_exception(std::exchange(m_failure, nullptr));
        Fail(std::string("can't be written: ") + m_words);
    }

    // Inside a callback.
    template <typename TAction>
    void Callback(TAction action) {
        static_assert(std::is_trivially_destructible_v<TAction>);
        if (!Keep(action))
            std::longjmp(m_place, 1);
    }

    // The library fails, for a reason of its own.
    [[noreturn]] void Break(const char* words) {
        std::snprintf(m_words, sizeof(m_words), "%s", words);
        std::longjmp(m_place, 1);
    }

  private:
    template <typename TAction>
    bool Keep(TAction action) noexcept {
        try {
            action();
            return true;
        } catch (...) {
            m_failure = std::current_exception();
            return false;
        }
    }

    std::jmp_buf m_place = {};
    char m_words[200] = {};
    std::exception_ptr m_failure;
};
