#include "database.h"

#include "dbRegistryImpl.h"

#include <new>

namespace Varnix::V1 {

using Backend::DatabaseImpl;
using Backend::DbRegistryImpl;

namespace {

/** Null where there is no registry and no memory to make one: then no store is registered. */
DbRegistryImpl* registryUnlessNoMemory() noexcept
{
    try {
        return DbRegistryImpl::getInstance();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

DatabaseIf::~DatabaseIf() = default;

Database::Database(const std::shared_ptr<DatabaseImpl>& db)
    : m_db(db), m_prodDb(DbRegistryImpl::getInstance()->getProdDb()),
      m_first(m_db->hidesKeysOf(m_prodDb) ? *m_db : *m_prodDb),
      m_second(&m_first == m_db.get() ? *m_prodDb : *m_db)
{
}

Database::~Database()
{
    if (DbRegistryImpl* const registry = registryUnlessNoMemory())
        registry->removeDb(m_db);
}

DatabaseIf::RetCode Database::convertRetCode(DatabaseImpl::ResultCode result) const noexcept
{
    switch (result) {
    case DatabaseImpl::ResultCode::SUCCESS:
        return RetCode::OK;
    case DatabaseImpl::ResultCode::NOT_FOUND:
        return RetCode::KEY_NOT_FOUND;
    default:
        return RetCode::TYPE_MISMATCH;
    }
}

/** Apart from the first look, which then keeps nothing for it. */
template <typename Output>
DatabaseImpl::ResultCode Database::readSecond(const Backend::ParamKey& key, Output& output) const
{
    return m_second.find(key, output);
}

template <typename Output>
DatabaseIf::RetCode Database::read(const std::string& key, Output& output) const
{
    const Backend::ParamKey paramKey(key);
    DatabaseImpl::ResultCode result = m_first.findShown(paramKey, output);
    if (result == DatabaseImpl::ResultCode::NOT_FOUND) [[unlikely]]
        result = readSecond(paramKey, output);
    return convertRetCode(result);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::uint32_t>& values) const
{
    return read(key, values);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::uint16_t>& values) const
{
    return read(key, values);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::uint8_t>& values) const
{
    return read(key, values);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::int32_t>& values) const
{
    return read(key, values);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::int16_t>& values) const
{
    return read(key, values);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::int8_t>& values) const
{
    return read(key, values);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::vector<std::string>& words) const
{
    return read(key, words);
}

DatabaseIf::RetCode Database::get(const std::string& key, std::string& text) const
{
    return read(key, text);
}

} // namespace Varnix::V1
