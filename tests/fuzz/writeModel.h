#ifndef VARNIX_TESTS_FUZZ_WRITEMODEL_H
#define VARNIX_TESTS_FUZZ_WRITEMODEL_H

/** What operators' writes do to a store, said a second time and as plainly as possible. */

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Varnix::Fuzz {

using Words = std::vector<std::string>;
using Numbers = std::vector<std::int64_t>;

/** A parameter that a write can reach: text, or the elements of an integer type. */
struct ModelParameter
{
    std::string type;
    std::string text{};
    Numbers numbers{};

    bool operator==(const ModelParameter&) const = default;
};

using ModelStore = std::map<std::string, ModelParameter>;

struct TextWrite
{
    std::string key;
    std::string value;
    bool append;
};

struct NumbersWrite
{
    std::string key;
    Numbers values;
    std::uint8_t index;
};

/** A write that is refused before any store sees it. */
struct NoWrite
{
    bool throws = false; ///< std::invalid_argument, for a lone "-"
};

using Write = std::variant<NoWrite, TextWrite, NumbersWrite>;

/** What a command's words ask for; there are at least four. */
Write writeOf(const Words& words);

void apply(const Write& write, ModelStore& store);

/** A repetition that would be carried out, but takes too long to be worth an execution. */
bool isSlow(const Words& words);

} // namespace Varnix::Fuzz

#endif
