#ifndef VARNIX_TESTS_FUZZ_TARGET_H
#define VARNIX_TESTS_FUZZ_TARGET_H

/** What every fuzz target shares. A target is one function, called once for every input. */

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Varnix::Fuzz {

/** Ends the process where `rule` does not hold: the input is a finding. */
inline void require(bool holds, const char* rule)
{
    if (holds)
        return;
    std::fprintf(stderr, "Broken: %s\n", rule);
    std::abort();
}

inline std::string_view viewOf(const std::uint8_t* data, std::size_t size) noexcept
{
    return {reinterpret_cast<const char*>(data), size};
}

/** Cuts what is before the first line feed off `text`, and the line feed. */
inline std::string_view cutLine(std::string_view& text) noexcept
{
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : text.size());
    return line;
}

} // namespace Varnix::Fuzz

#endif
