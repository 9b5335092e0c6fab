#ifndef VARNIX_DBCSI_SERVER_WRITEINDICATION_H
#define VARNIX_DBCSI_SERVER_WRITEINDICATION_H

#include "words.h"

#include <cstddef>
#include <vector>

namespace Dbcsi {

/** The bytes of the DBCSI_DBWRITE_IND that carries `words` unchanged; no word holds a NUL. */
std::vector<std::byte> encodeWriteIndication(const Words& words);

} // namespace Dbcsi

#endif
