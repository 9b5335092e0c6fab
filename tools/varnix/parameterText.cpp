#include "parameterText.h"

#include "dbfile/sourceLine.h"
#include "dbfile/sourceValue.h"
#include "dbfile/types.h"

namespace Varnix::Tool {

std::string keyText(const std::string& key)
{
    return DbFile::isPlainKey(key) ? key : DbFile::quoted(key);
}

std::string valueText(const DbFile::Value& value)
{
    return value.type == DbFile::undefinedType ? "empty, without a type"
                                               : DbFile::printValue(value.type, value.data);
}

} // namespace Varnix::Tool
