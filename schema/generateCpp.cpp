#include "schema/generateCpp.h"

#include "dbfile/shown.h"
#include "dbfile/types.h"
#include "schema/cppNames.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <map>
#include <utility>

namespace Varnix::Schema {

namespace {

using DbFile::Type;

constexpr const char* className = "Parameters";

std::string fileName(const std::string& path)
{
    return std::filesystem::path(path).filename().string();
}

/** The class's own name is its constructor's. */
std::string nameOf(const Line& line)
{
    const std::string name = identifierOf(line.key.text());
    return name == className ? name + '_' : name;
}

/** What all lines say together of the parameters of one key. */
struct Accessor
{
    const Line& line;
    /** The line itself and those that hold for its key too. */
    std::vector<const Line*> lines;
    /** The line with the key's default, or null. */
    const Line* withDefault;

    bool isSingle() const
    {
        return line.type->number != DbFile::charType &&
               std::any_of(lines.begin(), lines.end(), [](const Line* l) {
                   return l->count && *l->count == Count{1, 1};
               });
    }
};

std::string elementType(const Type& type)
{
    if (type.number == DbFile::charType)
        return "std::string";
    return std::string("std::") + (type.min < 0 ? "int" : "uint") +
           std::to_string(type.elementSize * 8) + "_t";
}

std::string valueType(const Accessor& accessor)
{
    const std::string element = elementType(*accessor.line.type);
    const bool isList = accessor.line.type->number != DbFile::charType && !accessor.isSingle();
    return isList ? "std::vector<" + element + ">" : element;
}

std::string numberText(const Type& type, std::int64_t number)
{
    const std::string text = std::to_string(number);
    if (number == INT32_MIN) // whose digits alone are out of range
        return "-2147483647 - 1";
    return text + (type.min < 0 ? "" : "U");
}

std::string defaultText(const Accessor& accessor)
{
    if (accessor.withDefault == nullptr)
        return {};
    const Type& type = *accessor.line.type;
    const std::string& data = accessor.withDefault->fallback->data;
    if (type.number == DbFile::charType)
        return ", std::string(" + literalOf(data) + ", " + std::to_string(data.size()) + ")";
    std::string numbers;
    const std::size_t count = data.size() / type.elementSize;
    for (std::size_t i = 0; i < (accessor.isSingle() ? std::min<std::size_t>(count, 1) : count);
         ++i)
        numbers.append(numbers.empty() ? "" : ", ")
            .append(numberText(type, DbFile::elementAt(data, type, i)));
    return ", " + valueType(accessor) + "{" + numbers + "}";
}

/** The accessor's arguments, one for each wildcard, and the key that they make. */
std::pair<std::string, std::string> keyText(const KeyPattern& key)
{
    if (key.isLiteral())
        return {"", literalOf(key.literal())};
    std::string arguments;
    std::string expression = "std::string()";
    std::string literal;
    std::size_t count = 0;
    const auto flush = [&] {
        if (!literal.empty())
            expression += " + " + literalOf(std::exchange(literal, {}));
    };
    for (const KeyPattern::Element& element : key.elements()) {
        if (!element.isWildcard()) {
            literal.push_back(element.character());
            continue;
        }
        flush();
        const std::string name = "part" + std::to_string(++count);
        arguments.append(arguments.empty() ? "" : ", ")
            .append(element.isStar ? "const std::string& " : "char ")
            .append(name);
        expression += " + " + name;
    }
    flush();
    return {arguments, expression};
}

std::string commentOf(const Accessor& accessor)
{
    std::string text;
    const auto add = [&text](const std::string& part) {
        text.append(text.empty() ? "" : "; ").append(part);
    };
    for (const Line* const line : accessor.lines) {
        if (line->description)
            add(DbFile::shown(*line->description));
        add(DbFile::shown(line->key.text()) + " " + line->typeText());
        if (!line->limits.empty())
            add(DbFile::shown(line->limits.text()));
        if (line->unit)
            add("in " + DbFile::shown(*line->unit));
        if (line->isRequired)
            add("required");
        text.append(" (")
            .append(DbFile::shown(fileName(line->place.file)))
            .append(":")
            .append(std::to_string(line->place.line))
            .append(")");
    }
    return "    /** " + inComment(text) + " */\n";
}

std::string accessorText(const Accessor& accessor, const std::string& name)
{
    const bool isDeprecated = std::any_of(accessor.lines.begin(), accessor.lines.end(),
                                          [](const Line* line) { return line->isDeprecated; });
    const std::string type = "::Varnix::Kit::Parameter<" + valueType(accessor) + ">";
    const auto [arguments, key] = keyText(accessor.line.key);
    std::string text = commentOf(accessor);
    text.append(isDeprecated ? "    [[deprecated]] " : "    ").append(type).append(" ");
    text.append(name).append("(").append(arguments).append(") const\n    {\n        return ");
    text.append(type).append("(m_database, ").append(key).append(defaultText(accessor));
    return text.append(");\n    }\n");
}

std::string headText(const Schema& schema, const std::string& space)
{
    std::string guard = "VARNIX_GENERATED_";
    for (const char c : space)
        if (c != ':' || guard.back() != '_')
            guard.push_back(
                c == ':' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
    guard += "_H";
    std::vector<std::string> files;
    for (const Line& line : schema.lines())
        if (std::string name = DbFile::shown(fileName(line.place.file));
            std::find(files.begin(), files.end(), name) == files.end())
            files.push_back(std::move(name));
    std::string list;
    for (const std::string& file : files)
        list.append(list.empty() ? "" : ", ").append(file);
    return "#ifndef " + guard + "\n#define " + guard + "\n\n/* Made by varnix generate cpp from " +
           inComment(list) +
           "; changes will be lost. */\n\n#include <cstdint>\n#include <memory>\n#include "
           "<string>\n#include <utility>\n#include <vector>\n\n#include "
           "<varnix/kit/parameter.h>\n\nnamespace " +
           space +
           " {\n\n/** The parameters of a database, each by its name. */\nclass Parameters\n{\n"
           "public:\n    explicit Parameters(std::shared_ptr<const ::Varnix::V1::DatabaseIf> "
           "database)\n        : m_database(std::move(database))\n    {\n    }\n";
}

} // namespace

bool isNamespace(std::string_view name)
{
    while (true) {
        const std::size_t end = name.find("::");
        const std::string_view part = name.substr(0, end);
        if (!isIdentifier(part) || part == "std") // in which nothing of ours may be, nor hide it
            return false;
        if (end == std::string_view::npos)
            return true;
        name.remove_prefix(end + 2);
    }
}

std::string namespaceFor(const std::string& file)
{
    std::string name = identifierOf(std::filesystem::path(file).stem().string());
    name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
    return name;
}

GeneratedCpp generateCpp(const Schema& schema, const std::string& space)
{
    GeneratedCpp generated{headText(schema, space), {}};
    std::map<std::string, const Line*> names;
    for (const Line& line : schema.lines()) {
        const std::string name = nameOf(line);
        const auto [first, isNew] = names.try_emplace(name, &line);
        if (isNew) {
            Accessor accessor{line, {&line}, line.fallback ? &line : nullptr};
            if (line.key.isLiteral()) {
                accessor.lines = schema.matching(line.key.literal());
                accessor.withDefault = schema.defaultOf(line.key.literal());
            }
            generated.text += '\n' + accessorText(accessor, name);
        } else if (first->second->key.text() != line.key.text()) {
            generated.errors.push_back({line.place, line.key.text() + " gives the name " + name +
                                                        ", as " + first->second->key.text() +
                                                        " does (" + first->second->reference() +
                                                        ")"});
        }
    }
    generated.text +=
        "\nprivate:\n    std::shared_ptr<const ::Varnix::V1::DatabaseIf> m_database;\n"
        "};\n\n} // namespace " +
        space + "\n\n#endif\n";
    return generated;
}

} // namespace Varnix::Schema
