#ifndef VARNIX_DATABASE_H
#define VARNIX_DATABASE_H

#include "databaseImpl.h"

#include <memory>

#include <varnix/databaseIf.h>

namespace Varnix::V1 {

/**
 * A client's handle: one component's store with the production store in front of it.
 *
 * The component's store knows which of its keys the production store hides, so it is asked first: a
 * key that it shows takes one look. If it was made beside another production store, that of the
 * handle is asked first.
 */
class Database final : public DatabaseIf
{
public:
    explicit Database(const std::shared_ptr<Backend::DatabaseImpl>& db);
    ~Database() override;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    RetCode get(const std::string& key, std::vector<std::uint32_t>& values) const override;
    RetCode get(const std::string& key, std::vector<std::uint16_t>& values) const override;
    RetCode get(const std::string& key, std::vector<std::uint8_t>& values) const override;
    RetCode get(const std::string& key, std::vector<std::int32_t>& values) const override;
    RetCode get(const std::string& key, std::vector<std::int16_t>& values) const override;
    RetCode get(const std::string& key, std::vector<std::int8_t>& values) const override;
    RetCode get(const std::string& key, std::vector<std::string>& words) const override;
    RetCode get(const std::string& key, std::string& text) const override;

    RetCode convertRetCode(Backend::DatabaseImpl::ResultCode result) const noexcept;

private:
    template <typename Output>
    RetCode read(const std::string& key, Output& output) const;

    template <typename Output>
    [[gnu::noinline]] Backend::DatabaseImpl::ResultCode readSecond(const Backend::ParamKey& key,
                                                                   Output& output) const;

    std::shared_ptr<Backend::DatabaseImpl> m_db;
    std::shared_ptr<Backend::DatabaseImpl> m_prodDb;
    const Backend::DatabaseImpl& m_first; ///< of the two above
    const Backend::DatabaseImpl& m_second;
};

} // namespace Varnix::V1

#endif
