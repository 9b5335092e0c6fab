#ifndef VARNIX_DATABASEIF_H
#define VARNIX_DATABASEIF_H

#include <cstdint>
#include <string>
#include <vector>

#include <varnix/export.h>

namespace Varnix {
namespace V1 {

/**
 * The parameters of one component: what its database files hold, with the node's production
 * database in front of them.
 *
 * A handle comes from DbRegistryIf::initDb. A read asks the production database first and the
 * component's own database only when the production database does not hold the key. A key that the
 * production database holds with another type hides the component's: the read returns
 * TYPE_MISMATCH.
 *
 * Threads: any number may read through one handle at the same time. Operators change values while
 * the process runs; a read gives a value as it was before or after such a change, never a mixture.
 * Two reads are not one step: a write may come between them. Reads never wait for the server that
 * brings the writes.
 *
 * Lifetime: dropping the last reference to a handle makes the registry forget the database. The
 * values that were read are the caller's own copies.
 *
 * Errors: a read reports by its result alone. It throws only std::bad_alloc, when the output cannot
 * grow, and std::system_error, when a lock cannot be taken.
 *
 * Outputs: after OK the output holds the value and nothing of its earlier content; it may be
 * empty. After any other result it is untouched, except in the word-list read, which empties it.
 * After std::bad_alloc it may have been emptied. A read allocates nothing where the output has room
 * for the value; the word-list read always does.
 *
 * Keys are compared byte for byte, case and the leading "/" included.
 */
class VARNIX_EXPORT DatabaseIf
{
public:
    /** The result of a read. */
    enum class RetCode
    {
        /** The key was found with the type of the read; the output holds its value. */
        OK = 0,
        /** Neither the production database nor the component's holds the key. */
        KEY_NOT_FOUND = 1,
        /**
         * The key exists, with another type than the one asked for, or without a type because no
         * file gives it a byte; nothing is converted.
         */
        TYPE_MISMATCH = 2
    };

    /** Reads all elements of a U32 parameter. */
    virtual RetCode get(const std::string& key, std::vector<std::uint32_t>& values) const = 0;

    /** Reads all elements of a U16 parameter. */
    virtual RetCode get(const std::string& key, std::vector<std::uint16_t>& values) const = 0;

    /** Reads all elements of a U8 parameter. */
    virtual RetCode get(const std::string& key, std::vector<std::uint8_t>& values) const = 0;

    /** Reads all elements of an S32 parameter. */
    virtual RetCode get(const std::string& key, std::vector<std::int32_t>& values) const = 0;

    /** Reads all elements of an S16 parameter. */
    virtual RetCode get(const std::string& key, std::vector<std::int16_t>& values) const = 0;

    /** Reads all elements of an S8 parameter. */
    virtual RetCode get(const std::string& key, std::vector<std::int8_t>& values) const = 0;

    /**
     * Reads a CHAR parameter as its words: the runs of characters between blanks, in order.
     * `words` is empty after KEY_NOT_FOUND and TYPE_MISMATCH.
     */
    virtual RetCode get(const std::string& key, std::vector<std::string>& words) const = 0;

    /** Reads a CHAR parameter as one text, blanks and NUL bytes included. */
    virtual RetCode get(const std::string& key, std::string& text) const = 0;

    virtual ~DatabaseIf();
};

} // namespace V1
} // namespace Varnix

#endif
