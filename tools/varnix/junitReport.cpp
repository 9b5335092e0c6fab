#include "junitReport.h"

#include "auditText.h"
#include "dbfile/fileIo.h"
#include "dbfile/shown.h"
#include "files.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/utsname.h>

namespace Varnix::Tool {

namespace {

[[noreturn]] void fail(const std::string& path)
{
    throw Failure(Status::UNREADABLE, "varnix: cannot write " + DbFile::shown(path) + ": " +
                                          std::system_category().message(errno));
}

std::string replaced(std::string text, std::string_view what, std::string_view with)
{
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
    return text;
}

/** Text on one line as it stands in XML; two characters that UTF-8 can say have no place there. */
std::string escaped(std::string_view text)
{
    std::string result = DbFile::isShowable(text) ? std::string(text) : DbFile::shown(text);
    for (const auto& [what, with] : {std::pair<const char*, const char*>{"&", "&amp;"},
                                     {"<", "&lt;"},
                                     {">", "&gt;"},
                                     {"\"", "&quot;"},
                                     {"\xEF\xBF\xBE", "?"},
                                     {"\xEF\xBF\xBF", "?"}})
        result = replaced(std::move(result), what, with);
    return result;
}

std::string seconds(std::chrono::steady_clock::duration time)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << std::chrono::duration<double>(time).count();
    return text.str();
}

std::string dateText(std::time_t date)
{
    std::tm parts{};
    std::array<char, 32> text{};
    ::gmtime_r(&date, &parts);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)};
}

std::string hostName()
{
    utsname host{};
    ::uname(&host);
    return host.nodename;
}

/** What fails a node's case. */
std::string linesOf(const NodeVerdict& verdict)
{
    std::string lines;
    for (const NodeFinding& finding : verdict.findings)
        if (finding.severity != Severity::NOTE)
            lines.append(escaped(describe(finding))).append("\n");
    for (const NodeDifference& difference : verdict.differences)
        lines.append(escaped(describe(difference))).append("\n");
    return lines;
}

/** "<KIND message= type=>text</KIND>"; the message is the text's first line. */
std::string outcome(const std::string& kind, const std::string& type, const std::string& lines)
{
    return "    <" + kind + " message=\"" + lines.substr(0, lines.find('\n')) + "\" type=\"" +
           type + "\">" + lines + "</" + kind + ">\n";
}

} // namespace

JunitReport::JunitReport(std::string path)
    : m_path(std::move(path)), m_cases(std::tmpfile(), &std::fclose)
{
    if (!m_cases)
        fail(m_path);
}

void JunitReport::add(const std::string& node, const NodeVerdict& verdict)
{
    std::string text =
        "  <testcase name=\"" + escaped(node) + "\" classname=\"varnix.audit\" time=\"0.000\"";
    const Status status = verdict.status();
    ++m_tests;
    if (!verdict.failures.empty()) {
        ++m_errors;
        std::string lines;
        for (const NodeFailure& failure : verdict.failures)
            lines.append(escaped(failure.text)).append("\n");
        text +=
            ">\n" + outcome("error", "not judged", lines + linesOf(verdict)) + "  </testcase>\n";
    } else if (status != Status::DONE) {
        ++m_failures;
        text += ">\n" + outcome("failure", "findings", linesOf(verdict)) + "  </testcase>\n";
    } else {
        text += "/>\n";
    }
    write(text);
}

void JunitReport::finish()
{
    write("  <system-out/>\n  <system-err/>\n</testsuite>\n");
    if (std::fseek(m_cases.get(), 0, SEEK_SET) != 0)
        fail(m_path);
    bool isHead = true;
    writeOutput(m_path, [&] { return std::exchange(isHead, false) ? head() : nextPiece(); });
}

std::string JunitReport::head() const
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<testsuite name=\"varnix audit\" timestamp=\"" +
           dateText(m_date) + "\" hostname=\"" + escaped(hostName()) + "\" tests=\"" +
           std::to_string(m_tests) + "\" failures=\"" + std::to_string(m_failures) +
           "\" errors=\"" + std::to_string(m_errors) + "\" time=\"" +
           seconds(std::chrono::steady_clock::now() - m_start) + "\">\n  <properties/>\n";
}

void JunitReport::write(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), m_cases.get()) != text.size())
        fail(m_path);
}

std::string JunitReport::nextPiece()
{
    std::string piece(65536, '\0');
    piece.resize(std::fread(piece.data(), 1, piece.size(), m_cases.get()));
    if (std::ferror(m_cases.get()) != 0)
        fail(m_path);
    return piece;
}

} // namespace Varnix::Tool
