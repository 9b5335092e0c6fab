#include "schema/cppNames.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Varnix::Schema {

namespace {

/** Of C++20, sorted. */
constexpr auto keywords = std::to_array<std::string_view>({
    "alignas",
    "alignof",
    "and",
    "and_eq",
    "asm",
    "atomic_cancel",
    "atomic_commit",
    "atomic_noexcept",
    "auto",
    "bitand",
    "bitor",
    "bool",
    "break",
    "case",
    "catch",
    "char",
    "char16_t",
    "char32_t",
    "char8_t",
    "class",
    "co_await",
    "co_return",
    "co_yield",
    "compl",
    "concept",
    "const",
    "const_cast",
    "consteval",
    "constexpr",
    "constinit",
    "continue",
    "decltype",
    "default",
    "delete",
    "do",
    "double",
    "dynamic_cast",
    "else",
    "enum",
    "explicit",
    "export",
    "extern",
    "false",
    "float",
    "for",
    "friend",
    "goto",
    "if",
    "inline",
    "int",
    "long",
    "mutable",
    "namespace",
    "new",
    "noexcept",
    "not",
    "not_eq",
    "nullptr",
    "operator",
    "or",
    "or_eq",
    "private",
    "protected",
    "public",
    "reflexpr",
    "register",
    "reinterpret_cast",
    "requires",
    "return",
    "short",
    "signed",
    "sizeof",
    "static",
    "static_assert",
    "static_cast",
    "struct",
    "switch",
    "synchronized",
    "template",
    "this",
    "thread_local",
    "throw",
    "true",
    "try",
    "typedef",
    "typeid",
    "typename",
    "union",
    "unsigned",
    "using",
    "virtual",
    "void",
    "volatile",
    "wchar_t",
    "while",
    "xor",
    "xor_eq",
});

/** What a compiler or the headers that everybody includes may define as a macro. */
constexpr auto macros =
    std::to_array<std::string_view>({"EOF", "NULL", "assert", "errno", "i386", "linux", "major",
                                     "makedev", "minor", "stderr", "stdin", "stdout", "unix"});

bool isDigit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

bool isLetter(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char capital(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isKeyword(std::string_view name)
{
    return std::binary_search(keywords.begin(), keywords.end(), name) ||
           std::find(macros.begin(), macros.end(), name) != macros.end();
}

} // namespace

std::string identifierOf(std::string_view text)
{
    std::string name;
    bool isWordStart = false;
    for (const char c : text) {
        if (isLetter(c) || isDigit(c))
            name.push_back(isWordStart && !name.empty() ? capital(c) : c);
        isWordStart = !isLetter(c) && !isDigit(c);
    }
    if (name.empty() || isDigit(name.front()))
        name.insert(0, "key");
    return isKeyword(name) ? name + '_' : name;
}

bool isIdentifier(std::string_view name)
{
    return !name.empty() && !isDigit(name.front()) && name.front() != '_' &&
           name.find("__") == std::string_view::npos && !isKeyword(name) &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return isLetter(c) || isDigit(c) || c == '_'; });
}

std::string literalOf(std::string_view bytes)
{
    std::string text = "\"";
    for (const char c : bytes) {
        const auto value = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\' || c == '?') // "??" may begin a trigraph
            text.append(1, '\\').append(1, c);
        else if (c >= ' ' && c <= '~')
            text.push_back(c);
        else
            for (const unsigned digit : {64U, 8U, 1U}) // octal: hexadecimal ones never end
                text.append(digit == 64 ? "\\" : "")
                    .push_back(static_cast<char>('0' + value / digit % 8));
    }
    return text + '"';
}

std::string inComment(std::string text)
{
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
        if ((text[i] == '/' && text[i + 1] == '*') || (text[i] == '*' && text[i + 1] == '/'))
            text.insert(++i, " ");
    return text;
}

} // namespace Varnix::Schema
