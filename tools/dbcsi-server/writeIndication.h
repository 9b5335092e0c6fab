#ifndef VARNIX_DBCSI_SERVER_WRITEINDICATION_H
#define VARNIX_DBCSI_SERVER_WRITEINDICATION_H

#include "wordSplitter.h"

#include <cstddef>
#include <vector>

namespace Dbcsi {

/**
 * Clients take no notice of a command of fewer words: two that they do not look at, a key and a
 * value.
 */
inline constexpr std::size_t fewestUsefulWords = 4;

/** The bytes of the DBCSI_DBWRITE_IND that carries `words` unchanged; no word holds a NUL. */
std::vector<std::byte> encodeWriteIndication(const Words& words);

} // namespace Dbcsi

#endif
