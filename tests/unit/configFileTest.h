#ifndef VARNIX_TESTS_UNIT_CONFIGFILETEST_H
#define VARNIX_TESTS_UNIT_CONFIGFILETEST_H

#include "dbUtils.h"
#include "tests/support/scriptedRead.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/traceSession.h"
#include "tests/support/traceSite.h"

#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Backend {

using DBUtils::ConfigError;
using DBUtils::DbConfiguration;
using Test::CallEffect;
using Test::reportedAt;
using Test::ScriptedRead;
using Test::TemporaryDirectory;
using Test::TraceRecord;
using Test::TraceSession;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

inline auto entry(const std::string& componentId, const std::string& revision,
                  const std::vector<std::string>& filePaths)
{
    return AllOf(Field("componentId", &DbConfiguration::componentId, componentId),
                 Field("revision", &DbConfiguration::revision, revision),
                 Field("filePaths", &DbConfiguration::filePaths, filePaths));
}

/** A configuration file, what is read from it, and what is reported. */
class ConfigFile : public testing::Test
{
protected:
    bool parse(const std::string& content)
    {
        std::ofstream(path) << content;
        return DBUtils::parseDbConfigFile(path, entries);
    }

    /** Writes a file with the given list of entries. */
    void writeList(const std::string& list) const
    {
        std::ofstream(path) << "varnix = { component_versions = " + list + "; };";
    }

    bool parseList(const std::string& list)
    {
        writeList(list);
        return DBUtils::parseDbConfigFile(path, entries);
    }

    /** Parses the file while its reads go like these, all of which it must ask for. */
    bool parseDuring(std::initializer_list<CallEffect> reads)
    {
        const ScriptedRead script(reads);
        const bool parsed = DBUtils::parseDbConfigFile(path, entries);
        EXPECT_EQ(script.left(), 0U);
        return parsed;
    }

    /** Parses a list that must be refused with this message, once. */
    void refuseList(const std::string& list, const std::string& message)
    {
        TraceSession::ofThisProcess().take();
        EXPECT_FALSE(parseList(list));
        EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(error(message)));
    }

    /** The message about an element, which ends as all of them do. */
    std::string about(const std::string& element) const
    {
        return element + " in varnix.component_versions list in configuration file: " + path;
    }

    static testing::Matcher<const TraceRecord&> error(const std::string& message)
    {
        return reportedAt("ERROR", "dbUtils.cpp", "describe(*error, configFile)", message);
    }

    testing::Matcher<const TraceRecord&> unreadable() const
    {
        return error("Error when attempting to read file: " + path +
                     " Error on line 0: file I/O error");
    }

    TemporaryDirectory directory;
    std::string path = directory / "node.cfg";
    std::vector<DbConfiguration> entries;
};

inline const std::string good =
    R"({ component_id = "a"; revision = "R1"; file_paths = [ "/f" ]; })";

} // namespace Varnix::Backend

#endif
