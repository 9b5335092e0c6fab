#ifndef VARNIX_TESTS_SCRIPTEDREAD_H
#define VARNIX_TESTS_SCRIPTEDREAD_H

#include "tests/support/callEffect.h"

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <vector>

#include <sys/types.h>

namespace Varnix::Test {

/**
 * While it lives, the calling thread's calls of read() go as scripted, one outcome a call; those
 * after the script's end are ordinary. A program that uses it has its read() replaced.
 */
class ScriptedRead
{
public:
    ScriptedRead(std::initializer_list<CallEffect> script);
    ~ScriptedRead();
    ScriptedRead(const ScriptedRead&) = delete;
    ScriptedRead& operator=(const ScriptedRead&) = delete;

    /** How many outcomes were not asked for yet. */
    std::size_t left() const noexcept { return m_script.size(); }

    /** Whether a program started during a call would have got its descriptor. */
    bool leaked() const noexcept { return m_leaked; }

    /** How many bytes each call asked for. */
    const std::vector<std::size_t>& asked() const noexcept { return m_asked; }

    /** The outcome of the next call, for `size` bytes of `fd`; ordinary without a script. */
    static CallEffect next(int fd, std::size_t size);

private:
    std::deque<CallEffect> m_script;
    std::vector<std::size_t> m_asked;
    bool m_leaked = false;
};

} // namespace Varnix::Test

#endif
