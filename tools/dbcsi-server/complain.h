#ifndef VARNIX_DBCSI_SERVER_COMPLAIN_H
#define VARNIX_DBCSI_SERVER_COMPLAIN_H

#include <cstdio>
#include <exception>
#include <new>

namespace Dbcsi {

/**
 * One line on standard error, whole even when both threads have something to say. Takes no memory:
 * that may be what there is to complain of.
 */
inline void complain(const char* text) noexcept
{
    static_cast<void>(std::fprintf(stderr, "dbcsi-server: %s\n", text));
}

inline void complain(const char* text, const char* why) noexcept
{
    static_cast<void>(std::fprintf(stderr, "dbcsi-server: %s: %s\n", text, why));
}

/** What an exception says, in words for want of memory too. */
inline const char* reason(const std::exception& error) noexcept
{
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "out of memory" : error.what();
}

} // namespace Dbcsi

#endif
