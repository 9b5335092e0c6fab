#ifndef VARNIX_BENCH_NODE_H
#define VARNIX_BENCH_NODE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Varnix::Bench {

/** What a parameter of the measurements holds. */
struct Value
{
    const char* name;   ///< as the tables name it
    std::uint8_t type;  ///< as a database file numbers it
    std::size_t size;   ///< in bytes
    bool words = false; ///< text with blanks in it

    /** How many elements the bytes are; a text is one. */
    constexpr std::size_t elements() const noexcept
    {
        switch (type) {
        case 4:
        case 5:
            return size / 2;
        case 6:
        case 7:
            return size / 4;
        case 10:
            return 1;
        default:
            return size;
        }
    }
};

/** The key of parameter `i`: what a node's keys look like, 20 characters. */
std::string keyOf(std::size_t i);

/** The bytes of parameter `i`: letters, and blanks between words, so that they serve every type. */
std::string bytesOf(const Value& value, std::size_t i);

/** One named set of parameters, to be written into a database file. */
struct Parameters
{
    Value value;
    std::size_t count;
    std::size_t first = 0; ///< the number of the first, which names its key
};

/** A temporary directory with database files, its production database known to the environment. */
class Node
{
public:
    Node();
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    const std::filesystem::path& directory() const noexcept { return m_directory; }

    /** Makes the node's production database of the identity and these. */
    void writeProduction(const std::vector<Parameters>& parameters) const;

    /** Writes a database file of its own and returns its path. */
    std::string writeDatabase(const std::string& name, const Parameters& parameters) const;

    /** Writes a configuration file that lists the files; returns its path. */
    std::string writeConfig(const std::string& name, const std::vector<std::string>& files) const;

private:
    std::filesystem::path m_directory;
};

} // namespace Varnix::Bench

#endif
