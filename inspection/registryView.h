#ifndef VARNIX_INSPECTION_REGISTRYVIEW_H
#define VARNIX_INSPECTION_REGISTRYVIEW_H

#include "inspection/memory.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Varnix::Inspection {

/** One database as the process holds it. */
struct StoreView
{
    Address address;
    std::uint64_t serial;
    std::string config; ///< empty for the production store
    Range parameters;   ///< an array of Parameter
    std::uint64_t parameterCount;
};

/** A registry at one moment. */
struct RegistryView
{
    Subscription subscription;
    std::uint32_t serverRef;
    std::uint64_t handled;
    std::uint64_t handledConnected;
    std::vector<StoreView> stores; ///< the production store first

    const StoreView& production() const { return stores.front(); }
};

/**
 * The registry at `root`, or nothing where there is none.
 *
 * Takes the process's memory as hostile: whatever it holds, this ends after a bounded time with
 * bounded memory. Throws NotInspected when the process cannot be read or its list never settles.
 */
std::optional<RegistryView> viewRegistry(const Memory& memory, Address root);

/** Whether the registry at `root` has the store now, and so has had it ever since it was seen. */
bool isRegistered(const Memory& memory, Address root, const StoreView& store);

} // namespace Varnix::Inspection

#endif
