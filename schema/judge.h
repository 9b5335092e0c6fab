#ifndef VARNIX_SCHEMA_JUDGE_H
#define VARNIX_SCHEMA_JUDGE_H

#include "dbfile/store.h"
#include "schema/checks.h"
#include "schema/schema.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace Varnix::Schema {

/** Something that a schema says against a parameter. */
struct Finding
{
    /** What of the parameter is meant. */
    enum class Subject
    {
        KEY,
        TYPE,
        LENGTH,
        ELEMENT,
    };

    Check check;
    Subject subject = Subject::KEY;
    /** With ELEMENT, which one, from 0. */
    std::size_t element = 0;
    /** With the schema's position in parentheses at its end. */
    std::string text;
};

/** Of one value, no more elements are named by one line of a schema; the rest is counted. */
inline constexpr std::size_t maxElementFindings = 20;

/** Whether a key that no line describes is a finding. */
enum class Coverage
{
    OPEN,
    CLOSED,
};

/** What the lines that match the key say against the value. */
std::vector<Finding> judge(const Schema& schema, const std::string& key, const DbFile::Value& value,
                           Coverage coverage = Coverage::OPEN);

/** What one line says against a value, whatever its key. */
std::vector<Finding> judge(const Line& line, const DbFile::Value& value);

/** The required lines that none of a whole component's keys matches. */
std::vector<Finding> judgeAbsent(const Schema& schema, const std::set<std::string>& keys);

} // namespace Varnix::Schema

#endif
