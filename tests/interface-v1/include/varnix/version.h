#ifndef VARNIX_VERSION_H
#define VARNIX_VERSION_H

#include <varnix/export.h>

/** The version that a client was compiled against. */
#define VARNIX_VERSION_MAJOR 0
#define VARNIX_VERSION_MINOR 1
#define VARNIX_VERSION_PATCH 0
#define VARNIX_VERSION "0.1.0"

namespace Varnix {
namespace V1 {

/**
 * The version of the library that the process runs with, as "MAJOR.MINOR.PATCH".
 *
 * It may be newer than VARNIX_VERSION, which was fixed when the client was compiled. The text lives
 * as long as the library is loaded. Any thread; never fails.
 */
VARNIX_EXPORT const char* version() noexcept;

} // namespace V1
} // namespace Varnix

#endif
