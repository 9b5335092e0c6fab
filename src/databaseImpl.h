#ifndef VARNIX_DATABASEIMPL_H
#define VARNIX_DATABASEIMPL_H

#include "dbContainer.h"
#include "keyTable.h"
#include "publication.h"
#include "readMostlyLock.h"
#include "typeOfData.h"
#include "writeValues.h"

#include <cstddef>
#include <cstdint>
#include <memory>
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

    /** A parameter in the store. What it has of its own takes no room. */
    struct StoredParam : DbParam_t
    {
        bool hidden = false; ///< the production database holds the key too
    };
    static_assert(sizeof(StoredParam) == sizeof(DbParam_t));

    using ParamTable = KeyTable<StoredParam>;

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

    /** @name Typed reads
     * The parameter's type must be that of the output; otherwise, and where there is no such key,
     * the output stays as it was. Only the list of words is empty then.
     * @{ */
    ResultCode get(const std::string& key, std::vector<unsigned int>& values) const
    {
        return find(ParamKey(key), values);
    }
    ResultCode get(const std::string& key, std::vector<unsigned short>& values) const
    {
        return find(ParamKey(key), values);
    }
    ResultCode get(const std::string& key, std::vector<unsigned char>& values) const
    {
        return find(ParamKey(key), values);
    }
    ResultCode get(const std::string& key, std::vector<int>& values) const
    {
        return find(ParamKey(key), values);
    }
    ResultCode get(const std::string& key, std::vector<short>& values) const
    {
        return find(ParamKey(key), values);
    }
    ResultCode get(const std::string& key, std::vector<signed char>& values) const
    {
        return find(ParamKey(key), values);
    }
    ResultCode get(const std::string& key, std::vector<std::string>& words) const
    {
        return find(ParamKey(key), words);
    }
    ResultCode get(const std::string& key, std::string& text) const
    {
        return find(ParamKey(key), text);
    }
    /** @} */

    /** The same reads with a key that is hashed once, for whoever asks several stores. */
    template <typename Output>
    ResultCode find(const ParamKey& key, Output& output) const
    {
        const auto* const found = m_params.find(key);
        return found != nullptr ? read(found, output) : absent(output);
    }

    /** The same where a hidden key counts as absent. */
    template <typename Output>
    ResultCode findShown(const ParamKey& key, Output& output) const
    {
        const auto* const found = m_params.find(key);
        const bool shown = found != nullptr && !found->value.hidden;
        return shown ? read(found, output) : absent(output);
    }

    /**
     * Hides the keys that `production` holds too. No store gets a key afterwards, so that a key
     * which this one shows need not be looked for in `production`. Takes no lock.
     */
    void hideKeysOf(const std::shared_ptr<const DatabaseImpl>& production);

    /** Whether the hidden keys are those of `production`, the same store. */
    bool hidesKeysOf(const std::shared_ptr<const DatabaseImpl>& production) const noexcept
    {
        return production && m_hiding.lock() == production;
    }

    /**
     * Copies the text of a table's entry. False, with `text` as it was, if the entry is no text.
     * Takes no lock: the caller holds the store's shared one or is alone.
     */
    bool readStringParam(ParamTable::const_iterator entry, std::string& text) const;

    /** Replaces the text of a CHAR parameter, or appends a blank and `value` to it. */
    void updateDb(const std::string& key, const std::string& value, bool append);

    /** Writes `values` into consecutive elements of an integer parameter, from `index` on. */
    void updateDb(const std::string& key, const std::vector<std::int64_t>& values,
                  unsigned char index);

    /** The same with `value` written `count` times, in memory that does not grow with `count`. */
    void updateDb(const std::string& key, std::int64_t value, std::size_t count,
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
    template <typename T>
    ResultCode read(ParamTable::const_iterator entry, std::vector<T>& values) const;
    ResultCode read(ParamTable::const_iterator entry, std::string& text) const;
    ResultCode read(ParamTable::const_iterator entry, std::vector<std::string>& words) const;

    template <typename Output>
    static ResultCode absent(Output&) noexcept
    {
        return ResultCode::NOT_FOUND;
    }
    static ResultCode absent(std::vector<std::string>& words) noexcept
    {
        words.clear();
        return ResultCode::NOT_FOUND;
    }

    void write(const std::string& key, const WriteValues& values, unsigned char index);
    bool mayWrite(const DbParam_t& param, const WriteValues& values, unsigned char index) const;

    bool store(const ParamKey& key, const DbRecord& record);

    mutable ReadMostlyLock m_lock;
    ParamTable m_params;
    PublishedStore m_published;
    std::weak_ptr<const DatabaseImpl> m_hiding; ///< whose keys are hidden here
};

} // namespace Varnix::Backend

#endif
