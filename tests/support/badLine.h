#ifndef VARNIX_TESTS_BADLINE_H
#define VARNIX_TESTS_BADLINE_H

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace Varnix::Test {

/** A text that cannot be understood and what is said of it; a row of a table. */
struct BadLine
{
    const char* name;
    std::string text;
    std::string error;
};

inline void PrintTo(const BadLine& line, std::ostream* out)
{
    *out << line.text;
}

inline std::string nameOf(const testing::TestParamInfo<BadLine>& tested)
{
    return tested.param.name;
}

} // namespace Varnix::Test

#endif
