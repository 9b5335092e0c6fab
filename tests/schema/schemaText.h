#ifndef VARNIX_TESTS_SCHEMATEXT_H
#define VARNIX_TESTS_SCHEMATEXT_H

#include "schema/parser.h"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Test {

inline std::vector<std::string> schemaErrors(std::string_view text)
{
    Schema::Parser parser;
    parser.parse("s", text);
    std::vector<std::string> errors;
    for (const DbFile::SourceFinding& error : parser.errors())
        errors.push_back(describe(error));
    return errors;
}

/** The schema of a text without errors, and of a second one that adds to it. */
inline Schema::Schema schemaOf(std::string_view text, std::string_view second = "")
{
    Schema::Parser parser;
    parser.parse("s", text);
    parser.parse("t", second);
    EXPECT_TRUE(parser.errors().empty()) << text << second;
    return parser.schema();
}

} // namespace Varnix::Test

#endif
