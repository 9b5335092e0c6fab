#ifndef VARNIX_DBCSI_SERVER_LINESOURCE_H
#define VARNIX_DBCSI_SERVER_LINESOURCE_H

#include "endSignals.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Dbcsi {

/** Standard input cannot be read. */
class InputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;

    /** For a read that ended with an error's number. */
    static InputError ofRead(int error)
    {
        return InputError("standard input cannot be read: " +
                          std::generic_category().message(error));
    }
};

/** Where the operator's lines come from. */
class LineSource
{
public:
    virtual ~LineSource() = default;

    /** The next line without its end; nothing at the end of input or when the end is signalled. */
    virtual std::optional<std::string> next() = 0;
};

/** Standard input, as it comes. */
class PipeSource : public LineSource
{
public:
    explicit PipeSource(const EndSignals& endSignals) : m_endSignals(endSignals) {}
    std::optional<std::string> next() override;

private:
    bool readMore();

    const EndSignals& m_endSignals;
    std::string m_pending;
    bool m_atEnd = false;
};

/** The terminal, with a prompt, editing and a history that lasts as long as the server. */
class TerminalSource : public LineSource
{
public:
    explicit TerminalSource(const EndSignals& endSignals);
    ~TerminalSource() override;
    TerminalSource(const TerminalSource&) = delete;
    TerminalSource& operator=(const TerminalSource&) = delete;
    std::optional<std::string> next() override;

private:
    class Editor;
    std::unique_ptr<Editor> m_editor;
};

} // namespace Dbcsi

#endif
