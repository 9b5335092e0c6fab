#include "recording/program.h"

#include "recording/failure.h"

#include <string>

#include <gtest/gtest.h>

namespace Varnix::Recording {
namespace {

/** Why a program's output cannot be had. */
std::string reasonOf(const std::string& program)
{
    try {
        outputOf({program});
        return "none";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST(RecordingProgram, GivesAllOfItsOutput)
{
    EXPECT_EQ(outputOf({"echo", "a", "b"}), "a b\n");
}

TEST(RecordingProgram, ThatFailsOrIsNotThereIsAFailure)
{
    EXPECT_EQ(reasonOf("true"), "none");
    EXPECT_EQ(reasonOf("false"), "false failed with wait status 256");
    EXPECT_EQ(reasonOf("no-such-program"), "there is no no-such-program");
}

} // namespace
} // namespace Varnix::Recording
