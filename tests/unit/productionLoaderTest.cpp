#include "productionLoaderTest.h"

#include "dbUtils.h"
#include "fileDescriptor.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/tracedProcess.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <future>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Backend {
namespace {

using Test::Allocation;
using Test::AllocationFailure;
using Test::startTraced;

TEST_F(ProductionLoader, LoadsAGoodFileAndSaysSo)
{
    write(goodFile);
    listen();
    const std::size_t descriptors = openDescriptors();
    EXPECT_TRUE(container.loadProductionDb(path));
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_THAT(heard(), ElementsAre(reading(path), sized(goodFile.image().size())));
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/a"), Field(&DbRecord::key, "/b")));
}

TEST_F(ProductionLoader, LeavesNoDescriptorToProgramsStartedMeanwhile)
{
    write(goodFile);
    const ScriptedRead script{};
    EXPECT_TRUE(container.loadProductionDb(path));
    EXPECT_FALSE(script.leaked());
}

TEST_F(ProductionLoader, IgnoresWhatFollowsTheChecksum)
{
    write(DbBuilder(goodFile).extra(std::string(1000, 'x')));
    EXPECT_TRUE(container.loadProductionDb(path));
}

TEST_F(ProductionLoader, RefusesAMissingFileInSilence)
{
    EXPECT_THAT(refusal(), IsEmpty());
}

TEST_F(ProductionLoader, RefusesFilesShorterThanAHeader)
{
    const std::string image = goodFile.image();
    for (std::size_t size = 0; size < 10; ++size) {
        write(image.substr(0, size));
        EXPECT_THAT(refusal(), ElementsAre(headerWrong(path))) << size;
    }
}

TEST_F(ProductionLoader, RefusesAHeaderThatCannotBeReadWhole)
{
    write(goodFile);
    for (const CallEffect outcome :
         {CallEffect::failing(EIO), CallEffect::atMost(9), CallEffect::nothing()})
        EXPECT_THAT(refusal({outcome}), ElementsAre(headerWrong(path)));
}

TEST_F(ProductionLoader, RefusesADirectory)
{
    std::filesystem::create_directory(path);
    EXPECT_THAT(refusal(), ElementsAre(headerWrong(path)));
}

TEST_F(ProductionLoader, RefusesWrongMagicAndFormat)
{
    const std::string image = goodFile.image();
    for (const auto& [offset, value] : {std::pair{0, 'h'}, {0, '\0'}, {1, '\3'}, {1, '\5'}}) {
        std::string wrong = image;
        wrong[static_cast<std::size_t>(offset)] = value;
        repairChecksum(wrong);
        write(wrong);
        EXPECT_THAT(refusal(), ElementsAre(headerWrong(path))) << offset << value;
    }
}

TEST_F(ProductionLoader, RefusesAWrongChecksum)
{
    std::string image = goodFile.image();
    image.back() = static_cast<char>(image.back() ^ 1);
    write(image);
    EXPECT_THAT(refusal(), ElementsAre(reading(path), sized(fileSize()), corrupted()));
}

TEST_F(ProductionLoader, ReportsAnImageThatFindsNoMemory)
{
    write(goodFile);
    TraceSession::ofThisProcess().take();
    {
        const AllocationFailure failure(Allocation::NON_THROWING);
        EXPECT_FALSE(container.loadProductionDb(path));
    }
    EXPECT_THAT(heard(), ElementsAre(reading(path), sized(fileSize()),
                                     loaderError("Couldn't allocate buffer memory to load DB",
                                                 "Couldn't allocate buffer memory to load DB")));
    EXPECT_TRUE(isEmpty());
    EXPECT_TRUE(container.loadProductionDb(path));
}

TEST_F(ProductionLoader, CountsASizeBeyond32Bits)
{
    write(claiming(0xFFFFFFFF, goodFile.image()));
    TraceSession::ofThisProcess().take();
    const AllocationFailure failure(Allocation::NON_THROWING);
    EXPECT_FALSE(container.loadProductionDb(path));
    EXPECT_THAT(heard(), ElementsAre(reading(path), sized(4294967309), testing::_));
}

TEST_F(ProductionLoader, ReportsAReadThatFailsByItsResult)
{
    write(goodFile);
    for (const int error : {EIO, EINTR, ENXIO}) {
        EXPECT_THAT(
            refusal({CallEffect::ordinary(), CallEffect::atMost(4), CallEffect::failing(error)}),
            ElementsAre(reading(path), sized(fileSize()),
                        loaderInfo("ABN: Data Base read failed with error code ",
                                   "ABN: Data Base read failed with error code -1")));
    }
}

TEST_F(ProductionLoader, GoesOnAfterShortAndEmptyReads)
{
    write(goodFile);
    const ScriptedRead script{CallEffect::ordinary(), CallEffect::atMost(1), CallEffect::nothing(),
                              CallEffect::nothing(),  CallEffect::atMost(7), CallEffect::nothing()};
    EXPECT_TRUE(container.loadProductionDb(path));
    EXPECT_EQ(script.left(), 0U);
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/a"), Field(&DbRecord::key, "/b")));
}

TEST_F(ProductionLoader, NeverAsksForMoreThanItsSizeStillLacks)
{
    const std::size_t size = goodFile.image().size();
    write(goodFile.image() + "what follows");
    const ScriptedRead script{CallEffect::ordinary(), CallEffect::atMost(1), CallEffect::atMost(7)};
    EXPECT_TRUE(container.loadProductionDb(path));
    EXPECT_THAT(script.asked(), ElementsAre(10, size, size - 1, size - 8));
}

TEST_F(ProductionLoader, ReadsThroughDescriptorZeroAndClosesItToo)
{
    write(goodFile);
    const FileDescriptor input(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    ::close(STDIN_FILENO);
    EXPECT_TRUE(container.loadProductionDb(path));
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    if (input.isOpen())
        ::dup2(input.get(), STDIN_FILENO);
}

TEST_F(ProductionLoader, LoadsTheWholeImageThatAPipeDeliversAfterAHeader)
{
    const std::string image = goodFile.image();
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    listen();
    auto loaded = std::async(std::launch::async, [&] { return container.loadProductionDb(path); });
    std::ofstream(path, std::ios::binary) << image.substr(0, 10) << image;
    EXPECT_TRUE(loaded.get());
    EXPECT_THAT(heard(), ElementsAre(reading(path), sized(image.size())));
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/a"), Field(&DbRecord::key, "/b")));
}

TEST_F(ProductionLoader, WaitsForWhatAShortFileStillLacks)
{
    const std::string image = goodFile.image();
    write(image.substr(0, 12));
    auto loaded = std::async(std::launch::async, [&] { return container.loadProductionDb(path); });
    EXPECT_TRUE(waitUntil([&] { return hasReadUpTo(12, "self"); }));
    EXPECT_EQ(loaded.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);

    std::ofstream(path, std::ios::binary | std::ios::app) << image.substr(12);
    EXPECT_TRUE(loaded.get());
    EXPECT_FALSE(isEmpty());
}

TEST_F(ProductionLoader, KeepsAskingForEveryMissingByte)
{
    const std::string image = goodFile.image();
    for (const std::size_t size : {std::size_t{10}, image.size() - 1}) {
        write(image.substr(0, size));
        TraceSession session;
        const pid_t loader = startTraced(session, {TRACING_PROGRAM, "load", path});
        EXPECT_TRUE(waitUntil([&] { return hasReadUpTo(size, std::to_string(loader)); }));
        const auto ended = [&] { return ::waitpid(loader, nullptr, WNOHANG) != 0; };
        EXPECT_FALSE(waitUntil(ended, std::chrono::milliseconds(300))) << size;
        ::kill(loader, SIGKILL);
        ::waitpid(loader, nullptr, 0);
        EXPECT_THAT(session.take(),
                    ElementsAre(testing::_, testing::_, reading(path), sized(image.size())));
    }
}

TEST_F(ProductionLoader, GivesTheBodyToItsCallerWithTheLengthInHostOrder)
{
    const std::string image = goodFile.image();
    write(image);
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    DB_HeaderS header{};
    ASSERT_EQ(::read(file.get(), &header, sizeof header), ssize_t{sizeof header});
    const std::unique_ptr<unsigned char[]> body(
        container.loadProductionDbBody(file.get(), &header));
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(header.length, image.size() - DBUtils::trailerSize);
    EXPECT_EQ(std::string(body.get(), body.get() + image.size()), image);
    EXPECT_TRUE(isEmpty());
}

} // namespace
} // namespace Varnix::Backend
