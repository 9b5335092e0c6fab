#include "writeCheck.h"

#include <locale>
#include <sstream>

namespace Varnix::Backend::WriteCheck {

namespace {

std::string nameOf(TypeOfData_t type)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << type;
    return stream.str();
}

} // namespace

std::string describe(const Refusal& refusal)
{
    using Reason = Refusal::Reason;
    switch (refusal.reason) {
    case Reason::NO_ELEMENTS:
        return "Can not update a key with datatype: " + nameOf(refusal.type);
    case Reason::TOO_MANY:
        return "Can not update a key with " + std::to_string(refusal.capacity) + " values, with  " +
               std::to_string(refusal.count) + " values";
    case Reason::OUT_OF_RANGE:
        return "Index out of range: " + std::to_string(refusal.index);
    default:
        return "Can not store the value " + std::to_string(refusal.value) +
               " in a key with datatype: " + nameOf(refusal.type);
    }
}

std::string describeNoText(TypeOfData_t type, std::string_view value)
{
    return ("Can not update  key with datatype: " + nameOf(type) + " with the string ")
        .append(value);
}

std::vector<char> textAfter(std::string_view oldText, std::string_view value, bool append)
{
    std::vector<char> text;
    if (append) {
        text.reserve(oldText.size() + 1 + value.size());
        text.assign(oldText.begin(), oldText.end());
        text.push_back(' ');
    }
    text.insert(text.end(), value.begin(), value.end());
    return text;
}

} // namespace Varnix::Backend::WriteCheck
