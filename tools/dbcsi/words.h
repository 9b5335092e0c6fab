#ifndef VARNIX_DBCSI_WORDS_H
#define VARNIX_DBCSI_WORDS_H

#include <cstddef>
#include <string>
#include <vector>

namespace Dbcsi {

/** The words of an operator's line. */
using Words = std::vector<std::string>;

/**
 * Clients take no notice of a command of fewer words: two that they do not look at, a key and a
 * value.
 */
inline constexpr std::size_t fewestUsefulWords = 4;

} // namespace Dbcsi

#endif
