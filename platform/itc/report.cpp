#include "report.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace Itc {

void throwErrno(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void report(const char* file, int line, const char* text) noexcept
{
    if (file != nullptr && *file != '\0')
        static_cast<void>(std::fprintf(stderr, "%s:%d: itc: %s\n", file, line, text));
    else
        static_cast<void>(std::fprintf(stderr, "itc: %s\n", text));
}

} // namespace Itc
