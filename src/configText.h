#ifndef VARNIX_CONFIGTEXT_H
#define VARNIX_CONFIGTEXT_H

#include "regularFile.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Backend::DBUtils {

/** Where to read the file of a path. */
using Locate = std::function<std::string(const std::string& path)>;

/**
 * A configuration file's text with each included file in the place of its directive.
 *
 * libconfig would open included files itself, wait where one is a pipe and end the process where a
 * read fails. It gets this text instead, which means the same to it and contains no "@", and so no
 * directive. Nesting, settings and size are limited, because libconfig's stack and time are not.
 */
class ConfigText
{
public:
    /** A line of the configuration file or of an included one. */
    struct Place
    {
        std::string file; ///< as its directive names it
        int line = 0;     ///< 0: the file as a whole
    };

    /** Why the text ends early. */
    struct Failure
    {
        const char* reason;
        Place place;
        int textLine; ///< the line of the text that libconfig cannot go beyond
    };

    static constexpr const char* inputError = "file I/O error"; // as libconfig words it

    /** With `locate`, each file is read where that says; places keep its name. */
    explicit ConfigText(const std::string& path, Locate locate = {});

    const std::string& text() const noexcept { return m_text; }
    const std::optional<Failure>& failure() const noexcept { return m_failure; }

    /** Where a line of the text comes from. */
    Place placeOf(int textLine) const;

private:
    enum class State
    {
        PLAIN,
        COMMENT,
        STRING,
        INCLUDE
    };

    /** Lines of one file that follow each other in the text. */
    struct Part
    {
        int textLine;
        Place start;
    };

    ReadResult read(const std::string& path, std::size_t sizeLeft, std::string& content) const;
    void addContent(const std::string& content);
    void addPlain(std::string_view& rest, bool isLineStart);
    void addComment(std::string_view& rest);
    void addLineComment(std::string_view& rest);
    void addString(std::string_view& rest);
    void addPath(std::string_view& rest);
    void include();

    void take(std::string_view& rest, std::size_t size);
    void append(std::string_view text);
    void count(char character);
    void refuse(const char* reason);
    void fail(const char* reason, Place place);

    Locate m_locate;
    std::string m_text;
    int m_textLine = 1;
    std::vector<Part> m_parts;
    std::optional<Failure> m_failure;
    State m_state = State::PLAIN;
    std::string m_path; ///< the path of the directive that is being read
    std::size_t m_depth = 0;
    std::size_t m_sizeLeft;
    std::size_t m_nameSize = 0;
    std::size_t m_comparisons = 0;
    std::vector<std::size_t> m_settings{0}; ///< how many, in each group or list that is open
};

} // namespace Varnix::Backend::DBUtils

#endif
