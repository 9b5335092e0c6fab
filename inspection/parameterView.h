#ifndef VARNIX_INSPECTION_PARAMETERVIEW_H
#define VARNIX_INSPECTION_PARAMETERVIEW_H

#include "inspection/registryView.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Varnix::Inspection {

/** Where a parameter of a store is, for as long as there is the store. */
struct ParameterPlace
{
    Address address;
    std::string key;
};

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

/** The places of such parameters, to read them more than once. */
std::optional<std::vector<ParameterPlace>> findParameters(const Memory& memory, Address root,
                                                          const StoreView& store,
                                                          std::span<const std::string> keys = {});

/** As above, the parameters at `places`. */
std::optional<std::vector<ParameterView>> readParameters(const Memory& memory, Address root,
                                                         const StoreView& store,
                                                         std::vector<ParameterPlace> places);

} // namespace Varnix::Inspection

#endif
