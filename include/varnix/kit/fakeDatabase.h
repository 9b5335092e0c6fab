#ifndef VARNIX_KIT_FAKEDATABASE_H
#define VARNIX_KIT_FAKEDATABASE_H

#include <cstdint>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <varnix/databaseIf.h>

namespace Varnix::Kit {

/**
 * A database in memory, for unit tests. It gives the results that a handle gives on a database file
 * with the same parameters:
 *
 *     auto database = std::make_shared<FakeDatabase>();
 *     database->set("/unit/gain", std::vector<std::uint16_t>{17, 31}).set("/unit/label", "one");
 *     Amplifier amplifier(database);
 *
 * set() is what a record of a database file does. Two of its rules may surprise. An empty value of
 * a new key makes a parameter that every read finds a TYPE_MISMATCH. An empty value of a key that
 * has a value takes away the elements and keeps the type, whatever the type of the empty one.
 *
 * Threads: any number may read, set and remove at the same time; a read gives a value as it was
 * before or after a set, never a mixture.
 */
class FakeDatabase : public V1::DatabaseIf
{
public:
    /**
     * Gives the parameter a type and a value, whatever it had before. Returns the database. Throws
     * std::invalid_argument where `key` does not begin with "/".
     * @{
     */
    FakeDatabase& set(const std::string& key, const std::vector<std::uint32_t>& values)
    {
        return put(key, values);
    }
    FakeDatabase& set(const std::string& key, const std::vector<std::uint16_t>& values)
    {
        return put(key, values);
    }
    FakeDatabase& set(const std::string& key, const std::vector<std::uint8_t>& values)
    {
        return put(key, values);
    }
    FakeDatabase& set(const std::string& key, const std::vector<std::int32_t>& values)
    {
        return put(key, values);
    }
    FakeDatabase& set(const std::string& key, const std::vector<std::int16_t>& values)
    {
        return put(key, values);
    }
    FakeDatabase& set(const std::string& key, const std::vector<std::int8_t>& values)
    {
        return put(key, values);
    }
    FakeDatabase& set(const std::string& key, const std::string& text) { return put(key, text); }
    /** @} */

    /** Takes the parameter away; does nothing where there is none. */
    void remove(const std::string& key)
    {
        const std::lock_guard<std::shared_mutex> lock(m_mutex);
        m_values.erase(key);
    }

    RetCode get(const std::string& key, std::vector<std::uint32_t>& values) const override
    {
        return read(key, values);
    }
    RetCode get(const std::string& key, std::vector<std::uint16_t>& values) const override
    {
        return read(key, values);
    }
    RetCode get(const std::string& key, std::vector<std::uint8_t>& values) const override
    {
        return read(key, values);
    }
    RetCode get(const std::string& key, std::vector<std::int32_t>& values) const override
    {
        return read(key, values);
    }
    RetCode get(const std::string& key, std::vector<std::int16_t>& values) const override
    {
        return read(key, values);
    }
    RetCode get(const std::string& key, std::vector<std::int8_t>& values) const override
    {
        return read(key, values);
    }
    RetCode get(const std::string& key, std::vector<std::string>& words) const override
    {
        words.clear();
        std::string text;
        const RetCode code = read(key, text);
        for (std::size_t end = 0; code == RetCode::OK;) {
            const std::size_t begin = text.find_first_not_of(' ', end);
            if (begin == std::string::npos)
                break;
            end = text.find(' ', begin);
            words.push_back(text.substr(begin, end - begin));
        }
        return code;
    }
    RetCode get(const std::string& key, std::string& text) const override
    {
        return read(key, text);
    }

private:
    /** The first is a key whose type nobody knows. */
    using Value =
        std::variant<std::monostate, std::vector<std::uint32_t>, std::vector<std::uint16_t>,
                     std::vector<std::uint8_t>, std::vector<std::int32_t>,
                     std::vector<std::int16_t>, std::vector<std::int8_t>, std::string>;

    template <typename T>
    FakeDatabase& put(const std::string& key, const T& value)
    {
        if (key.empty() || key.front() != '/')
            throw std::invalid_argument("the parameter's key \"" + key +
                                        "\" does not begin with \"/\"");
        Value copy(value);
        const std::lock_guard<std::shared_mutex> lock(m_mutex);
        if (Value& stored = m_values[key]; !value.empty())
            stored = std::move(copy);
        else
            std::visit([](auto& elements) { clear(elements); }, stored);
        return *this;
    }

    static void clear(std::monostate& /*nothing*/) noexcept {}
    template <typename T>
    static void clear(T& elements) noexcept
    {
        elements.clear();
    }

    template <typename T>
    RetCode read(const std::string& key, T& output) const
    {
        const std::shared_lock<std::shared_mutex> lock(m_mutex);
        const auto found = m_values.find(key);
        if (found == m_values.end())
            return RetCode::KEY_NOT_FOUND;
        const T* const value = std::get_if<T>(&found->second);
        if (value == nullptr)
            return RetCode::TYPE_MISMATCH;
        output = *value;
        return RetCode::OK;
    }

    mutable std::shared_mutex m_mutex;
    std::map<std::string, Value> m_values; ///< guarded by m_mutex
};

} // namespace Varnix::Kit

#endif
