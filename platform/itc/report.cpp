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
    if (file != nullptr && *file != '\0') {
        std::fprintf(stderr, "%s:%d: itc: %s\n", file, line, text);
    } else {
        std::fprintf(stderr, "itc: %s\n", text);
    }
}

} // namespace Itc
