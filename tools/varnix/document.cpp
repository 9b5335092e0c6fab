#include "document.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace Varnix::Tool {

void printDocument(const nlohmann::ordered_json& document)
{
    // Keys and paths may be any bytes; what is not UTF-8 in them is shown as U+FFFD.
    using Json = nlohmann::ordered_json;
    std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void printFailure(Status status, const std::string& text)
{
    printDocument({{"errors", {{{"message", text}, {"status", static_cast<int>(status)}}}}});
}

bool isUnicode(std::string_view bytes)
{
    try {
        static_cast<void>(nlohmann::json(bytes).dump());
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

} // namespace Varnix::Tool
