#include "tests/support/traceSite.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace Varnix::Test {

namespace {

std::string sourceText(const std::string& file)
{
    std::ifstream stream(VARNIX_SOURCE_DIRECTORY "/" + file);
    if (!stream)
        throw std::runtime_error("cannot open source " + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

unsigned int lineOf(const std::string& text, std::size_t offset)
{
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(offset);
    return static_cast<unsigned int>(std::count(text.begin(), end, '\n')) + 1;
}

/** Where the last trace call of `text` begins. */
std::size_t lastTraceCall(const std::string& text)
{
    std::size_t last = std::string::npos;
    for (const char* const call : {"Trace::error(", "Trace::info(", "Trace::trace1("}) {
        const std::size_t found = text.rfind(call);
        if (found != std::string::npos && (last == std::string::npos || found > last))
            last = found;
    }
    return last;
}

} // namespace

SiteLines findTraceSite(const std::string& file, const std::string& words, int nth)
{
    const std::string text = sourceText(file);
    std::size_t found = text.find(words);
    if (nth == 0 && found != std::string::npos && text.find(words, found + 1) != std::string::npos)
        throw std::runtime_error("more than one \"" + words + "\" in " + file);
    for (int i = 1; i < nth && found != std::string::npos; ++i)
        found = text.find(words, found + 1);
    if (found == std::string::npos)
        throw std::runtime_error("no \"" + words + "\" in " + file);
    const std::size_t begin = lastTraceCall(text.substr(0, found));
    const std::size_t end = text.find("});", begin);
    if (begin == std::string::npos || end == std::string::npos || end < found)
        throw std::runtime_error("\"" + words + "\" is in no trace call of " + file);
    return {lineOf(text, begin), lineOf(text, end)};
}

testing::Matcher<const TraceRecord&> reportedAt(const std::string& event, const std::string& file,
                                                const std::string& words,
                                                const std::string& message, int nth)
{
    const SiteLines lines = findTraceSite(file, words, nth);
    return testing::AllOf(
        testing::Field("event", &TraceRecord::event, event),
        testing::Field("file", &TraceRecord::file, file),
        testing::Field("line", &TraceRecord::line,
                       testing::AllOf(testing::Ge(lines.first), testing::Le(lines.last))),
        testing::Field("msg", &TraceRecord::msg, message));
}

} // namespace Varnix::Test
