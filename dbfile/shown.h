#ifndef VARNIX_DBFILE_SHOWN_H
#define VARNIX_DBFILE_SHOWN_H

#include <string>
#include <string_view>

namespace Varnix::DbFile {

/** Whether the bytes are UTF-8 that a terminal shows as it is: nothing in it controls the text. */
bool isShowable(std::string_view bytes) noexcept;

/**
 * `bytes` as a message or a table shows them, on one line: backslashes and what a terminal
 * would not show are escaped as in a text source.
 */
std::string shown(std::string_view bytes);

} // namespace Varnix::DbFile

#endif
