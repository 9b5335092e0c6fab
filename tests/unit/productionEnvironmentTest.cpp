#include "productionLoaderTest.h"
#include "tests/support/nodeDirectory.h"

#include <cstdlib>

namespace Varnix::Backend {
namespace {

using Test::firstVariable;
using Test::secondVariable;

auto noVariable()
{
    return loaderInfo("ABN: Did not find environmental variable ",
                      "ABN: Did not find environmental variable \"sys_uflash_prod_db_dev\", could "
                      "not read production DB");
}

class ProductionEnvironment : public ProductionLoader
{
protected:
    ProductionEnvironment()
    {
        ::unsetenv(firstVariable);
        ::unsetenv(secondVariable);
    }
    ~ProductionEnvironment() override
    {
        ::unsetenv(firstVariable);
        ::unsetenv(secondVariable);
    }

    std::string file(const std::string& name, const std::string& image)
    {
        writeFile(directory / name, image);
        return directory / name;
    }

    static void set(const char* variable, const std::string& value)
    {
        ::setenv(variable, value.c_str(), 1);
    }

    std::string good(const std::string& name, const std::string& key)
    {
        return file(name, DbBuilder().u8(key, {1}).image());
    }
};

TEST_F(ProductionEnvironment, WithoutVariablesIsReported)
{
    listen();
    EXPECT_FALSE(container.loadProductionDb());
    EXPECT_THAT(heard(), ElementsAre(noVariable()));
    EXPECT_TRUE(isEmpty());
}

TEST_F(ProductionEnvironment, PrefersTheFirstVariable)
{
    set(firstVariable, good("first", "/first"));
    set(secondVariable, good("second", "/second"));
    EXPECT_TRUE(container.loadProductionDb());
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/first")));
}

TEST_F(ProductionEnvironment, NeedsTheFirstVariableOnly)
{
    set(firstVariable, good("first", "/first"));
    listen();
    EXPECT_TRUE(container.loadProductionDb());
    EXPECT_THAT(heard(), ElementsAre(reading(directory / "first"), testing::_));
}

TEST_F(ProductionEnvironment, DoesNotLookAtTheSecondFileWhenTheFirstServes)
{
    set(firstVariable, good("first", "/first"));
    set(secondVariable, good("second", "/second"));
    listen();
    EXPECT_TRUE(container.loadProductionDb());
    EXPECT_THAT(heard(), ElementsAre(reading(directory / "first"), testing::_));
}

TEST_F(ProductionEnvironment, TakesTheSecondVariableWithoutTheFirst)
{
    set(secondVariable, good("second", "/second"));
    EXPECT_TRUE(container.loadProductionDb());
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/second")));
}

TEST_F(ProductionEnvironment, FallsBackToTheSecondVariableWhenTheFirstNamesACorruptFile)
{
    std::string image = goodFile.image();
    image.back() = static_cast<char>(image.back() ^ 1);
    const std::string first = file("first", image);
    const std::string second = good("second", "/second");
    set(firstVariable, first);
    set(secondVariable, second);
    listen();
    EXPECT_TRUE(container.loadProductionDb());
    EXPECT_THAT(heard(), ElementsAre(reading(first), sized(image.size()), corrupted(),
                                     reading(second), testing::_));
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/second")));
}

TEST_F(ProductionEnvironment, NamesTheSecondVariableWhenOnlyTheFirstIsSetAndFails)
{
    set(firstVariable, directory / "missing");
    listen();
    EXPECT_FALSE(container.loadProductionDb());
    EXPECT_THAT(heard(), ElementsAre(noVariable()));
}

TEST_F(ProductionEnvironment, FailsInSilenceWhenNeitherFileExists)
{
    set(firstVariable, directory / "missing");
    set(secondVariable, directory / "missing too");
    listen();
    EXPECT_FALSE(container.loadProductionDb());
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(ProductionEnvironment, MayBeSetToNothing)
{
    set(firstVariable, "");
    set(secondVariable, "");
    listen();
    EXPECT_FALSE(container.loadProductionDb());
    EXPECT_THAT(heard(), IsEmpty());
}

} // namespace
} // namespace Varnix::Backend
