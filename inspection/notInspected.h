#ifndef VARNIX_INSPECTION_NOTINSPECTED_H
#define VARNIX_INSPECTION_NOTINSPECTED_H

#include <stdexcept>
#include <string>

namespace Varnix::Inspection {

/** A process cannot be looked at. The text says why and, where something helps, what. */
class NotInspected : public std::runtime_error
{
public:
    enum class Reason
    {
        GONE,           ///< it has ended
        NOT_PERMITTED,  ///< the host does not let this user look
        NO_REGISTRY,    ///< it does not use the library, or not yet, or no longer
        UNKNOWN_LAYOUT, ///< its library is of a release that this one does not know
        UNSETTLED       ///< what was to be read changed each time
    };

    NotInspected(Reason reason, const std::string& text)
        : std::runtime_error(text), m_reason(reason)
    {
    }

    Reason reason() const noexcept { return m_reason; }

private:
    Reason m_reason;
};

} // namespace Varnix::Inspection

#endif
