#include "schema/generateMarkdown.h"

#include "dbfile/shown.h"
#include "dbfile/sourceValue.h"

#include <filesystem>
#include <string_view>

namespace Varnix::Schema {

namespace {

/** Plain text in a cell of a table. */
std::string cell(std::string_view text)
{
    std::string result;
    for (const char c : DbFile::shown(text)) {
        if (std::string_view("\\`*_{}[]<>()#+-.!|~&").find(c) != std::string_view::npos)
            result.push_back('\\');
        result.push_back(c);
    }
    return result;
}

/** Code in a cell of a table, where a bar ends the cell even inside code. */
std::string code(std::string_view text)
{
    if (text.empty())
        return {};
    std::string result;
    std::string fence = "`";
    for (const char c : DbFile::shown(text)) {
        if (c == '`')
            fence = "``";
        result.append(c == '|' ? "\\" : "").push_back(c);
    }
    return fence.size() == 1 ? fence + result + fence : fence + " " + result + " " + fence;
}

std::string remarks(const Line& line)
{
    std::string text;
    if (line.isRequired)
        text += "required";
    if (line.isDeprecated)
        text.append(text.empty() ? "" : ", ").append("deprecated");
    return text;
}

std::string row(const Line& line)
{
    std::string fallback;
    if (line.fallback) // after the type's name
        fallback = DbFile::printValue(line.type->number, line.fallback->data)
                       .substr(line.type->name.size());
    if (fallback.starts_with(' '))
        fallback.erase(0, 1);
    std::string text = "| ";
    for (const std::string& column :
         {code(line.key.text()), code(line.typeText()), code(line.limits.text()),
          cell(line.unit.value_or("")), line.fallback && fallback.empty() ? "none" : code(fallback),
          remarks(line), cell(line.description.value_or(""))})
        text.append(column).append(" | ");
    text.back() = '\n';
    return text;
}

} // namespace

std::string generateMarkdown(const Schema& schema)
{
    std::string text = "<!-- Made by varnix generate markdown; changes will be lost. -->\n";
    std::string file;
    for (const Line& line : schema.lines()) {
        if (text.size() == text.find('\n') + 1 || line.place.file != file) {
            file = line.place.file;
            text += "\n# Parameters of " + cell(std::filesystem::path(file).filename().string()) +
                    "\n\n| Key | Type | Limits | Unit | Default | | Description |\n"
                    "| --- | --- | --- | --- | --- | --- | --- |\n";
        }
        text += row(line);
    }
    return text;
}

} // namespace Varnix::Schema
