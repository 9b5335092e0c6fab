#include "dbfile/fileIo.h"
#include "schema/checks.h"
#include "schema/words.h"

#include <gmock/gmock.h>

namespace Varnix::Schema {
namespace {

TEST(SchemaPage, ExplainsEveryCheckAndEveryWord)
{
    const std::string page = DbFile::readWholeFile(SCHEMA_PAGE);
    for (const std::string_view check : checkNames)
        EXPECT_THAT(page, testing::HasSubstr("\n*" + std::string(check) + "*\n\t")) << check;
    for (const std::string_view word : propertyWords)
        EXPECT_THAT(page, testing::HasSubstr("\"" + std::string(word) + "\"")) << word;
}

} // namespace
} // namespace Varnix::Schema
