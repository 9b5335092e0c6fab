#include "completion/completion.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <sstream>
#include <string_view>

namespace Varnix::Completion {

namespace {

/** What the shell itself offers beside the candidates. */
enum class Also
{
    NOTHING,
    FILES,
    COMMANDS,
};

struct Result
{
    std::vector<Candidate> candidates;
    Also also = Also::NOTHING;
};

/** Kinds of values that nobody can guess; those that the caller does not know either are files. */
const std::set<std::string> freeKinds{"VALUE", "NAME", "MS", "N", "BYTES", "NUMBER", "WORD", "ID"};

std::string longName(const CLI::Option& option)
{
    return "--" + (option.get_lnames().empty() ? std::string() : option.get_lnames().front());
}

const CLI::Option* findOption(const CLI::App& app, const std::string& word)
{
    for (const CLI::Option* const option : app.get_options())
        if (option->nonpositional() && option->check_name(word))
            return option;
    return nullptr;
}

/** The kind of an option's values: its type's name without what checks the values. */
std::string kindOf(const CLI::Option& option)
{
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

bool takesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

std::vector<const CLI::Option*> positionals(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

/** Reads the words before the one that is completed as the parser will. */
class Reader
{
public:
    explicit Reader(const CLI::App& app) : m_app(&app) {}

    void read(const std::string& word)
    {
        if (m_awaiting != nullptr) {
            m_line.options.emplace(longName(*m_awaiting), word);
            m_awaiting = nullptr;
        } else if (!m_onlyOperands && word == "--") {
            m_onlyOperands = true;
        } else if (!m_onlyOperands && word.starts_with('-')) {
            readOption(word);
        } else {
            readOperand(word);
        }
    }

    const CLI::App& app() const { return *m_app; }
    const Line& line() const { return m_line; }
    /** The option whose value comes next. */
    const CLI::Option* awaiting() const { return m_awaiting; }
    bool onlyOperands() const { return m_onlyOperands; }
    bool hasSubcommands() const { return !subcommands().empty(); }

    std::vector<const CLI::App*> subcommands() const
    {
        return m_app->get_subcommands(
            [](const CLI::App* each) { return !each->get_name().empty(); });
    }

private:
    void readOption(const std::string& word)
    {
        const std::size_t sign = std::min(word.find('='), word.size());
        const CLI::Option* const option = findOption(*m_app, word.substr(0, sign));
        if (option == nullptr)
            return;
        if (!takesValue(*option))
            m_line.options.emplace(longName(*option), "");
        else if (sign < word.size())
            m_line.options.emplace(longName(*option), word.substr(sign + 1));
        else
            m_awaiting = option;
    }

    void readOperand(const std::string& word)
    {
        for (const CLI::App* const each : subcommands())
            if (m_line.operands.empty() && each->get_name() == word) {
                m_app = each;
                m_line = {};
                return;
            }
        m_line.operands.push_back(word);
        const std::size_t own = positionals(*m_app).size();
        if (m_app->get_prefix_command() && m_line.operands.size() > own) {
            m_line.words = m_line.operands.size() - own;
            m_onlyOperands = true; // an option among an operator's words is the server's
        }
    }

    const CLI::App* m_app;
    Line m_line;
    const CLI::Option* m_awaiting = nullptr;
    bool m_onlyOperands = false;
};

/** The kinds that a positional names, "[CONFIG] KEY": one that --pid takes the place of is left
 * out. */
std::vector<std::string> kindsOf(const CLI::Option& positional, const Line& line)
{
    std::vector<std::string> kinds;
    std::istringstream names(kindOf(positional));
    for (std::string name; names >> name;) {
        const bool isOptional = name.starts_with('[');
        std::erase_if(name, [](char c) { return c == '[' || c == ']'; });
        if (!isOptional || !line.options.contains("--pid"))
            kinds.push_back(name);
    }
    return kinds;
}

/** The kind of the next operand; nothing where there is none. */
std::optional<std::string> operandKind(const Reader& reader)
{
    std::size_t number = reader.line().operands.size();
    for (const CLI::Option* const positional : positionals(reader.app())) {
        const std::vector<std::string> kinds = kindsOf(*positional, reader.line());
        const bool isLast = positional->get_items_expected_max() > 1;
        if (number < kinds.size())
            return kinds[number];
        if (isLast && !kinds.empty())
            return kinds.back();
        number -= std::max<std::size_t>(kinds.size(), 1);
    }
    return reader.app().get_prefix_command() ? std::optional<std::string>("WORD") : std::nullopt;
}

Result valuesOf(const std::string& kind, const Line& line, const Values& values)
{
    if (kind == "COMMAND")
        return {{}, Also::COMMANDS};
    if (auto known = values(kind, line))
        return {*std::move(known), Also::NOTHING};
    return {{}, freeKinds.contains(kind) ? Also::NOTHING : Also::FILES};
}

Result optionsOf(const CLI::App& app)
{
    Result result;
    for (const CLI::Option* const option : app.get_options()) {
        if (!option->nonpositional() || option->get_group().empty())
            continue;
        for (const std::string& name : option->get_lnames())
            result.candidates.push_back({"--" + name, option->get_description()});
        for (const std::string& name : option->get_snames())
            result.candidates.push_back({"-" + name, option->get_description()});
    }
    return result;
}

Result subcommandsOf(const Reader& reader)
{
    Result result;
    for (const CLI::App* const each : reader.subcommands())
        if (!each->get_group().empty())
            result.candidates.push_back({each->get_name(), each->get_description()});
    return result;
}

/** "--pid=17": the values of the option, each with what comes before it. */
Result attachedValues(const Reader& reader, const std::string& word, const Values& values)
{
    const std::string name = word.substr(0, word.find('='));
    const CLI::Option* const option = findOption(reader.app(), name);
    if (option == nullptr || !takesValue(*option))
        return {};
    Result result = valuesOf(kindOf(*option), reader.line(), values);
    for (Candidate& candidate : result.candidates)
        candidate.word.insert(0, name + '=');
    result.also = Also::NOTHING; // the shell would look for a file of the whole word
    return result;
}

Result complete(const Reader& reader, const std::string& word, const Values& values)
{
    if (reader.awaiting() != nullptr)
        return valuesOf(kindOf(*reader.awaiting()), reader.line(), values);
    if (word.starts_with('-') && !reader.onlyOperands())
        return word.find('=') == std::string::npos ? optionsOf(reader.app())
                                                   : attachedValues(reader, word, values);
    if (reader.hasSubcommands() && reader.line().operands.empty())
        return subcommandsOf(reader);
    const auto kind = operandKind(reader);
    return kind ? valuesOf(*kind, reader.line(), values) : Result{};
}

/** The words as a line of the answer; those that no line can hold are left out. */
bool isOneLine(const std::string& word)
{
    return std::none_of(word.begin(), word.end(),
                        [](unsigned char c) { return c < ' ' || c == 127; });
}

} // namespace

bool isAsked(int argc, const char* const* argv)
{
    return argc > 1 && std::string_view(argv[1]) == "complete";
}

void answer(const CLI::App& app, int argc, const char* const* argv, const Values& values)
{
    const std::vector<std::string> words(argv + 2, argv + argc);
    const std::string last = words.empty() ? std::string() : words.back();
    Reader reader(app);
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
        reader.read(words[i]);
    const Result result = complete(reader, last, values);
    if (result.also != Also::NOTHING)
        std::cout << (result.also == Also::FILES ? ":files\n" : ":commands\n");
    for (const Candidate& candidate : result.candidates)
        if (candidate.word.starts_with(last) && isOneLine(candidate.word))
            std::cout << candidate.word << '\t'
                      << (isOneLine(candidate.description) ? candidate.description : "") << '\n';
}

} // namespace Varnix::Completion
