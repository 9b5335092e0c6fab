#ifndef VARNIX_INSPECTION_IMAGE_H
#define VARNIX_INSPECTION_IMAGE_H

#include "inspection/memory.h"

#include <optional>

namespace Varnix::Inspection {

/** What an image's note says. */
struct FoundNote
{
    std::uint32_t layout;
    Address root; ///< 0 for a layout that this release does not know
};

/** The library's note in the ELF image whose first page is at `start`, if it carries one. */
std::optional<FoundNote> findNote(const Memory& memory, Address start);

} // namespace Varnix::Inspection

#endif
