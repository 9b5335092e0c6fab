#ifndef VARNIX_TOOL_JUNITREPORT_H
#define VARNIX_TOOL_JUNITREPORT_H

#include "nodeAudit.h"

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

namespace Varnix::Tool {

/**
 * The verdicts as a JUnit report, a test case a node. The cases wait in a temporary file without a
 * name, as their numbers come before them.
 */
class JunitReport
{
public:
    /** Failure with UNREADABLE, as all members. */
    explicit JunitReport(std::string path);

    void add(const std::string& node, const NodeVerdict& verdict);

    /** Puts the report into its place. */
    void finish();

private:
    void write(const std::string& text);
    std::string head() const;
    std::string nextPiece();

    std::string m_path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_cases;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::time_t m_date = std::time(nullptr);
    std::size_t m_tests = 0;
    std::size_t m_failures = 0;
    std::size_t m_errors = 0;
};

} // namespace Varnix::Tool

#endif
