#include "tokenize.h"

namespace Varnix::Backend::DBUtils {

std::vector<std::string> tokenize(const std::string& text, const std::string& delimiters)
{
    std::vector<std::string> pieces;
    std::string::size_type start = text.find_first_not_of(delimiters);
    while (start != std::string::npos) {
        const std::string::size_type end = text.find_first_of(delimiters, start);
        pieces.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(delimiters, end);
    }
    return pieces;
}

} // namespace Varnix::Backend::DBUtils
