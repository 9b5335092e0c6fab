#include "configText.h"

#include "tests/selection/randomNode.h"
#include "tests/support/endChild.h"
#include "tests/support/temporaryDirectory.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libconfig.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

using Backend::DBUtils::ConfigText;
using namespace std::string_literals;

constexpr int cases = 500;

/** A piece of a configuration; a whole setting more often than what breaks one. */
std::string randomPiece(Random& random)
{
    static const std::array common{"a = 1;\n"s,
                                   "b = \"x\";\n"s,
                                   "c = ( 1, \"y\" );\n"s,
                                   "\n"s,
                                   "g = { d = 2; }\n"s,
                                   "@include \"one\"\n"s,
                                   "  @include\t\"two\""s,
                                   "# c\n"s,
                                   "// @include\n"s,
                                   "/* @include \"one\" */"s,
                                   "\n@include \"one\" e = 5;\n"s,
                                   "f = \"@ \\x41 \\\" \\q \\\\\";\n"s,
                                   "k = \"\\xaF\\X0g\\xG1\\x`2\\x/3\\x:4\\x8@\";\n"s,
                                   "h = \"\n@include \\\"one\\\"\n\";\n"s,
                                   "n = \"a\0@b\\@c\";\n"s};
    static const std::array rare{"@"s,
                                 "@include \"none\"\n"s,
                                 "@include \""s,
                                 "\""s,
                                 "\\"s,
                                 "/*"s,
                                 "*/"s,
                                 "#"s,
                                 "//"s,
                                 "\0"s,
                                 "{"s,
                                 ")"s,
                                 "x"s,
                                 "@include \"o\\ne\"\n"s,
                                 "@include \"\\\\\"\n"s,
                                 "@include"s,
                                 "one\""s,
                                 "\\x4"s,
                                 "="s,
                                 "@include \"two\0z\"\n"s,
                                 "@include \"o\\\"ne\"\n"s,
                                 "@include \"\\"s,
                                 "i = \"\\x4"s,
                                 "i = \"\\"s,
                                 "\r"s};
    return random() % 8 != 0 ? common[random() % common.size()] : rare[random() % rare.size()];
}

std::string randomContent(Random& random)
{
    std::string content;
    for (unsigned i = random() % 8; i > 0; --i)
        content += randomPiece(random);
    return content;
}

/** What libconfig makes of a configuration: its settings, or the error and its line. */
std::string outcomeOf(config_t& config, bool isRead)
{
    if (!isRead)
        return std::to_string(config_error_line(&config)) + ": " + config_error_text(&config);
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = ::open_memstream(&text, &size);
    config_write(&config, stream);
    std::fclose(stream);
    std::string settings(text, size);
    std::free(text);
    return settings;
}

/** What libconfig makes of the file, in a process of its own: reading it may end the process. */
std::string expected(const std::string& path)
{
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(10);
        const int ignored = ::open("/dev/null", O_WRONLY);
        ::dup2(ignored, STDOUT_FILENO); // the scanner prints what it has no rule for
        config_t config;
        config_init(&config);
        const std::string outcome =
            outcomeOf(config, config_read_file(&config, path.c_str()) == CONFIG_TRUE);
        const bool isWritten = ::write(ends[1], outcome.data(), outcome.size()) >= 0;
        endChild(isWritten ? 0 : 1);
    }
    ::close(ends[1]);
    std::string outcome;
    std::array<char, 4096> buffer{};
    for (ssize_t got = 0; (got = ::read(ends[0], buffer.data(), buffer.size())) > 0;)
        outcome.append(buffer.data(), static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "libconfig did not survive it";
    return outcome;
}

/** The same through a text in which nothing is included any more. */
std::string actual(const std::string& path)
{
    const ConfigText text(path);
    EXPECT_EQ(text.text().find('@'), std::string::npos);
    std::string content = text.text();
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
        ::fmemopen(content.data(), content.size(), "r"), &std::fclose);
    config_t config;
    config_init(&config);
    const bool isRead = config_read(&config, stream.get()) == CONFIG_TRUE;
    std::string outcome = outcomeOf(config, isRead);
    if (text.failure() && (isRead || config_error_line(&config) >= text.failure()->textLine))
        outcome = std::to_string(text.failure()->place.line) + ": " + text.failure()->reason;
    else if (!isRead)
        outcome = std::to_string(text.placeOf(config_error_line(&config)).line) + ": " +
                  config_error_text(&config);
    config_destroy(&config);
    return outcome;
}

void write(const std::filesystem::path& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

std::string withoutLine(const std::string& outcome)
{
    return outcome.substr(std::min(outcome.find(": "), outcome.size()));
}

TEST(ConfigText, OfRandomFilesMeansWhatTheyMeanToLibconfig)
{
    const TemporaryDirectory directory;
    std::filesystem::current_path(directory.path());
    Random random(1);
    int including = 0;
    int otherLine = 0;
    for (int i = 0; i < cases; ++i) {
        const std::string top = randomContent(random) + "\n";
        const std::string one = randomContent(random);
        const std::string two = randomContent(random);
        write("top", top);
        write("one", one);
        write("two", two);
        const std::string outcome = expected("top");
        const std::string found = actual("top");
        ASSERT_EQ(withoutLine(found), withoutLine(outcome)) << "case " << i << "\n--- top\n"
                                                            << top << "--- one\n"
                                                            << one << "--- two\n"
                                                            << two;
        otherLine += found != outcome ? 1 : 0;
        including += ConfigText("top").text() != top ? 1 : 0;
    }
    EXPECT_GT(including, cases / 4) << "too few of the files include one";
    // A string that an included file leaves open goes on in the other file, on the same line.
    EXPECT_LT(otherLine, cases / 100);
}

TEST(ConfigText, OfADirectiveThatIsNoneMeansWhatItMeansToLibconfig)
{
    const TemporaryDirectory directory;
    std::filesystem::current_path(directory.path());
    write("one", "a = 1;\n");
    for (const std::string top :
         {"@include\"one\"\n", "@include", "@include  ", "@include one\n", "@include \"one",
          "@include \"one\\", "@include \"\\\"\"\n", "@includes \"one\"\n"}) {
        write("top", top);
        EXPECT_EQ(actual("top"), expected("top")) << top;
    }
}

} // namespace
} // namespace Varnix::Test
