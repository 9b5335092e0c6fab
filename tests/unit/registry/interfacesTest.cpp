#include "database.h"
#include "dbRegistryImpl.h"
#include "itc_communication.h"

#include <concepts>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

// The forms of what the registry, its channel and a handle offer, held by the compiler.

namespace Varnix::Backend {
namespace {

using Store = std::shared_ptr<DatabaseImpl>;

static_assert(std::same_as<decltype(&DbRegistryImpl::getInstance), DbRegistryImpl* (*)()>);
static_assert(std::same_as<decltype(&DbRegistryImpl::freeInstance), void (*)()>);
static_assert(
    std::same_as<decltype(&DbRegistryImpl::initDb), Store (DbRegistryImpl::*)(const std::string&)>);
static_assert(
    std::same_as<decltype(&DbRegistryImpl::getProdDb), Store (DbRegistryImpl::*)() const>);
static_assert(
    std::same_as<decltype(&DbRegistryImpl::removeDb), void (DbRegistryImpl::*)(const Store&)>);
static_assert(std::same_as<decltype(&DbRegistryImpl::matchComponentElement),
                           bool (DbRegistryImpl::*)(const std::string&,
                                                    const std::vector<std::string>&) const>);
[[maybe_unused]] constexpr void (DbRegistryImpl::*setOrAppend)(const std::string&,
                                                               const std::string&,
                                                               bool) = &DbRegistryImpl::updateDbs;
[[maybe_unused]] constexpr void (DbRegistryImpl::*writeList)(const std::string&,
                                                             const std::vector<std::string>&,
                                                             int) = &DbRegistryImpl::updateDbs;
[[maybe_unused]] constexpr void (DbRegistryImpl::*repeat)(const std::string&, const std::string&,
                                                          int, int) = &DbRegistryImpl::updateDbs;
static_assert(!std::is_copy_constructible_v<DbRegistryImpl>);

static_assert(
    std::same_as<decltype(&Itc_communication::locate_server), void (Itc_communication::*)()>);
static_assert(std::same_as<decltype(&Itc_communication::establish_Connection),
                           void (Itc_communication::*)(itc_msg*)>);
static_assert(std::same_as<decltype(&Itc_communication::subscribe), void (Itc_communication::*)()>);
static_assert(std::same_as<decltype(&Itc_communication::handleMsg),
                           bool (Itc_communication::*)(DbRegistryImpl*, itc_msg*)>);
static_assert(std::same_as<decltype(&Itc_communication::dbSubscription), void* (*)(void*)>);

static_assert(std::same_as<decltype(&V1::Database::convertRetCode),
                           V1::DatabaseIf::RetCode (V1::Database::*)(DatabaseImpl::ResultCode)
                               const noexcept>);

} // namespace
} // namespace Varnix::Backend
