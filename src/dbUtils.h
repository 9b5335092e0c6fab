#ifndef VARNIX_DBUTILS_H
#define VARNIX_DBUTILS_H

#include "checksum.h"
#include "configFile.h"
#include "swapEnd.h"
#include "tokenize.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Varnix::Backend::DBUtils {

/** Bytes of a file that the header's length field does not count. */
inline constexpr std::uint32_t trailerSize = 14;

/**
 * Whether the checksum in the trailer of the file image at `image` is that of its bytes. `length`
 * is the header's length field; the image holds `length` + trailerSize bytes.
 */
bool checkSumCheck(const unsigned char* image, std::uint32_t length) noexcept;

/**
 * Appends the entries of a component configuration file to `configurations`. Returns false, with
 * one ERROR trace, at the first that is malformed; the entries before it stay appended.
 */
bool parseDbConfigFile(const std::string& configFile, std::vector<DbConfiguration>& configurations);

} // namespace Varnix::Backend::DBUtils

#endif
