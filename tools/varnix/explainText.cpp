#include "dbfile/shown.h"
#include "explainPrint.h"
#include "parameterText.h"
#include "terminal.h"

#include <algorithm>
#include <iostream>
#include <set>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

constexpr const char* productionName = "production";

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text.append(text.empty() ? "" : " ").append(DbFile::shown(word));
    return text;
}

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

/** Prints the parts of an explanation one after the other. */
class TextPrinter
{
public:
    explicit TextPrinter(const Explanation& explanation) : m_explanation(explanation) {}

    void printNode() const
    {
        std::cout << heading("Production database: ");
        if (m_explanation.production)
            std::cout << DbFile::shown(m_explanation.production->file.path) << " (named by "
                      << m_explanation.production->file.variable << ")\n";
        else
            std::cout << "none: " << m_explanation.noProduction.value_or("") << '\n';
        std::cout << heading("Identities: ")
                  << (m_explanation.identities.empty() ? "none" : joined(m_explanation.identities))
                  << '\n';
    }

    void printEntries() const
    {
        std::cout << '\n'
                  << heading("Entries of " + DbFile::shown(m_explanation.config) + ':') << '\n';
        for (std::size_t i = 0; i < m_explanation.entries.size(); ++i) {
            const ExplainedEntry& entry = m_explanation.entries[i];
            std::cout << "  " << i << "  " << placeText(entry.place) << "  "
                      << DbFile::shown(entry.pattern) << "  "
                      << (entry.matches.empty()
                              ? "matches nothing"
                              : m_painter.paint(Colour::GREEN, "matches " + joined(entry.matches)))
                      << '\n';
        }
    }

    /** With the file's name where it is another than the one that is explained. */
    std::string placeText(const Backend::DBUtils::ConfigText::Place& place) const
    {
        const std::string line = "line " + std::to_string(place.line);
        return place.file == m_explanation.config ? line : DbFile::shown(place.file) + ' ' + line;
    }

    void printFiles() const
    {
        std::cout << '\n' << heading("Files, the first wins:") << '\n';
        for (std::size_t i = 0; i < m_explanation.files.size(); ++i) {
            const ExplainedFile& file = m_explanation.files[i];
            if (file.selected)
                std::cout << "  " << i + 1 << "  " << DbFile::shown(file.path) << "  entry "
                          << file.listings.front().entry << repeats(file) << '\n';
        }
    }

    void printKey(const std::string& key) const
    {
        std::cout << '\n' << heading(keyText(key)) << '\n';
        std::size_t width = std::string(productionName).size();
        for (const ExplainedFile& file : m_explanation.files)
            if (file.find(key) != nullptr)
                width = std::max(width, DbFile::shown(file.path).size());
        const DbFile::StoredValue* const inProduction = m_explanation.productionStore.find(key);
        std::cout << "  " << padded(productionName, width) << "  "
                  << (inProduction == nullptr ? "-" : valueText(inProduction->value)) << '\n';
        for (const ExplainedFile& file : m_explanation.files)
            if (const DbFile::StoredValue* const found = file.find(key))
                std::cout << "  " << padded(DbFile::shown(file.path), width) << "  "
                          << valueText(found->value) << (file.selected ? "" : "  (not selected)")
                          << '\n';
        std::cout << "  => " << answerText(m_explanation.answerFor(key)) << '\n';
        if (m_explanation.held)
            printHeld(key);
    }

    void printFindings(const std::vector<NodeFinding>& findings) const
    {
        if (findings.empty())
            return;
        std::cout << '\n' << heading("Findings:") << '\n';
        for (const NodeFinding& finding : findings) {
            std::cout << describe(finding, m_painter.paint(colourOf(finding.severity),
                                                           nameOf(finding.severity)))
                      << '\n';
        }
    }

private:
    std::string heading(const std::string& text) const
    {
        return m_painter.paint(Colour::BOLD, text);
    }

    void printHeld(const std::string& key) const
    {
        const Answer answer = m_explanation.heldAnswerFor(key);
        const std::string holds = answer.kind == Answer::Kind::ABSENT
                                      ? "holds no such key"
                                      : "holds " + valueText(answer.value);
        std::cout << "  process " << m_explanation.held->process << ' '
                  << (m_explanation.differs(key) ? m_painter.paint(Colour::YELLOW, holds) : holds)
                  << '\n';
    }

    /** The entries that match and list the file again. */
    std::string repeats(const ExplainedFile& file) const
    {
        std::set<std::size_t> entries;
        for (std::size_t i = 1; i < file.listings.size(); ++i)
            if (!m_explanation.entries[file.listings[i].entry].matches.empty())
                entries.insert(file.listings[i].entry);
        std::string text;
        for (const std::size_t entry : entries)
            text.append(text.empty() ? ", again in entry " : ", entry ")
                .append(std::to_string(entry));
        return text;
    }

    std::string answerText(const Answer& answer) const
    {
        const std::string source = answer.fromProduction ? "the production database"
                                   : m_explanation.files.empty()
                                       ? ""
                                       : DbFile::shown(m_explanation.files[answer.file].path);
        switch (answer.kind) {
        case Answer::Kind::NO_DATABASE:
            return "a client gets no database: a selected file cannot be used";
        case Answer::Kind::ABSENT:
            return "a client finds no such key";
        case Answer::Kind::MISMATCH:
            return "a client gets a type mismatch from every read: in " + source + " it is " +
                   valueText(answer.value);
        default:
            return "a client gets " + valueText(answer.value) + " from " + source +
                   (answer.hiddenType ? ", and a type mismatch when it reads the components' type"
                                      : "");
        }
    }

    const Explanation& m_explanation;
    const Painter m_painter{STDOUT_FILENO};
};

} // namespace

void printText(const Explanation& explanation, const std::vector<std::string>& keys,
               const std::vector<NodeFinding>& findings)
{
    const TextPrinter printer(explanation);
    printer.printNode();
    printer.printEntries();
    printer.printFiles();
    for (const std::string& key : keys)
        printer.printKey(key);
    printer.printFindings(findings);
}

} // namespace Varnix::Tool
