#ifndef VARNIX_DBCSI_SERVER_COMPLAIN_H
#define VARNIX_DBCSI_SERVER_COMPLAIN_H

#include <iostream>
#include <string>

namespace Dbcsi {

/** One line on standard error, whole even when both threads have something to say. */
inline void complain(const std::string& text)
{
    std::cerr << "dbcsi-server: " + text + '\n';
}

} // namespace Dbcsi

#endif
