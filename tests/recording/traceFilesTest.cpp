#include "recording/traceFiles.h"

#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>

namespace Varnix::Test {
namespace {

using Recording::Record;
using Recording::TraceFiles;
using testing::ElementsAre;
using testing::Field;

std::string lineWith(const std::string& fields)
{
    return "timestamp = 1795331917.020679211, loglevel = TRACE_INFO (6), name = "
           "com_quilmar_velsko_varnix:INFO, stream.packet.context = { cpu_id = 0 }, "
           "stream.event.context = { vpid = 18166, procname = \"a\" }, event.fields = { " +
           fields + " }\n";
}

/** Files that a reader put before the real one prints as the test wants it. */
class RecordingFiles : public testing::Test
{
protected:
    RecordingFiles()
    {
        writeFile(m_directory / "metadata", "");
        writeFile(m_directory / "babeltrace2",
                  "#!/bin/sh\ncat '" + (m_directory / "printed").string() + "'\n");
        std::filesystem::permissions(m_directory / "babeltrace2",
                                     std::filesystem::perms::owner_all);
        const std::string path = m_directory.path().string() + ':' + std::getenv("PATH");
        ::setenv("PATH", path.c_str(), 1);
    }

    void print(const std::string& lines) const { writeFile(m_directory / "printed", lines); }

    const TemporaryDirectory m_directory;
};

TEST_F(RecordingFiles, LeaveOutARecordOfAnotherForm)
{
    const std::string known = lineWith("file = \"a.cpp\", line = 1, msg = \"first\"");
    const std::string foreign = lineWith("file = \"a.cpp\", line = 1.5, msg = \"second\"");
    const std::string later = lineWith("file = \"a.cpp\", line = 2, msg = \"third\"");
    TraceFiles files(m_directory.path());
    print(known + foreign);
    EXPECT_THAT(files.take(), ElementsAre(Field(&Record::msg, "first")));
    EXPECT_EQ(files.leftOut(), 1U);
    print(known + foreign + later);
    EXPECT_THAT(files.take(), ElementsAre(Field(&Record::msg, "third")));
    EXPECT_EQ(files.leftOut(), 1U) << "it is counted once";
    files.begin(m_directory.path());
    EXPECT_EQ(files.take().size(), 2U);
    EXPECT_EQ(files.leftOut(), 2U) << "of all files";
}

} // namespace
} // namespace Varnix::Test
