#include "registryFixture.h"

namespace Varnix::Test {

using Backend::DbRegistryImpl;

std::string brief(const TraceRecord& record)
{
    return record.event + ' ' + record.file + ": " + record.msg;
}

RegistryFixture::RegistryFixture()
{
    TraceSession::ofThisProcess().take();
    m_itc.reset();
    NodeDirectory::noProduction();
}

RegistryFixture::~RegistryFixture()
{
    DbRegistryImpl::freeInstance();
    m_itc.reset();
}

void RegistryFixture::identities(const std::string& words) const
{
    m_node.production(DbBuilder().text("/componentConfigId", words));
}

RegistryFixture::Store RegistryFixture::component(const DbBuilder& builder)
{
    const std::string name = "component" + std::to_string(++m_components);
    const std::string file = m_node.database(name + ".db", builder);
    return registry().initDb(m_node.configuration(name + ".cfg", {{"*", "*", {file}}}));
}

RegistryFixture::Records RegistryFixture::traced()
{
    Records records;
    for (const TraceRecord& record : TraceSession::ofThisProcess().take())
        records.push_back(brief(record));
    return records;
}

std::string RegistryFixture::text(const Backend::DatabaseImpl& store, const std::string& key)
{
    std::string value;
    store.get(key, value);
    return value;
}

} // namespace Varnix::Test
