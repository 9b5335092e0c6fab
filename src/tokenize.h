#ifndef VARNIX_TOKENIZE_H
#define VARNIX_TOKENIZE_H

#include <string>
#include <vector>

namespace Varnix::Backend::DBUtils {

/** The pieces of `text` between characters of the set `delimiters`, in order, without empty ones.
 */
std::vector<std::string> tokenize(const std::string& text, const std::string& delimiters);

} // namespace Varnix::Backend::DBUtils

#endif
