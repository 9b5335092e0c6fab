#ifndef VARNIX_TESTS_ENDCHILD_H
#define VARNIX_TESTS_ENDCHILD_H

#include <unistd.h>

// Only a program that counts which of its lines run has it.
extern "C" [[gnu::weak]] void __gcov_dump(void);

namespace Varnix::Test {

/** Ends a forked child at once, without what is its parent's to do at its end. */
[[noreturn]] inline void endChild(int status)
{
    if (&__gcov_dump != nullptr)
        __gcov_dump();
    ::_exit(status);
}

} // namespace Varnix::Test

#endif
