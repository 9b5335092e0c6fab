#include "trial.h"

#include "command.h"
#include "textValues.h"
#include "writeCheck.h"
#include "writeValues.h"

#include <stdexcept>
#include <utility>

namespace Varnix::Tool {

namespace {

namespace TextValues = Backend::TextValues;
namespace WriteCheck = Backend::WriteCheck;
namespace WriteIndication = Backend::WriteIndication;
using Backend::WriteValues;

std::string withoutLineBreak(std::string text)
{
    text.erase(0, text.find_first_not_of('\n'));
    return text;
}

Effect integersOn(const DbFile::Value& stored, const WriteValues& values, unsigned char index)
{
    Effect effect{stored};
    const Backend::TypeOfData_t type{stored.type};
    const auto length = static_cast<std::uint32_t>(stored.data.size());
    if (const auto refusal = WriteCheck::refusalOf(type, length, values, index))
        effect.refusal = WriteCheck::describe(*refusal);
    else
        WriteCheck::storeValues(reinterpret_cast<unsigned char*>(effect.after.data.data()),
                                Backend::findType(type)->elementSize, index, values);
    return effect;
}

} // namespace

/** Reads the values, as the registry does before it asks a store. */
struct Trial::Prepare
{
    Write operator()(const WriteIndication::SetText& request) const
    {
        if (const auto refusal = TextValues::textError(request.value))
            return TextValues::describe(*refusal);
        return Text{request.value, request.append};
    }
    Write operator()(const WriteIndication::WriteList& request) const
    {
        TextValues::Numbers numbers = TextValues::parseNumbers(request.values);
        if (numbers.error)
            return TextValues::describe(*numbers.error);
        return List{std::move(numbers.values), static_cast<unsigned char>(request.index)};
    }
    Write operator()(const WriteIndication::Repeat& request) const
    {
        const TextValues::Number number = TextValues::parseNumber(request.value);
        if (const auto* const refusal = std::get_if<TextValues::Refusal>(&number))
            return TextValues::describe(*refusal);
        return Repeated{std::get<std::int64_t>(number), static_cast<std::size_t>(request.count),
                        static_cast<unsigned char>(request.index)};
    }
    Write operator()(const WriteIndication::Rejected& rejected) const
    {
        return withoutLineBreak(WriteIndication::describe(rejected));
    }
};

Trial::Trial(const std::vector<std::string>& words)
{
    if (words.size() < fewestWords)
        throw Failure(Status::WRONG_USAGE,
                      "varnix: a write has at least 4 words, as in: db write KEY VALUE");
    m_key = words[2];
    try {
        m_write = std::visit(Prepare{}, WriteIndication::parse(words));
    } catch (const std::logic_error& error) { // a number that cannot be converted
        m_write = withoutLineBreak(WriteIndication::describeUnhandled(error.what()));
    }
}

Effect Trial::on(const DbFile::Value& stored) const
{
    if (const auto* const refusal = std::get_if<Refusal>(&m_write))
        return {stored, *refusal};
    if (const auto* const list = std::get_if<List>(&m_write))
        return integersOn(stored, WriteValues(list->values), list->index);
    if (const auto* const repeated = std::get_if<Repeated>(&m_write))
        return integersOn(stored, WriteValues(repeated->value, repeated->count), repeated->index);
    const Text& text = std::get<Text>(m_write);
    const Backend::TypeOfData_t type{stored.type};
    if (!WriteCheck::takesText(type))
        return {stored, WriteCheck::describeNoText(type, text.value)};
    const std::vector<char> after = WriteCheck::textAfter(stored.data, text.value, text.append);
    return {{stored.type, std::string(after.begin(), after.end())}};
}

} // namespace Varnix::Tool
