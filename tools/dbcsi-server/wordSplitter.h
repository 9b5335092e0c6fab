#ifndef VARNIX_DBCSI_SERVER_WORDSPLITTER_H
#define VARNIX_DBCSI_SERVER_WORDSPLITTER_H

#include "words.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace Dbcsi {

/** Why a line could not be split, and the column (from 1) of the character at fault. */
struct SplitError
{
    std::size_t column;
    std::string text;

    bool operator==(const SplitError&) const = default;
};

/**
 * Splits a line at blanks and tabs, quoted as in a shell: '…' is taken as it stands, within "…" a
 * backslash protects `"` and `\`, and anywhere else it protects the character after it. Quoted
 * parts join what they touch, so '' is an empty word. A line that begins with # holds no words.
 */
std::variant<Words, SplitError> splitWords(std::string_view line);

/** A line that splitWords takes for these words, none of which holds a line break. */
std::string quoteWords(const Words& words);

} // namespace Dbcsi

#endif
