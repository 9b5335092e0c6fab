#ifndef VARNIX_DBFILE_SHOWN_H
#define VARNIX_DBFILE_SHOWN_H

#include <string>
#include <string_view>

namespace Varnix::DbFile {

/** Whether the bytes are UTF-8 without a control character, which a terminal shows as they are. */
bool isShowable(std::string_view bytes) noexcept;

/**
 * `bytes` as a message or a table shows them, on one line: control characters, what is no UTF-8 and
 * backslashes are escaped as in a text source.
 */
std::string shown(std::string_view bytes);

} // namespace Varnix::DbFile

#endif
