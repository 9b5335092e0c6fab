#include "typeOfData.h"

namespace Varnix::Backend {

std::ostream& operator<<(std::ostream& stream, TypeOfData_t value)
{
    static const std::map<TypeOfData_t, const char*> baseNums = [] {
        std::map<TypeOfData_t, const char*> names;
        for (const TypeInfo& info : namedTypes)
            names.emplace(info.type, info.name);
        return names;
    }();
    return streamEnum(stream, value, baseNums);
}

} // namespace Varnix::Backend
