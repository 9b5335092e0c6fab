#ifndef VARNIX_KIT_PARAMETER_H
#define VARNIX_KIT_PARAMETER_H

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <varnix/databaseIf.h>
#include <varnix/kit/detail/threadBuffer.h>

namespace Varnix::Kit {

namespace Detail {

template <typename T, typename... Others>
inline constexpr bool isOneOf = (std::is_same_v<T, Others> || ...);

template <typename T>
inline constexpr bool isInteger =
    isOneOf<T, std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t>;

template <typename T>
inline constexpr bool isList = false;
template <typename T>
inline constexpr bool isList<std::vector<T>> = isInteger<T> || std::is_same_v<T, std::string>;

template <typename T>
inline constexpr bool isValue = isInteger<T> || std::is_same_v<T, std::string> || isList<T>;

} // namespace Detail

/**
 * One parameter of a database, read in one line:
 *
 *     const Parameter<std::uint16_t> gain(database, "/unit/gain", 1);
 *     amplify(gain.value());
 *
 * T says what is read: a std::string is a CHAR parameter's text, a std::vector<std::string> its
 * words, a std::vector of one of the six integer types all elements of a parameter of that type,
 * and such an integer alone the first element, whatever their number. Every read asks the database,
 * so an operator's write is seen by the next.
 *
 * Threads: any number may read through one object at the same time, as through the database itself.
 * Assigning to it or moving from it is for one thread, while no other uses it.
 *
 * Lifetime: the object keeps the database.
 *
 * Errors: std::bad_alloc and std::system_error, as the interface throws them.
 *
 * Memory: a read of a single integer allocates nothing once the thread has read one of its type;
 * each thread keeps a buffer for each integer type until it ends. Other reads allocate what the
 * interface's own read allocates, and the words a list of their own.
 */
template <typename T>
class Parameter
{
    static_assert(Detail::isValue<T>,
                  "Parameter<T>: T must be std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, "
                  "std::uint32_t, std::int32_t, std::string, or std::vector of one of these");

public:
    using RetCode = V1::DatabaseIf::RetCode;

    /**
     * Throws std::invalid_argument where `database` is null or `key` does not begin with "/". The
     * parameter itself need not exist.
     */
    Parameter(std::shared_ptr<const V1::DatabaseIf> database, std::string key, T fallback = T())
        : m_database(std::move(database)), m_key(std::move(key)), m_fallback(std::move(fallback))
    {
        if (m_database == nullptr)
            throw std::invalid_argument("the parameter \"" + m_key +
                                        "\" has no database: the pointer to it is null");
        if (m_key.empty())
            throw std::invalid_argument("a parameter needs a key: this one is empty");
        if (m_key.front() != '/')
            throw std::invalid_argument("the parameter's key \"" + m_key +
                                        "\" does not begin with \"/\"");
    }

    /**
     * The parameter's value now. The fallback where the parameter is absent or of another type, and
     * for a single integer also where it has no elements.
     */
    T value() const
    {
        T result{};
        if (readOver(result) != RetCode::OK)
            result = m_fallback;
        return result;
    }

    /**
     * Reads the value as the interface does: after anything but OK `value` is untouched, in a read
     * of words too. A parameter without elements is a TYPE_MISMATCH for a single integer.
     */
    RetCode read(T& value) const
    {
        if constexpr (std::is_same_v<T, std::vector<std::string>>) {
            T words; // the interface empties its output
            const RetCode code = readOver(words);
            if (code == RetCode::OK)
                value = std::move(words);
            return code;
        } else {
            return readOver(value);
        }
    }

    const std::string& key() const noexcept { return m_key; }
    const T& fallback() const noexcept { return m_fallback; }

private:
    RetCode readOver(T& value) const
    {
        if constexpr (Detail::isInteger<T>)
            return readFirst(value);
        else
            return m_database->get(m_key, value);
    }

    RetCode readFirst(T& value) const
    {
        // Taken, so that a database that itself reads a parameter finds it unused.
        std::vector<T> values;
        if (std::vector<T>* const buffer = Detail::ThreadBuffer<T>::get())
            values.swap(*buffer);
        RetCode code = m_database->get(m_key, values);
        if (code == RetCode::OK) {
            if (values.empty())
                code = RetCode::TYPE_MISMATCH;
            else
                value = values.front();
        }
        if (std::vector<T>* const buffer = Detail::ThreadBuffer<T>::get())
            buffer->swap(values);
        return code;
    }

    std::shared_ptr<const V1::DatabaseIf> m_database;
    std::string m_key;
    T m_fallback;
};

} // namespace Varnix::Kit

#endif
