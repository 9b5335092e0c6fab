#include "journalText.h"

#include "dbfile/shown.h"
#include "decimal.h"
#include "wordSplitter.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <span>
#include <sstream>
#include <variant>

namespace Dbcsi::JournalText {
namespace {

constexpr std::size_t wordsBeforeVerb = 2; // time and user

std::string idText(const ProcessId& id)
{
    return std::to_string(id.process) + '@' + std::to_string(id.startTime) + '/' +
           std::to_string(id.mailbox);
}

std::string nameOf(const ProcessInfo& process)
{
    return idText(process.id) + ' ' + quoteWords({Varnix::DbFile::shown(process.command)});
}

std::string lead(const std::string& user)
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::ostringstream text;
    text << "# " << std::put_time(&parts, "%FT%TZ") << ' ' << quoteWords({user});
    return text.str();
}

std::optional<ProcessId> parseId(std::string_view text)
{
    const std::size_t at = text.find('@');
    if (at == std::string_view::npos)
        return std::nullopt;
    const auto process = Decimal::number<std::int32_t>(text.substr(0, at));
    const std::string_view rest = text.substr(at + 1);
    const std::size_t slash = rest.find('/');
    const auto startTime = Decimal::number<std::uint64_t>(rest.substr(0, slash));
    const auto mailbox = slash == std::string_view::npos
                             ? std::optional(std::uint32_t{0})
                             : Decimal::number<std::uint32_t>(rest.substr(slash + 1));
    if (!process || !startTime || !mailbox)
        return std::nullopt;
    return ProcessId{*process, *startTime, *mailbox};
}

using Rest = std::span<const std::string>;

std::optional<Comment> parseSending(Rest words)
{
    if (words.empty() || !words[0].ends_with(':'))
        return std::nullopt;
    const auto count =
        Decimal::number<std::size_t>(std::string_view(words[0]).substr(0, words[0].size() - 1));
    words = words.subspan(1);
    if (!count || words.size() / 2 < *count)
        return std::nullopt;
    Comment comment{Comment::Kind::SENT, {}, {}, 0};
    for (std::size_t i = 0; i < *count; ++i) {
        const auto id = parseId(words[2 * i]);
        if (!id)
            return std::nullopt;
        comment.processes.push_back({*id, words[2 * i + 1]});
    }
    words = words.subspan(2 * *count);
    for (std::size_t i = 1; i < words.size() && words[0] == "except"; ++i)
        if (const auto id = parseId(words[i]))
            std::erase_if(comment.processes,
                          [&](const ProcessInfo& process) { return process.id == *id; });
    return comment;
}

std::optional<Comment> parseReplaying(Rest words)
{
    constexpr std::size_t fewest = 4; // COUNT "to" PROCESS COMMAND
    if (words.size() < fewest || words[1] != "to")
        return std::nullopt;
    auto count = Decimal::number<std::size_t>(words[0]);
    const auto id = parseId(words[2]);
    if (words.size() == fewest + 2 && words[fewest] == "only")
        count = Decimal::number<std::size_t>(words[fewest + 1]);
    if (!count || !id)
        return std::nullopt;
    return Comment{Comment::Kind::REPLAYED, {}, {{*id, words[3]}}, *count};
}

} // namespace

std::string boot(const std::string& id)
{
    return "# boot " + quoteWords({id});
}

std::string sending(const std::string& user, const std::vector<ProcessInfo>& to)
{
    std::string text = lead(user) + " to " + std::to_string(to.size()) + ':';
    for (const ProcessInfo& process : to)
        text += ' ' + nameOf(process);
    return text;
}

std::string except(const std::vector<ProcessId>& processes)
{
    std::string text = " except";
    for (const ProcessId& id : processes)
        text += ' ' + idText(id);
    return text;
}

std::string replaying(const std::string& user, const ProcessInfo& to, std::size_t count)
{
    return lead(user) + " replayed " + std::to_string(count) + " to " + nameOf(to);
}

std::string only(std::size_t count)
{
    return " only " + std::to_string(count);
}

std::optional<Comment> parse(std::string_view line)
{
    if (!line.starts_with("# "))
        return std::nullopt;
    const auto split = splitWords(line.substr(2));
    const Words* const words = std::get_if<Words>(&split);
    if (words == nullptr)
        return std::nullopt;
    if (words->size() == 2 && words->front() == "boot")
        return Comment{Comment::Kind::BOOT, words->back(), {}, 0};
    if (words->size() <= wordsBeforeVerb)
        return std::nullopt;
    const Rest rest = Rest(*words).subspan(wordsBeforeVerb + 1);
    if ((*words)[wordsBeforeVerb] == "to")
        return parseSending(rest);
    if ((*words)[wordsBeforeVerb] == "replayed")
        return parseReplaying(rest);
    return std::nullopt;
}

} // namespace Dbcsi::JournalText
