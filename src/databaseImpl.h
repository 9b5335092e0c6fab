#ifndef VARNIX_DATABASEIMPL_H
#define VARNIX_DATABASEIMPL_H

#include "dbContainer.h"
#include "keyTable.h"
#include "publication.h"
#include "readMostlyLock.h"
#include "typeOfData.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Varnix::Backend {

/**
 * The parameters of one database, in memory.
 *
 * A store is filled before any other thread can see it. From then on its keys and their types stay;
 * updates change values alone. Looking a key up therefore needs no lock, and a value's bytes are
 * read under the shared and changed under the exclusive lock.
 */
class DatabaseImpl
{
public:
    enum class ResultCode
    {
        SUCCESS = 0,
        NOT_FOUND = 1,
        WRONG_TYPE = 2
    };

    struct DbParam_t
    {
        unsigned char* data = nullptr; ///< owned by the store; as in the file, so big-endian
        std::uint32_t length = 0;      ///< in bytes
        TypeOfData_t type = TypeOfData_t::UNDEFINED;
    };

    DatabaseImpl() = default;
    ~DatabaseImpl();
    DatabaseImpl(const DatabaseImpl&) = delete;
    DatabaseImpl& operator=(const DatabaseImpl&) = delete;

    /**
     * Copies every record of a loaded container into the store; a key that is there already gets
     * the new value. Returns false, with nothing stored, when a record reaches outside the image,
     * and when memory ran out part-way. Takes no lock.
     */
    bool populate(DbContainer& container);

    /**
     * Reads a parameter into a vector of one of the six integer types or into a string. The output
     * is untouched unless the answer is SUCCESS.
     */
    template <typename Output>
    ResultCode get(const ParamKey& key, Output& output) const
    {
        const auto found = m_params.find(key);
        return found != m_params.end() ? read(found, output) : ResultCode::NOT_FOUND;
    }

    /** Reads a text as words; empties the output unless the answer is SUCCESS. */
    ResultCode get(const ParamKey& key, std::vector<std::string>& words) const;

    /** Replaces the text of a CHAR parameter, or appends a blank and `value` to it. */
    void updateDb(const std::string& key, const std::string& value, bool append);

    /** Writes `values` into consecutive elements of an integer parameter, from `index` on. */
    void updateDb(const std::string& key, const std::vector<std::int64_t>& values,
                  unsigned char index);

    /** Whether `values` may be written at `index` of `param`; traces why not. */
    bool checkUpdatePossible(const DbParam_t& param, const std::vector<std::int64_t>& values,
                             unsigned char index) const;

    /** Bytes of one element; 0, with an ERROR trace, for a type without elements. */
    unsigned int sizeofDatatype(TypeOfData_t type) const;

    /** Whether one element of an integer type can hold `value`. */
    bool fitsInDataType(std::int64_t value, TypeOfData_t type) const noexcept;

    /** Says what tools may see of the store, once it is filled; `configFile` is empty for
     * production. */
    void describe(const std::string& configFile)
    {
        m_published.describe(configFile, m_params.begin(), m_params.size());
    }

    PublishedStore& published() noexcept { return m_published; }

private:
    using Table = KeyTable<DbParam_t>;

    template <typename T>
    ResultCode read(Table::const_iterator entry, std::vector<T>& values) const;
    ResultCode read(Table::const_iterator entry, std::string& text) const;
    bool readStringParam(Table::const_iterator entry, std::string& text) const;

    bool store(const DbRecord& record);

    mutable ReadMostlyLock m_lock;
    Table m_params;
    PublishedStore m_published;
};

} // namespace Varnix::Backend

#endif
