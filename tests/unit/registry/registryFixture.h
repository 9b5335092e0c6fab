#ifndef VARNIX_TESTS_REGISTRYFIXTURE_H
#define VARNIX_TESTS_REGISTRYFIXTURE_H

#include "dbRegistryImpl.h"
#include "fakeItc.h"
#include "tests/support/nodeDirectory.h"
#include "tests/support/traceSession.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Varnix::Test {

/** A record as the tests of the registry compare it: "ERROR dbRegistryImpl.cpp: the message". */
std::string brief(const TraceRecord& record);

/** A node's files and the registry of this process over a mailbox library that the test plays. */
class RegistryFixture : public testing::Test
{
protected:
    using Store = std::shared_ptr<Backend::DatabaseImpl>;
    using Records = std::vector<std::string>;

    RegistryFixture();
    ~RegistryFixture() override;

    /** The registry of now; a production database must have been written before. */
    static Backend::DbRegistryImpl& registry() { return *Backend::DbRegistryImpl::getInstance(); }

    /** Writes a production database with this "/componentConfigId". */
    void identities(const std::string& words) const;

    /** Registers a store that holds what `builder` says. */
    Store component(const DbBuilder& builder);

    static void writeNumbers(const std::string& key, const std::vector<std::string>& values,
                             int index)
    {
        registry().updateDbs(key, values, index);
    }

    /** What was traced since the last call. */
    static Records traced();

    /** The elements of an integer parameter; empty when it cannot be read. */
    template <typename T>
    static std::vector<T> elements(const Backend::DatabaseImpl& store, const std::string& key)
    {
        std::vector<T> values;
        store.get(key, values);
        return values;
    }
    static std::string text(const Backend::DatabaseImpl& store, const std::string& key);

    NodeDirectory m_node;
    FakeItc& m_itc = FakeItc::instance();

private:
    int m_components = 0;
};

} // namespace Varnix::Test

#endif
