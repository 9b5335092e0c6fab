#ifndef VARNIX_KIT_DETAIL_ENVIRONMENT_H
#define VARNIX_KIT_DETAIL_ENVIRONMENT_H

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace Varnix::Kit::Detail {

/** Gives an environment variable a value, or none, and its earlier state back at the end. */
class EnvironmentVariable
{
public:
    EnvironmentVariable(std::string name, const std::optional<std::string>& value)
        : m_name(std::move(name))
    {
        if (const char* const before = std::getenv(m_name.c_str()))
            m_before = before;
        set(value);
    }
    ~EnvironmentVariable() { set(m_before); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void set(const std::optional<std::string>& value) const noexcept
    {
        if (value)
            ::setenv(m_name.c_str(), value->c_str(), 1);
        else
            ::unsetenv(m_name.c_str());
    }

    std::string m_name;
    std::optional<std::string> m_before;
};

} // namespace Varnix::Kit::Detail

#endif
