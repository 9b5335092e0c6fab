#ifndef VARNIX_DBFILE_SOURCEVALUE_H
#define VARNIX_DBFILE_SOURCEVALUE_H

#include "dbfile/sourceLine.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Varnix::DbFile {

/** A type as a text source gives it: by its name, or by its number and then without elements. */
struct SourceType
{
    std::uint8_t number = 0;
    bool named = false;
};

/** Throws LineError when the token is no type. */
SourceType readType(const Token& token);

/** The data of a value of this type. Throws LineError at the token that is wrong. */
std::string readData(const SourceType& type, std::span<const Token> values);

/** The bytes that hex pairs stand for. Throws LineError. */
std::string readHexBytes(std::span<const Token> pairs);

/** "TYPE VALUES", which readType() and readData() turn back into the same type and data. */
std::string printValue(std::uint8_t type, std::string_view data);

} // namespace Varnix::DbFile

#endif
