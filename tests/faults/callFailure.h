#ifndef VARNIX_TESTS_CALLFAILURE_H
#define VARNIX_TESTS_CALLFAILURE_H

#include "tests/support/callEffect.h"

#include <atomic>
#include <cstddef>
#include <string>

namespace Varnix::Test {

/**
 * While it lives, counts the calls of one function of the C library, by the calling thread or by
 * all, and strikes those from index `first` on, `count` of them. A program that uses it has these
 * functions replaced.
 */
class CallFailure
{
public:
    static constexpr std::size_t all = ~std::size_t{0};

    enum class Scope
    {
        THREAD,
        PROCESS
    };

    CallFailure(std::string call, CallEffect effect, std::size_t first, std::size_t count = 1,
                Scope scope = Scope::THREAD);
    ~CallFailure();
    CallFailure(const CallFailure&) = delete;
    CallFailure& operator=(const CallFailure&) = delete;

    bool struck() const noexcept { return m_asked > m_first; }

    /** How many calls there were. */
    std::size_t asked() const noexcept { return m_asked; }

    /** What is to become of the call that the thread is about to make. */
    static CallEffect next(const char* call) noexcept;

private:
    CallEffect effectOn(const char* call) noexcept;

    std::string m_call;
    CallEffect m_effect;
    std::size_t m_first;
    std::size_t m_count;
    Scope m_scope;
    std::atomic<std::size_t> m_asked{0};
};

} // namespace Varnix::Test

#endif
