#include "dbfile/types.h"
#include "schema/words.h"

#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>

namespace Varnix::Schema {
namespace {

using testing::HasSubstr;

std::string wordsOf(const auto& words)
{
    std::string text;
    for (const std::string_view word : words)
        text.append(" ").append(word);
    return text + '\n';
}

TEST(VimGrammar, HasTheWordsThatTheReadersHave)
{
    std::ifstream file(VARNIX_VIM_GRAMMAR);
    const std::string grammar{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::string_view> types;
    for (const DbFile::Type& type : DbFile::namedTypes)
        types.push_back(type.name);
    EXPECT_THAT(grammar, HasSubstr("syntax keyword varnixType" + wordsOf(types)));
    EXPECT_THAT(grammar, HasSubstr("syntax keyword varnixProperty" + wordsOf(propertyWords)));
}

} // namespace
} // namespace Varnix::Schema
