/**
 * Judges a node of any files: a configuration, a schema, a production database and one more, one
 * after the other in the input. It always comes to a verdict, to the same one again, and finds no
 * difference to itself; whatever it says fits on a line.
 *
 * A database that can be read as a text source is built from it, so that most of them are valid.
 */
#include "dbfile/shown.h"
#include "dbfile/sourceParser.h"
#include "schema/parser.h"
#include "target.h"
#include "tools/varnix/fileCache.h"
#include "tools/varnix/nodeAudit.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace Varnix;
using Fuzz::require;

/** A node's directory in memory, below one that holds it as the same node before. */
class NodeFiles
{
public:
    NodeFiles()
    {
        std::string name = "/dev/shm/varnix-fuzz-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no directory in /dev/shm");
        m_parent = name;
        fs::create_directory(node());
    }
    ~NodeFiles()
    {
        std::error_code error;
        fs::remove_all(m_parent, error);
    }
    NodeFiles(const NodeFiles&) = delete;
    NodeFiles& operator=(const NodeFiles&) = delete;

    fs::path node() const { return m_parent / "node"; }
    const fs::path& parent() const noexcept { return m_parent; }

    void write(const char* name, std::string_view content) const
    {
        std::ofstream file(node() / name, std::ios::binary);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

private:
    fs::path m_parent;
};

/** Cuts what is before the next line of dashes off the input. */
std::string_view cutPart(std::string_view& rest)
{
    constexpr std::string_view mark = "\n--\n";
    const std::size_t end = rest.find(mark);
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + mark.size());
    return part;
}

std::string databaseOf(std::string_view text)
{
    DbFile::SourceParser parser;
    parser.parse("fuzz", text);
    return parser.errors().empty() ? encode(parser.database()) : std::string(text);
}

Schema::Schema schemaOf(std::string_view text)
{
    Schema::Parser parser;
    parser.parse("fuzz", text);
    return parser.errors().empty() ? parser.schema() : Schema::Schema();
}

void checkVerdict(const Tool::NodeVerdict& verdict)
{
    const Tool::Status status = verdict.status();
    require(status == Tool::Status::DONE || status == Tool::Status::NO ||
                status == Tool::Status::UNREADABLE || status == Tool::Status::INVALID,
            "a verdict has one of four statuses");
    require(verdict.differences.empty(), "a node does not differ from itself");
    for (const Tool::NodeFinding& finding : verdict.findings)
        require(DbFile::isShowable(describe(finding)), "a finding is a line");
    for (const Tool::NodeFailure& failure : verdict.failures)
        require(DbFile::isShowable(failure.text), "a failure is a line");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const NodeFiles files;
    std::string_view rest = Fuzz::viewOf(data, size);
    files.write("node.cfg", cutPart(rest));
    const Schema::Schema schema = schemaOf(cutPart(rest));
    files.write("production.db", databaseOf(cutPart(rest)));
    files.write("unit.db", databaseOf(rest));

    for (const bool isFound : {false, true}) {
        Tool::AuditRules rules{.configs = {}, .production = {}, .against = files.parent().string()};
        if (!isFound) {
            rules.configs = {"/node.cfg"};
            rules.production = "/production.db";
        }
        Tool::FileCache cache({schema, Schema::Coverage::CLOSED});
        const Tool::NodeAuditor auditor(rules, cache);
        const Tool::NodeVerdict verdict = auditor.judge(files.node().string());
        checkVerdict(verdict);
        const Tool::NodeVerdict again = auditor.judge(files.node().string());
        require(verdict.findings == again.findings, "the same files give the same verdict");
    }
    return 0;
}
