#include "connections.h"

#include <algorithm>
#include <iterator>

namespace Dbcsi {

std::uint32_t Connections::open(std::uint32_t mailbox, const ProcessInfo& process)
{
    std::erase_if(m_connections, [mailbox](const Connection& connection) {
        return connection.mailbox == mailbox;
    });
    const std::uint32_t reference = m_nextReference++;
    m_connections.push_back({.mailbox = mailbox, .reference = reference, .process = process});
    return reference;
}

Connection* Connections::subscribe(std::uint32_t mailbox, std::uint32_t reference)
{
    const auto found =
        std::find_if(m_connections.begin(), m_connections.end(), [=](const Connection& connection) {
            return connection.mailbox == mailbox && connection.reference == reference;
        });
    if (found == m_connections.end())
        return nullptr;
    if (!found->subscribed) {
        found->subscribed = true;
        found->writes = 0;
        found->since = std::chrono::system_clock::now();
    } else if (found->unanswered > 0) {
        --found->unanswered;
    }
    return &*found;
}

void Connections::unsubscribe(Connection& connection)
{
    connection.subscribed = false;
    connection.unanswered = 0;
    connection.level = false;
}

void Connections::close(std::uint32_t reference)
{
    std::erase_if(m_connections, [reference](const Connection& connection) {
        return connection.reference == reference;
    });
}

std::vector<Connection> Connections::subscribers() const
{
    std::vector<Connection> result;
    std::copy_if(m_connections.begin(), m_connections.end(), std::back_inserter(result),
                 [](const Connection& connection) { return connection.subscribed; });
    return result;
}

std::size_t Connections::subscriberCount() const
{
    return static_cast<std::size_t>(
        std::count_if(m_connections.begin(), m_connections.end(),
                      [](const Connection& connection) { return connection.subscribed; }));
}

std::size_t Connections::unansweredCount() const
{
    return static_cast<std::size_t>(
        std::count_if(m_connections.begin(), m_connections.end(),
                      [](const Connection& connection) { return connection.unanswered > 0; }));
}

} // namespace Dbcsi
