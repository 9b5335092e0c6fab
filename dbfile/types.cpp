#include "dbfile/types.h"

#include "dbfile/bigEndian.h"

#include <algorithm>

namespace Varnix::DbFile {

namespace {

template <typename Match>
const Type* findIf(Match match) noexcept
{
    const auto found = std::find_if(namedTypes.begin(), namedTypes.end(), match);
    return found == namedTypes.end() ? nullptr : &*found;
}

} // namespace

const Type* findType(std::uint8_t number) noexcept
{
    return findIf([number](const Type& type) { return type.number == number; });
}

const Type* findType(std::string_view name) noexcept
{
    return findIf([name](const Type& type) { return type.name == name; });
}

bool isWhole(const Type& type, std::size_t length) noexcept
{
    return length % type.elementSize == 0;
}

void appendElement(std::string& data, const Type& type, std::int64_t value)
{
    appendBigEndian(data, static_cast<std::uint64_t>(value), type.elementSize);
}

std::int64_t elementAt(std::string_view data, const Type& type, std::size_t index) noexcept
{
    const auto bits =
        static_cast<std::int64_t>(readBigEndian(data, index * type.elementSize, type.elementSize));
    const std::int64_t values = std::int64_t{1} << (8 * type.elementSize);
    return bits > type.max ? bits - values : bits;
}

} // namespace Varnix::DbFile
