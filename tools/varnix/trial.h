#ifndef VARNIX_TOOL_TRIAL_H
#define VARNIX_TOOL_TRIAL_H

#include "dbfile/store.h"
#include "writeIndication.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/** What an operator's words do to a parameter, asked of the library's own code. */
namespace Varnix::Tool {

/** The fewest words of which clients take notice. */
inline constexpr std::size_t fewestWords = 4;

/** What becomes of one parameter. */
struct Effect
{
    DbFile::Value after;
    /** Why the write is refused, as the library traces it; the value stays then. */
    std::optional<std::string> refusal = {};
};

/** The write that an operator's words ask for. */
class Trial
{
public:
    /** Failure with WRONG_USAGE where there are fewer than fewestWords. */
    explicit Trial(const std::vector<std::string>& words);

    const std::string& key() const noexcept { return m_key; }

    Effect on(const DbFile::Value& stored) const;

private:
    struct Text
    {
        std::string value;
        bool append;
    };
    struct List
    {
        std::vector<std::int64_t> values;
        unsigned char index;
    };
    struct Repeated
    {
        std::int64_t value;
        std::size_t count;
        unsigned char index;
    };
    /** In words, why no parameter takes it. */
    using Refusal = std::string;
    using Write = std::variant<Text, List, Repeated, Refusal>;

    struct Prepare;

    std::string m_key;
    Write m_write;
};

} // namespace Varnix::Tool

#endif
