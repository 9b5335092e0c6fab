#include "tests/tools/toolTest.h"

namespace Varnix::Test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/**
 * The command reads for a client through the library; it must not be a second one beside it. It
 * controls recordings (liblttng-ctl) and traces nothing itself (liblttng-ust).
 */
class Linkage : public ToolTest
{
};

TEST_F(Linkage, CommandNeedsTheLibraryAndNoTracingOfItsOwn)
{
    const ProcessResult result = run({"readelf", "-d", VARNIX_TOOL});
    ASSERT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(HasSubstr("[libvarnix.so.0]"), Not(HasSubstr("lttng-ust"))));
}

TEST_F(Linkage, CommandHoldsNoRegistryAndNoTraceProvider)
{
    const ProcessResult result = run({"nm", "-C", VARNIX_TOOL});
    ASSERT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("Varnix::Backend::Selection::selectFiles"),
                      Not(HasSubstr("DbRegistryImpl")), Not(HasSubstr("DatabaseImpl")),
                      Not(HasSubstr("com_quilmar_velsko_varnix")), Not(HasSubstr("lttng_ust"))));
}

} // namespace
} // namespace Varnix::Test
