#include "inspection/registryView.h"

#include "inspection/boundedMemory.h"
#include "inspection/settled.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Varnix::Inspection {

namespace {

constexpr std::uint64_t mostStores = 1'000'000;
constexpr std::uint64_t mostParameters = 1U << 26U;
constexpr std::uint64_t longestPath = 65536;

std::optional<StoreView> viewStore(const Memory& memory, Address address, Address& next)
{
    const auto store = memory.object<Store>(address);
    if (!store || store->configSize > longestPath || store->parameterCount > mostParameters)
        return std::nullopt;
    auto config = memory.bytes({store->config, store->configSize});
    if (!config)
        return std::nullopt;
    next = store->next;
    const Range parameters{store->parameters, store->parameterCount * sizeof(Parameter)};
    return StoreView{address, store->serial, std::move(*config), parameters, store->parameterCount};
}

/** The registry as it is read once; nothing where the bytes do not fit together. */
std::optional<RegistryView> viewOnce(const Memory& memory, Address rootAddress)
{
    const auto root = memory.object<Root>(rootAddress);
    if (!root || root->storeCount > mostStores)
        return std::nullopt;
    RegistryView view{Subscription{root->subscription},
                      root->serverRef,
                      root->handled,
                      root->handledConnected,
                      {}};
    Address next = root->firstStore;
    for (std::uint64_t i = 0; i < root->storeCount; ++i) {
        auto store = viewStore(memory, next, next);
        if (!store)
            return std::nullopt;
        view.stores.push_back(std::move(*store));
    }
    return view;
}

} // namespace

std::optional<RegistryView> viewRegistry(const Memory& process, Address root)
{
    const BoundedMemory memory(process);
    const Address changes = root + offsetof(Root, changes);
    for (const Patience patience;; patience.wait()) {
        auto view = readSettled(memory, changes, [&] { return viewOnce(memory, root); });
        if (view && view->stores.empty())
            return std::nullopt;
        if (view)
            return view;
    }
}

bool isRegistered(const Memory& memory, Address root, const StoreView& store)
{
    const auto now = viewRegistry(memory, root);
    return now && std::any_of(now->stores.begin(), now->stores.end(), [&](const StoreView& other) {
               return other.address == store.address && other.serial == store.serial;
           });
}

} // namespace Varnix::Inspection
