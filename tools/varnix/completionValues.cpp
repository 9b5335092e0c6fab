#include "completionValues.h"

#include "clientValue.h"
#include "command.h"
#include "configuration.h"
#include "dbfile/decoder.h"
#include "dbfile/shown.h"
#include "files.h"
#include "inspection/notInspected.h"
#include "inspection/process.h"
#include "liveDatabase.h"
#include "nodePlace.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <span>

namespace Varnix::Tool {

namespace {

using Completion::Candidate;
using Completion::Line;
using Keys = std::set<std::string>;

std::vector<Candidate> candidatesOf(const auto& words)
{
    std::vector<Candidate> candidates;
    candidates.reserve(words.size());
    for (const auto& word : words)
        candidates.push_back({word, ""});
    return candidates;
}

/** Does what may fail without a reason to say so: a shell asked. */
template <typename Deed>
void trying(const Deed& deed)
{
    try {
        deed();
    } catch (const Failure&) {
    } catch (const Inspection::NotInspected&) {
    }
}

void addKeysOfFile(Keys& keys, const std::string& path)
{
    trying([&] {
        for (const DbFile::Record& record : DbFile::readRecords(readAccepted(path)))
            keys.insert(record.key);
    });
}

/** Those of every file that an entry lists: a key needs no node. */
void addKeysOfConfiguration(Keys& keys, const NodePlace& node, const std::string& config)
{
    trying([&] {
        for (const auto& entry : readConfiguration(node.locate(config)))
            for (const std::string& path : entry.filePaths)
                addKeysOfFile(keys, node.locate(path));
    });
}

void addKeysOfProduction(Keys& keys, const NodePlace& node)
{
    for (const ProductionFile& file : node.productionFiles())
        addKeysOfFile(keys, file.place);
}

NodePlace nodeOf(const Line& line)
{
    NodePlace node;
    if (const auto root = line.options.find("--root"); root != line.options.end())
        node.root = root->second;
    if (const auto file = line.options.find("--production"); file != line.options.end())
        node.production = file->second;
    return node;
}

void addKeysOfProcess(Keys& keys, pid_t id)
{
    trying([&] {
        const Inspection::Process process(id);
        for (const Inspection::StoreView& store : process.registry().stores)
            if (const auto parameters = process.parameters(store))
                for (const Inspection::ParameterView& parameter : *parameters)
                    keys.insert(parameter.key);
    });
}

pid_t processOf(const Line& line)
{
    pid_t id = 0;
    if (const auto option = line.options.find("--pid"); option != line.options.end())
        std::from_chars(option->second.data(), option->second.data() + option->second.size(), id);
    return id;
}

/** The keys of the process, the configurations or, without either, the processes that run. */
Keys keysFor(const Line& line)
{
    Keys keys;
    if (const pid_t id = processOf(line); id != 0) {
        addKeysOfProcess(keys, id);
        return keys;
    }
    std::vector<std::string> configs;
    if (line.operands.size() > line.words)
        configs.push_back(line.operands.front());
    for (auto [option, end] = line.options.equal_range("--config"); option != end; ++option)
        configs.push_back(option->second);
    const NodePlace node = nodeOf(line);
    for (const std::string& config : configs)
        addKeysOfConfiguration(keys, node, config);
    if (configs.empty())
        for (const pid_t id : Inspection::processIds())
            addKeysOfProcess(keys, id);
    else if (!keys.empty()) // else it is no configuration
        addKeysOfProduction(keys, node);
    return keys;
}

std::vector<Candidate> processes()
{
    std::vector<Candidate> found;
    for (const pid_t id : Inspection::processIds())
        trying([&] {
            const Inspection::Process process(id);
            static_cast<void>(process.registry()); // throws where there is none
            found.push_back({std::to_string(id), DbFile::shown(process.command())});
        });
    return found;
}

/** The options that may follow the words after a key. */
std::vector<Candidate> writeOptions(std::span<const std::string> words)
{
    const Candidate index{"-i", "the first element that is written"};
    const Candidate count{"-r", "how many elements get the one value"};
    if (words.empty())
        return {{"-c", "replaces the text"}, {"-a", "appends to the text"}, index, count};
    if (words.size() != 2)
        return {};
    if (words.front() == index.word)
        return {count};
    if (words.front() == count.word)
        return {index};
    return {};
}

std::vector<Candidate> operatorWords(const Line& line)
{
    constexpr std::size_t beforeOptions = 3;
    switch (line.words) {
    case 0:
        return {{"db", "a command of the library's"}};
    case 1:
        return {{"write", "changes a parameter"}};
    case 2:
        return candidatesOf(keysFor(line));
    default:
        return writeOptions(std::span(line.operands).last(line.words - beforeOptions));
    }
}

} // namespace

std::optional<std::vector<Candidate>> completionValues(const std::string& kind, const Line& line)
{
    if (kind == "PID")
        return processes();
    if (kind == "KEY")
        return candidatesOf(keysFor(line));
    if (kind == "WORD")
        return operatorWords(line);
    if (kind == "TYPE")
        return candidatesOf(readableTypes());
    return std::nullopt;
}

} // namespace Varnix::Tool
