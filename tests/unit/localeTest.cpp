#include "dbUtils.h"
#include "loaderTest.h"

#include <fstream>
#include <locale>

namespace Varnix::Backend {
namespace {

/** Writes 1234567 as "1.234.567". */
class Grouping : public std::numpunct<char>
{
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

/** Every stream made while it lives groups digits unless its owner sees to it. */
class GroupingLocale
{
public:
    GroupingLocale() : m_before(std::locale::global({std::locale(), new Grouping})) {}
    ~GroupingLocale() { std::locale::global(m_before); }
    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
    std::locale m_before;
};

class Locale : public LoaderTest
{
protected:
    static auto saying(const std::string& message)
    {
        return Field("msg", &TraceRecord::msg, message);
    }

    GroupingLocale locale;
};

TEST_F(Locale, OfThisTestGroupsDigits)
{
    std::ostringstream stream;
    stream << 1234567;
    EXPECT_EQ(stream.str(), "1.234.567");
}

TEST_F(Locale, DoesNotShowInMessagesOfTheStore)
{
    populate(DbBuilder().u8("/u8", Values(1200, 0)));
    listen();
    store.updateDb("/u8", Values(1201, 0), 0);
    store.updateDb("/u8", Values{-1234567}, 0);
    EXPECT_THAT(heard(),
                ElementsAre(saying("Can not update a key with 1200 values, with  1201 values"),
                            saying("Can not store the value -1234567 in a key with datatype: U8")));
}

TEST_F(Locale, DoesNotShowInMessagesOfTheLoader)
{
    // header, the record's 6 bytes, key and data, what follows them
    write(DbBuilder().text("/text", std::string(5000, 'x')));
    static_assert(10 + 6 + 5 + 5000 + 14 == 5035);
    listen();
    EXPECT_TRUE(container.loadProductionDb(path));
    EXPECT_THAT(heard(), ElementsAre(testing::_, saying("Size of Db: 5035")));
}

TEST_F(Locale, DoesNotShowInMessagesAboutConfigurationFiles)
{
    std::string list;
    for (int i = 0; i < 1234; ++i)
        list += R"({component_id="a"; revision="b"; file_paths=[];},)";
    std::ofstream(path) << "varnix = { component_versions = (" + list + "{}); };";
    listen();
    std::vector<DBUtils::DbConfiguration> entries;
    EXPECT_FALSE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_THAT(heard(),
                ElementsAre(saying("Failed to get non-null component_id for element number 1234 in "
                                   "varnix.component_versions list in configuration file: " +
                                   path)));
}

} // namespace
} // namespace Varnix::Backend
