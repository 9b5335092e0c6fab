#ifndef VARNIX_REGULARFILE_H
#define VARNIX_REGULARFILE_H

#include <cstddef>
#include <string>

namespace Varnix::Backend {

enum class ReadResult
{
    READ,
    NOT_OPENED,
    /** It is no regular file, or a read failed. */
    NOT_READABLE,
    TOO_LARGE
};

/**
 * Appends the content of a regular file to `content`; never waits for a writer. What is no regular
 * file is not opened, as that alone can have an effect on a pipe or a device.
 */
ReadResult readRegularFile(const std::string& path, std::size_t maxSize, std::string& content);

} // namespace Varnix::Backend

#endif
