#include "journal.h"

#include "mailbox.h"
#include "wordSplitter.h"
#include "writeIndication.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <variant>

#include <pwd.h>
#include <unistd.h>

namespace Dbcsi {
namespace {

std::string userName()
{
    const passwd* const entry = ::getpwuid(::geteuid());
    return entry != nullptr ? entry->pw_name : std::to_string(::geteuid());
}

} // namespace

Journal::Journal(const std::string& path) : m_file(path), m_user(userName()), m_boot(bootId())
{
    read(m_file.content());
    if (m_bootOf != m_boot)
        m_history.forgetProcesses();
}

void Journal::begin(const Words& words, const std::vector<ProcessInfo>& to)
{
    m_file.append({}); // what is still owed stays, whatever becomes of this
    const off_t before = m_file.size();
    m_history.add(words);
    try {
        m_receivers = to;
        m_file.append(bootLine() + quoteWords(words) + '\n');
        m_file.sync();
        m_file.append(JournalText::sending(m_user, to));
    } catch (...) {
        m_history.removeLast();
        m_file.cutTo(before);
        throw;
    }
    m_bootOf = m_boot;
}

void Journal::end(const std::vector<ProcessId>& except)
{
    m_file.endLine(except.empty() ? std::string() : JournalText::except(except));
    for (const ProcessInfo& process : m_receivers)
        if (std::find(except.begin(), except.end(), process.id) == except.end())
            m_history.had(process.id, m_history.size() - 1);
}

std::vector<Words> Journal::missing(const ProcessId& process) const
{
    std::vector<Words> writes;
    for (const std::size_t index : m_history.missing(process))
        writes.push_back(m_history.at(index));
    return writes;
}

void Journal::beginReplay(const ProcessInfo& to, std::size_t count)
{
    m_receivers = {to};
    m_count = count;
    m_file.append(bootLine() + JournalText::replaying(m_user, to, count));
    m_bootOf = m_boot;
}

void Journal::endReplay(std::size_t count)
{
    m_file.endLine(count == m_count ? std::string() : JournalText::only(count));
    m_history.hadFirstMissing(m_receivers.front().id, count);
}

std::string Journal::bootLine() const
{
    return m_bootOf == m_boot ? std::string() : JournalText::boot(m_boot) + '\n';
}

void Journal::read(const std::string& content)
{
    std::size_t number = 1;
    std::size_t begin = 0;
    for (std::size_t end = content.find('\n'); end != std::string::npos;
         end = content.find('\n', begin)) {
        readLine(std::string_view(content).substr(begin, end - begin), number++);
        begin = end + 1;
    }
    if (begin < content.size())
        readLastLine(std::string_view(content).substr(begin), number);
}

void Journal::readLine(std::string_view line, std::size_t number)
{
    if (const auto comment = JournalText::parse(line))
        readComment(*comment);
    else
        readWrite(line, number);
}

void Journal::readWrite(std::string_view line, std::size_t number)
{
    auto split = splitWords(line);
    if (const auto* error = std::get_if<SplitError>(&split)) {
        warn(number, error->column, error->text + "; the line is ignored");
        m_afterWrite = false;
        return;
    }
    Words& words = std::get<Words>(split);
    if (words.empty())
        return;
    m_afterWrite = words.size() >= fewestUsefulWords &&
                   encodeWriteIndication(words).size() <= Mailbox::largestMessage;
    if (m_afterWrite)
        m_history.add(std::move(words));
    else
        warn(number, 1, "a write has at least 4 words, and fits into a message; this is ignored");
}

void Journal::readComment(const JournalText::Comment& comment)
{
    switch (comment.kind) {
    case JournalText::Comment::Kind::BOOT:
        if (std::exchange(m_bootOf, comment.boot) != comment.boot)
            m_history.forgetProcesses();
        break;
    case JournalText::Comment::Kind::SENT:
        if (std::exchange(m_afterWrite, false))
            for (const ProcessInfo& process : comment.processes)
                m_history.had(process.id, m_history.size() - 1);
        break;
    case JournalText::Comment::Kind::REPLAYED:
        m_history.hadFirstMissing(comment.processes.front().id, comment.count);
        break;
    }
}

/** A line without its end: its server ended before that, within a sending or within the line. */
void Journal::readLastLine(std::string_view line, std::size_t number)
{
    const auto comment = JournalText::parse(line);
    if (!comment || comment->kind == JournalText::Comment::Kind::BOOT) {
        warn(number, 1, "an incomplete last line is ignored");
        m_file.cutTo(m_file.size() - static_cast<off_t>(line.size()));
        return;
    }
    for (const ProcessInfo& process : comment->processes)
        warn(number, 1,
             "the server ended while it sent: " + process.text() + " may not have had " +
                 (comment->kind == JournalText::Comment::Kind::SENT
                      ? "the last write"
                      : "its last " + std::to_string(comment->count) + " writes"));
    readComment(*comment);
    m_file.endLine({});
}

void Journal::warn(std::size_t number, std::size_t column, const std::string& text) const
{
    static_cast<void>(std::fprintf(stderr, "%s:%zu:%zu: warning: %s\n", m_file.path().c_str(),
                                   number, column, text.c_str()));
}

} // namespace Dbcsi
