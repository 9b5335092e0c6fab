#ifndef VARNIX_INSPECTION_PARAMETERVIEW_H
#define VARNIX_INSPECTION_PARAMETERVIEW_H

#include "inspection/registryView.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Varnix::Inspection {

/** One parameter as a store held it at one moment. */
struct ParameterView
{
    std::string key;
    std::uint8_t type; ///< as in a database file
    std::string value; ///< big-endian, as in a database file
};

/**
 * The parameters of `store` that `keys` name, in the order of the store; all of them without keys.
 *
 * Each value is one that the store held; two values may be of different moments. Returns nothing
 * when the registry at `root` no longer has the store. Takes the process's memory as hostile, as
 * viewRegistry does, and throws as it does.
 */
std::optional<std::vector<ParameterView>> readParameters(const Memory& memory, Address root,
                                                         const StoreView& store,
                                                         std::span<const std::string> keys = {});

} // namespace Varnix::Inspection

#endif
