#ifndef VARNIX_TESTS_HOSTILE_IMAGES_H
#define VARNIX_TESTS_HOSTILE_IMAGES_H

#include <iosfwd>
#include <string>
#include <vector>

namespace Varnix::Test {

/** A database file, named by what is wrong with it. */
struct HostileImage
{
    std::string name;
    std::string bytes;
};

/** Images that are wrong in the same place. */
struct ImageFamily
{
    std::string name;
    std::vector<HostileImage> images;
};

/** Lets a failed case show its name. */
std::ostream& operator<<(std::ostream& stream, const ImageFamily& family);

/** All of them, always the same. */
const std::vector<ImageFamily>& hostileImages();

/** What is wrong with the file around its records. */
std::vector<ImageFamily> fileFamilies();

/** What is wrong with where a record ends. */
std::vector<ImageFamily> boundaryFamilies();

/** What is wrong with what a record says. */
std::vector<ImageFamily> recordFamilies();

} // namespace Varnix::Test

#endif
