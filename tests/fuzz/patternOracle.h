#ifndef VARNIX_TESTS_FUZZ_PATTERNORACLE_H
#define VARNIX_TESTS_FUZZ_PATTERNORACLE_H

#include <optional>
#include <string_view>

namespace Varnix::Fuzz {

/**
 * Whether a shell pattern matches the whole of a text in the C locale, said without fnmatch.
 *
 * Knows "*", "?", brackets with negation and ranges, and the backslash. Returns nothing where POSIX
 * leaves the meaning open or to the locale: a bracket that does not close, a range that runs
 * backwards, classes, collating symbols, a backslash at the end.
 */
std::optional<bool> patternMatches(std::string_view pattern, std::string_view text);

} // namespace Varnix::Fuzz

#endif
