#ifndef VARNIX_PLATFORM_ITC_REPORT_H
#define VARNIX_PLATFORM_ITC_REPORT_H

/** What goes wrong below the interface, in exceptions and on standard error. */

#include <exception>
#include <string>

namespace Itc {

/** Throws errno as a std::system_error that begins with `what`. */
[[noreturn]] void throwErrno(const std::string& what);

/** Whether the same may succeed later although nobody changes the node: something is short. */
bool mayPass(const std::exception& error) noexcept;

/**
 * One line on standard error, led by the caller's place where it gave one. Never waits: it is
 * dropped where standard error takes nothing now.
 */
void report(const char* file, int line, const char* text) noexcept;

/** The same with what to do about it, of an operation that has failed. */
void report(const char* file, int line, const std::exception& error) noexcept;

/** Of one that is tried again by itself where that may help. */
void reportOwed(const char* file, int line, const std::exception& error) noexcept;

} // namespace Itc

#endif
