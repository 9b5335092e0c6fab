#include "databaseImpl.h"
#include "dbContainer.h"
#include "dbUtils.h"

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// The forms of what the library's parts offer each other, held by the compiler.

namespace Varnix::Backend {
namespace {

template <typename Output>
using Get = DatabaseImpl::ResultCode (DatabaseImpl::*)(const std::string&, Output&) const;

/** Whether `get` has an overload of exactly this output, and of no key but a string. */
template <typename Output>
concept IsRead = requires(const DatabaseImpl& store, const std::string& key, Output& output)
{
    static_cast<Get<Output>>(&DatabaseImpl::get);
    {
        store.get(key, output)
        } -> std::same_as<DatabaseImpl::ResultCode>;
};

static_assert(IsRead<std::vector<unsigned int>>);
static_assert(IsRead<std::vector<unsigned short>>);
static_assert(IsRead<std::vector<unsigned char>>);
static_assert(IsRead<std::vector<int>>);
static_assert(IsRead<std::vector<short>>);
static_assert(IsRead<std::vector<signed char>>);
static_assert(IsRead<std::vector<std::string>>);
static_assert(IsRead<std::string>);

template <typename Output>
concept CanBeRead = requires(const DatabaseImpl& store, const std::string& key, Output& output)
{
    store.get(key, output);
};

static_assert(!CanBeRead<std::vector<char>>);
static_assert(!CanBeRead<std::vector<bool>>);
static_assert(!CanBeRead<std::vector<long>>);
static_assert(!CanBeRead<std::vector<unsigned long>>);
static_assert(!CanBeRead<std::vector<long long>>);
static_assert(!CanBeRead<std::vector<unsigned long long>>);
static_assert(!CanBeRead<std::vector<float>>);
static_assert(!CanBeRead<int>);

static_assert(
    std::same_as<decltype(&DatabaseImpl::populate), bool (DatabaseImpl::*)(DbContainer&)>);
static_assert(std::same_as<decltype(&DatabaseImpl::readStringParam),
                           bool (DatabaseImpl::*)(DatabaseImpl::ParamTable::const_iterator,
                                                  std::string&) const>);
static_assert(
    std::same_as<decltype(&DatabaseImpl::checkUpdatePossible),
                 bool (DatabaseImpl::*)(const DatabaseImpl::DbParam_t&,
                                        const std::vector<std::int64_t>&, unsigned char) const>);
[[maybe_unused]] constexpr void (DatabaseImpl::*writeOfText)(const std::string&, const std::string&,
                                                             bool) = &DatabaseImpl::updateDb;
[[maybe_unused]] constexpr void (DatabaseImpl::*writeOfNumbers)(
    const std::string&, const std::vector<std::int64_t>&, unsigned char) = &DatabaseImpl::updateDb;

static_assert(!std::is_copy_constructible_v<DatabaseImpl>);
static_assert(std::same_as<decltype(&DatabaseImpl::sizeofDatatype),
                           unsigned int (DatabaseImpl::*)(TypeOfData_t) const>);
static_assert(std::same_as<decltype(&DatabaseImpl::fitsInDataType),
                           bool (DatabaseImpl::*)(std::int64_t, TypeOfData_t) const noexcept>);

/** Whether a parameter has these three fields and no other. */
constexpr bool hasThreeFields(DatabaseImpl::DbParam_t param)
{
    auto& [data, length, type] = param;
    return std::same_as<decltype(data), unsigned char*> &&
           std::same_as<decltype(length), std::uint32_t> &&
           std::same_as<decltype(type), TypeOfData_t> && data == nullptr;
}
static_assert(hasThreeFields({}));

static_assert(
    std::same_as<decltype(&DbContainer::loadSwDb), bool (DbContainer::*)(const std::string&)>);
[[maybe_unused]] constexpr bool (DbContainer::*loadNamed)(const std::string&) =
    &DbContainer::loadProductionDb;
[[maybe_unused]] constexpr bool (DbContainer::*loadFromEnvironment)() =
    &DbContainer::loadProductionDb;
static_assert(std::same_as<decltype(&DbContainer::iterator::begin),
                           DbContainer::iterator (*)(DbContainer*) noexcept>);
static_assert(std::same_as<decltype(&DbContainer::iterator::end),
                           DbContainer::iterator (*)(DbContainer*) noexcept>);
static_assert(std::same_as<decltype(*std::declval<DbContainer::iterator&>()), DbRecord&>);
static_assert(
    std::same_as<decltype(++std::declval<DbContainer::iterator&>()), DbContainer::iterator&>);
static_assert(std::same_as<decltype(&DbContainer::loadProductionDbBody),
                           unsigned char* (DbContainer::*)(int, DB_HeaderS*) const>);

template <typename T>
concept CanBeSwapped = requires(T& value)
{
    DBUtils::SwapEnd(value);
};

static_assert(CanBeSwapped<unsigned char> && CanBeSwapped<signed char> &&
              CanBeSwapped<unsigned short> && CanBeSwapped<short> && CanBeSwapped<unsigned int> &&
              CanBeSwapped<int>);
static_assert(!CanBeSwapped<char> && !CanBeSwapped<bool> && !CanBeSwapped<wchar_t> &&
              !CanBeSwapped<char16_t> && !CanBeSwapped<char32_t> && !CanBeSwapped<float> &&
              !CanBeSwapped<long> && !CanBeSwapped<unsigned long> && !CanBeSwapped<TypeOfData_t>);

using DBUtils::DbConfiguration;
static_assert(std::is_aggregate_v<DbConfiguration>);
static_assert(
    std::same_as<decltype(&DbConfiguration::componentId), std::string DbConfiguration::*>);
static_assert(std::same_as<decltype(&DbConfiguration::revision), std::string DbConfiguration::*>);
static_assert(std::same_as<decltype(&DbConfiguration::filePaths),
                           std::vector<std::string> DbConfiguration::*>);
static_assert(sizeof(DBUtils::DbConfiguration) ==
              2 * sizeof(std::string) + sizeof(std::vector<std::string>));

static_assert(std::same_as<decltype(&Checksum::checksum_crc16),
                           std::uint16_t (*)(const unsigned char*, std::uint32_t) noexcept>);
static_assert(std::same_as<decltype(&DBUtils::checkSumCheck),
                           bool (*)(const unsigned char*, std::uint32_t) noexcept>);
static_assert(std::same_as<decltype(&DBUtils::parseDbConfigFile),
                           bool (*)(const std::string&, std::vector<DBUtils::DbConfiguration>&)>);
static_assert(std::same_as<decltype(&DBUtils::tokenize),
                           std::vector<std::string> (*)(const std::string&, const std::string&)>);

} // namespace
} // namespace Varnix::Backend
