#include <varnix/version.h>

namespace Varnix::V1 {

const char* version() noexcept
{
    return VARNIX_VERSION;
}

} // namespace Varnix::V1
