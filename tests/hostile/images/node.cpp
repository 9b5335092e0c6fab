#include "node.h"

#include "reads.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/nodeDirectory.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Varnix::Test {

using ImageModel::Value;
using ImageModel::Values;

namespace {

const std::string identities = "/componentConfigId";
constexpr std::uint8_t text = 10;

/** The database that is not hostile: the production database, or the component's. */
const Values goodProduction{{identities, {text, "a_1"}}};
const Values goodComponent{{"/a", {4, std::string("\0\7", 2)}}, {"/good", {2, "\1\2"}}};

std::string imageOf(const Values& values)
{
    DbBuilder builder;
    for (const auto& [key, value] : values)
        builder.record({.key = key, .type = value.type, .data = value.data});
    return builder.image();
}

std::string hex(const std::string& bytes)
{
    std::string result;
    for (const char byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(byte));
        result += digits.data();
    }
    return result;
}

/** What a read that does not succeed gives: its result and the output as it was. */
std::string refused(const Value* value, const std::string& output)
{
    return (value == nullptr ? "1" : "2") + output + '\n';
}

std::string numbersOf(const Value* value, std::uint8_t type)
{
    if (value == nullptr || value->type != type)
        return refused(value, ' ' + std::to_string(ImageReads::numberBefore));
    std::string line = "0";
    for (const std::int64_t element : ImageModel::elements(*value))
        line += ' ' + std::to_string(element);
    return line + '\n';
}

std::string textOf(const Value* value)
{
    if (value == nullptr || value->type != text)
        return refused(value, ' ' + hex(ImageReads::textBefore)) + refused(value, "");
    std::string lines = "0 " + hex(value->data) + "\n0";
    for (const std::string& word : ImageModel::words(value->data))
        lines += ' ' + hex(word);
    return lines + '\n';
}

} // namespace

HostileNode::HostileNode(const std::filesystem::path& parent, const HostileImage& image, Role role)
    : m_role(role), m_verdict(ImageModel::judge(image.bytes)), m_keys(m_verdict.keys)
{
    const bool isProduction = role == Role::PRODUCTION;
    const std::filesystem::path path = parent / (image.name + (isProduction ? ".p" : ".c"));
    m_directory = path.string();
    std::filesystem::create_directory(path);
    writeFile(path / "production.db", isProduction ? image.bytes : imageOf(goodProduction));
    writeFile(path / "component.db", isProduction ? imageOf(goodComponent) : image.bytes);
    writeFile(path / ImageReads::config, configText({{"a", "1", {"component.db"}}}));

    for (const std::string& key : {identities, std::string("/a"), std::string("/good"),
                                   std::string("/absent"), std::string()})
        if (std::find(m_keys.begin(), m_keys.end(), key) == m_keys.end())
            m_keys.push_back(key);
    std::string keys;
    for (const std::string& key : m_keys)
        keys += key + '\0';
    writeFile(path / ImageReads::keysFile, keys);
}

const Values& HostileNode::production() const
{
    return m_role == Role::PRODUCTION ? m_verdict.values : goodProduction;
}

bool HostileNode::hasIdentityOfTheComponent() const
{
    const std::vector<std::string> words = ImageModel::words(production().at(identities).data);
    // An identity is matched up to its first NUL.
    return std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return word.substr(0, word.find('\0')) == "a_1";
    });
}

bool HostileNode::hasDatabase() const
{
    const auto identity = production().find(identities);
    if (identity == production().end() || identity->second.type != text)
        return false;
    return m_verdict.isAccepted;
}

const Value* HostileNode::valueOf(const std::string& key) const
{
    if (const auto found = production().find(key); found != production().end())
        return &found->second;
    if (!hasIdentityOfTheComponent())
        return nullptr;
    const Values& component = m_role == Role::PRODUCTION ? goodComponent : m_verdict.values;
    const auto found = component.find(key);
    return found != component.end() ? &found->second : nullptr;
}

std::string HostileNode::expectedReads() const
{
    if (!hasDatabase())
        return ImageReads::noDatabase;
    std::string reads;
    for (const std::string& key : m_keys) {
        const Value* const value = valueOf(key);
        reads += "key " + hex(key) + '\n';
        for (const std::uint8_t type : std::initializer_list<std::uint8_t>{2, 3, 4, 5, 6, 7})
            reads += numbersOf(value, type);
        reads += textOf(value);
    }
    return reads;
}

int HostileNode::expectedStatus() const
{
    if (!hasDatabase())
        return 5;
    return std::all_of(m_keys.begin(), m_keys.end(),
                       [this](const std::string& key) {
                           const Value* const value = valueOf(key);
                           return value != nullptr && ImageModel::elementSize(value->type) != 0;
                       })
               ? 0
               : 1;
}

} // namespace Varnix::Test
