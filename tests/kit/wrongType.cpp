// Compiled for a TYPE, which a parameter cannot have: the compiler has to say so.
#include <varnix/kit/parameter.h>

Varnix::Kit::Parameter<TYPE> make(const std::shared_ptr<const Varnix::V1::DatabaseIf>& database);

Varnix::Kit::Parameter<TYPE> make(const std::shared_ptr<const Varnix::V1::DatabaseIf>& database)
{
    return {database, "/key"};
}
