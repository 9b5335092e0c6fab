#include "databaseImpl.h"

#include "dbUtils.h"
#include "elements.h"
#include "forks.h"
#include "trace.h"
#include "writeCheck.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string_view>

namespace Varnix::Backend {

namespace {

using DbParam_t = DatabaseImpl::DbParam_t;

// A tool reads the table's entries out of this process as what the inspection's layout says.
using Entry = DatabaseImpl::ParamTable::Entry;
using Shown = Inspection::Parameter;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // both compilers lay it out as DbParam_t
static_assert(sizeof(Entry) == sizeof(Shown) && offsetof(Entry, text) == offsetof(Shown, key) &&
              offsetof(Entry, length) == offsetof(Shown, keySize) &&
              offsetof(Entry, value) + offsetof(DbParam_t, data) == offsetof(Shown, value) &&
              offsetof(Entry, value) + offsetof(DbParam_t, length) == offsetof(Shown, valueSize) &&
              offsetof(Entry, value) + offsetof(DbParam_t, type) == offsetof(Shown, type));
#pragma GCC diagnostic pop

/**
 * The bytes that there are: none where memory ran out under a parameter, whose length stays what it
 * was.
 */
std::uint32_t byteCount(const DbParam_t& param) noexcept
{
    return param.data != nullptr ? param.length : 0;
}

std::string_view textOf(const DbParam_t& param) noexcept
{
    return {reinterpret_cast<const char*>(param.data), byteCount(param)};
}

unsigned char* allocateValue(std::size_t size) noexcept
{
    auto* const data = new (std::nothrow) unsigned char[size];
    if (data == nullptr)
        Trace::error([] { return "Failed to allocate memory for parsed value"; });
    return data;
}

void replaceText(DbParam_t& param, const std::vector<char>& text)
{
    if (text.size() == byteCount(param)) {
        Forks::makeWhole([from = text.data(), size = text.size(), to = &param] {
            std::copy_n(from, size, to->data);
            to->length = static_cast<std::uint32_t>(size);
        });
        return;
    }
    unsigned char* const data = allocateValue(text.size());
    if (data == nullptr)
        return; // the old value stays whole
    std::copy(text.begin(), text.end(), data);
    const unsigned char* const old = param.data;
    Forks::makeWhole([to = &param, data, size = text.size()] {
        to->data = data;
        to->length = static_cast<std::uint32_t>(size);
    });
    delete[] old;
}

} // namespace

DatabaseImpl::~DatabaseImpl()
{
    for (const auto& entry : m_params)
        delete[] entry.value.data;
}

unsigned int DatabaseImpl::sizeofDatatype(TypeOfData_t type) const
{
    const TypeInfo* const info = findType(type);
    if (info != nullptr && info->elementSize != 0)
        return info->elementSize;
    Trace::error([&] {
        return Trace::text("Data type enum (TypeOfData_t) value equals: ", static_cast<char>(type),
                           ". Hence, the size will be returned as zero.");
    });
    return 0;
}

bool DatabaseImpl::fitsInDataType(std::int64_t value, TypeOfData_t type) const noexcept
{
    const TypeInfo* const info = findType(type);
    return info != nullptr && info->holds(value);
}

bool DatabaseImpl::populate(DbContainer& container)
{
    const auto contents = container.measure();
    if (!contents)
        return false;
    m_params.reserve(contents->parameters, contents->keyBytes);
    const auto end = DbContainer::iterator::end(&container);
    auto it = DbContainer::iterator::begin(&container);
    for (ParamKey next(it.key()); it != end;) {
        const DbRecord& record = *it;
        const ParamKey key = next;
        ++it;
        next = ParamKey(it.key());
        m_params.prefetch(next); // while this record is stored: a slot is in no cache
        if (!store(key, record))
            return false;
    }
    return true;
}

bool DatabaseImpl::store(const ParamKey& key, const DbRecord& record)
{
    if (record.type == TypeOfData_t::UNDEFINED) {
        Trace::info([&] { return "ABN: Type of data is undefined for key: " + record.key; });
        return true;
    }
    DbParam_t& param = m_params.findOrInsert(key);
    const bool heldData = param.data != nullptr;
    delete[] param.data;
    param.data = nullptr;
    if (record.length == 0) {
        if (heldData)
            param.length = 0;
        return true; // the type stays: a new key stays undefined, a known one keeps what it was
    }
    param.data = allocateValue(record.length);
    if (param.data == nullptr)
        return false;
    std::memcpy(param.data, record.data, record.length);
    param.length = record.length;
    param.type = record.type;
    return true;
}

void DatabaseImpl::hideKeysOf(const std::shared_ptr<const DatabaseImpl>& production)
{
    m_params.forEachKeyOf(production->m_params, [](StoredParam& param) { param.hidden = true; });
    m_hiding = production;
}

template <typename T>
DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator entry,
                                            std::vector<T>& values) const
{
    const DbParam_t& param = entry->value;
    if (param.type != typeOfElement<T>())
        return ResultCode::WRONG_TYPE;
    const std::shared_lock lock(m_lock);
    assignElements(values, param.data, byteCount(param) / sizeof(T));
    return ResultCode::SUCCESS;
}

// The overloads that there are.
template DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator,
                                                     std::vector<unsigned int>&) const;
template DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator,
                                                     std::vector<unsigned short>&) const;
template DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator,
                                                     std::vector<unsigned char>&) const;
template DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator,
                                                     std::vector<int>&) const;
template DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator,
                                                     std::vector<short>&) const;
template DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator,
                                                     std::vector<signed char>&) const;

bool DatabaseImpl::readStringParam(ParamTable::const_iterator entry, std::string& text) const
{
    const DbParam_t& param = entry->value;
    if (param.type != TypeOfData_t::CHAR)
        return false;
    if (text.size() != byteCount(param)) // a size that stays costs nothing
        text.resize(byteCount(param));
    textOf(param).copy(text.data(), text.size());
    return true;
}

DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator entry,
                                            std::string& text) const
{
    const std::shared_lock lock(m_lock);
    return readStringParam(entry, text) ? ResultCode::SUCCESS : ResultCode::WRONG_TYPE;
}

DatabaseImpl::ResultCode DatabaseImpl::read(ParamTable::const_iterator entry,
                                            std::vector<std::string>& words) const
{
    words.clear();
    std::string text;
    const ResultCode result = read(entry, text);
    if (result == ResultCode::SUCCESS)
        words = DBUtils::tokenize(text, " ");
    return result;
}

void DatabaseImpl::updateDb(const std::string& key, const std::string& value, bool append)
{
    const std::unique_lock lock(m_lock);
    DbParam_t* const found = m_params.findValue(key);
    if (found == nullptr)
        return;
    DbParam_t& param = *found;
    const std::string_view oldText = textOf(param);
    if (oldText.empty())
        Trace::error([] { return "Can not update empty key"; });
    if (!WriteCheck::takesText(param.type)) {
        Trace::error([&] { return WriteCheck::describeNoText(param.type, value); });
        return;
    }
    const std::vector<char> newText = WriteCheck::textAfter(oldText, value, append);
    const PublishedStore::Change change(m_published);
    replaceText(param, newText);
}

bool DatabaseImpl::checkUpdatePossible(const DbParam_t& param,
                                       const std::vector<std::int64_t>& values,
                                       unsigned char index) const
{
    return mayWrite(param, WriteValues(values), index);
}

bool DatabaseImpl::mayWrite(const DbParam_t& param, const WriteValues& values,
                            unsigned char index) const
{
    const auto refusal = WriteCheck::refusalOf(param.type, param.length, values, index);
    if (!refusal)
        return true;
    if (refusal->reason == WriteCheck::Refusal::Reason::NO_ELEMENTS)
        sizeofDatatype(param.type); // traces that there is no size
    Trace::error([&] { return WriteCheck::describe(*refusal); });
    return false;
}

void DatabaseImpl::updateDb(const std::string& key, const std::vector<std::int64_t>& values,
                            unsigned char index)
{
    write(key, WriteValues(values), index);
}

void DatabaseImpl::updateDb(const std::string& key, std::int64_t value, std::size_t count,
                            unsigned char index)
{
    write(key, WriteValues(value, count), index);
}

void DatabaseImpl::write(const std::string& key, const WriteValues& values, unsigned char index)
{
    const std::unique_lock lock(m_lock);
    const DbParam_t* const found = m_params.findValue(key);
    if (found == nullptr)
        return;
    const DbParam_t& param = *found;
    if (!mayWrite(param, values, index))
        return;
    if (byteCount(param) == 0)
        return; // no values, or memory ran out under the parameter

    const PublishedStore::Change change(m_published);
    WriteCheck::storeValues(param.data, findType(param.type)->elementSize, index, values);
}

} // namespace Varnix::Backend
