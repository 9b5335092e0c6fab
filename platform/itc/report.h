#ifndef VARNIX_PLATFORM_ITC_REPORT_H
#define VARNIX_PLATFORM_ITC_REPORT_H

/** What goes wrong below the interface, in exceptions and on standard error. */

#include <string>

namespace Itc {

/** Throws errno as a std::system_error that begins with `what`. */
[[noreturn]] void throwErrno(const std::string& what);

/** One line on standard error, led by the caller's place where it gave one. */
void report(const char* file, int line, const char* text) noexcept;

} // namespace Itc

#endif
