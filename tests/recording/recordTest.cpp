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

/** The line with a piece in place of another. */
std::string with(const std::string& piece, const std::string& other)
{
    std::string text = line;
    return text.replace(text.find(piece), piece.size(), other);
}

TEST(Record, OfALineOfAnotherFormIsRefused)
{
    for (const char* const field :
         {"line = 1.5", "line = 99999999999999999999", "line = \"x\"", "line = { a = 1 }",
          "line = ( \"A\" : container = 1 )", "line = [ [0] = 1.5 ]"})
        EXPECT_THROW(parseRecord(with("line = 145", field)), std::runtime_error) << field;
    EXPECT_THROW(parseRecord(with("(6)", "(-)")), std::runtime_error);
    EXPECT_THROW(parseRecord(with(":INFO", "")), std::runtime_error);
    EXPECT_THROW(parseRecord("another line"), std::runtime_error);
}

} // namespace
} // namespace Varnix::Recording
