#include "inspection/permission.h"

#include <gmock/gmock.h>

namespace Varnix::Test {

namespace {

using namespace Inspection;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr uid_t user = 1000;
constexpr uid_t other = 1001;
const std::string scopeFile = "/proc/sys/kernel/yama/ptrace_scope";

std::string hint(int scope, uid_t asking, std::optional<uid_t> owner)
{
    return permissionHint({.scope = scope, .user = asking, .owner = owner});
}

TEST(PermissionHint, OfScopeThreePermitsNobody)
{
    for (const uid_t asking : {uid_t{0}, user})
        EXPECT_EQ(hint(3, asking, user), "nobody may look here, as " + scopeFile + " is 3");
}

TEST(PermissionHint, OfAnotherScopeNamesRoot)
{
    for (const int scope : {1, 2})
        EXPECT_EQ(hint(scope, user, user),
                  "only root may look here, as " + scopeFile + " is " + std::to_string(scope));
}

TEST(PermissionHint, ForRootNamesTheCapability)
{
    for (const int scope : {0, 1, 2})
        for (const std::optional<uid_t> owner : {std::optional<uid_t>(0), {user}, {}})
            EXPECT_THAT(hint(scope, 0, owner),
                        AllOf(HasSubstr("CAP_SYS_PTRACE"), Not(HasSubstr("as root"))));
}

TEST(PermissionHint, ForTheOwnerDoesNotNameTheOwner)
{
    EXPECT_THAT(hint(0, user, user),
                AllOf(HasSubstr("only root may look"), Not(HasSubstr("own user"))));
}

TEST(PermissionHint, ForAnotherUserNamesTheOwnerAndRoot)
{
    EXPECT_EQ(hint(0, user, other), "look as the process's own user or as root");
    EXPECT_EQ(hint(0, user, std::nullopt), "look as the process's own user or as root");
}

} // namespace

} // namespace Varnix::Test
