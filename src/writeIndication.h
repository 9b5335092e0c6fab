#ifndef VARNIX_WRITEINDICATION_H
#define VARNIX_WRITEINDICATION_H

#include <string>
#include <string_view>
#include <variant>
#include <vector>

/** What an operator's command words ask for. */
namespace Varnix::Backend::WriteIndication {

/** Replace the text, or append to it. */
struct SetText
{
    std::string key;
    std::string value;
    bool append;
};

/** Write values into consecutive elements. */
struct WriteList
{
    std::string key;
    std::vector<std::string> values;
    int index;
};

/** Write one value into `count` consecutive elements. */
struct Repeat
{
    std::string key;
    std::string value;
    int index;
    int count;
};

/** The words ask for nothing that can be done. */
struct Rejected
{
    enum class Reason
    {
        INDEX,
        COUNT,
        REPEATED_VALUES ///< not exactly one
    };

    Reason reason;
    std::string_view word{}; ///< the index or count; a part of the words that were parsed
};

/** The rejection in words. */
std::string describe(const Rejected& rejected);

/** That an indication could not be handled, as `what` says, in words. */
std::string describeUnhandled(const char* what);

using Request = std::variant<SetText, WriteList, Repeat, Rejected>;

/** The key is word 2; options and values follow. There must be at least four words. */
Request parse(const std::vector<std::string>& words);

} // namespace Varnix::Backend::WriteIndication

#endif
