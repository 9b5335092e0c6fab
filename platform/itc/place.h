#ifndef VARNIX_PLATFORM_ITC_PLACE_H
#define VARNIX_PLATFORM_ITC_PLACE_H

/** The directory of the mailboxes as the file system has it: who may use it, what is in it. */

#include "descriptor.h"

#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <sys/un.h>

namespace Itc {

class Place
{
public:
    /** The one that the environment names. It is not opened yet. */
    Place();

    const std::string& path() const noexcept { return m_path; }
    int descriptor() const noexcept { return m_descriptor.get(); }
    bool isOpen() const noexcept { return static_cast<bool>(m_descriptor); }

    /** Opens it, made where it is missing. Throws where it is not this user's alone. */
    void open();
    /** Throws where the process is no longer the user whose directory it is. */
    void checkUser() const;
    /** Whether a process of that user is at the other end of a connection. */
    bool isOwnUser(int connection) const noexcept;

    /** The entries that begin with one of the letters and a dash. */
    std::vector<std::string> list(std::string_view letters) const;
    /** The address of a socket in it. Throws where it has none. */
    sockaddr_un addressOf(const std::string& entry) const;
    bool remove(const std::string& entry) const noexcept;

private:
    bool isAt(const std::string& path) const noexcept;

    std::string m_path;
    Descriptor m_descriptor;
    struct stat m_status
    {
    };
};

} // namespace Itc

#endif
