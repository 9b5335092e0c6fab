#include "recording/record.h"

#include <chrono>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

namespace Varnix::Recording {
namespace {

const std::string line =
    "timestamp = 1795331917.020679211, loglevel = TRACE_INFO (6), name = "
    "com_quilmar_velsko_varnix:INFO, stream.packet.context = { cpu_id = 0 }, stream.event.context "
    "= { vpid = 18166, procname = \"a \\\"b\\\"\" }, event.fields = { file = \"x.cpp\", line = "
    "145, msg = \"vpid = 1\\n\" }";

TEST(Record, HasWhatTheLineSays)
{
    const Record record = parseRecord(line);
    EXPECT_EQ(record.time.time_since_epoch().count(), 1795331917020679211);
    EXPECT_EQ(record.vpid, 18166);
    EXPECT_EQ(record.command, "a \"b\"");
    EXPECT_EQ(record.event, "INFO");
    EXPECT_EQ(record.file, "x.cpp");
    EXPECT_EQ(record.line, 145U);
    EXPECT_EQ(record.msg, "vpid = 1\n");
}

TEST(Record, OfALineThatIsCutIsRefused)
{
    for (std::size_t size = 0; size < line.size(); ++size)
        EXPECT_THROW(parseRecord(line.substr(0, size)), std::runtime_error) << size;
}

} // namespace
} // namespace Varnix::Recording
