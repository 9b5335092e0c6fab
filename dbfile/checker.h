#ifndef VARNIX_DBFILE_CHECKER_H
#define VARNIX_DBFILE_CHECKER_H

#include "dbfile/finding.h"

#include <string_view>
#include <vector>

namespace Varnix::DbFile {

struct CheckResult
{
    /** What must not be in a file; a file without any loads and reads inside its image. */
    std::vector<Finding> findings;
    /** What a file may hold and hardly anybody wants. */
    std::vector<Finding> warnings;
    /** What is unusual and does no harm: bytes that nobody interprets and that are not zero. */
    std::vector<Finding> notes;
};

/** Everything that can be said against an image, in the order of the file; stricter than a loader.
 */
CheckResult check(std::string_view image);

} // namespace Varnix::DbFile

#endif
