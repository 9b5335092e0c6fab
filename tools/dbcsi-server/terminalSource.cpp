#include "lineSource.h"

#include <cerrno>
#include <clocale>
#include <cwchar>
#include <exception>
#include <iostream>
#include <utility>

#include <histedit.h>
#include <unistd.h>

namespace Dbcsi {
namespace {

constexpr int historySize = 1000;

char* prompt(EditLine* /*editor*/)
{
    static char text[] = "dbcsi> ";
    return text;
}

struct EndEditor
{
    void operator()(EditLine* editor) const noexcept { el_end(editor); }
};
struct EndHistory
{
    void operator()(History* lines) const noexcept { history_end(lines); }
};

} // namespace

class TerminalSource::Editor
{
public:
    explicit Editor(const EndSignals& endSignals)
        : m_endSignals(endSignals), m_history(history_init()),
          m_editor(el_init("dbcsi-server", stdin, stdout, stderr))
    {
        if (!m_history || !m_editor)
            throw InputError("the terminal cannot be used for editing");
        HistEvent event{};
        history(m_history.get(), &event, H_SETSIZE, historySize);
        history(m_history.get(), &event, H_SETUNIQUE, 1);
        el_set(m_editor.get(), EL_CLIENTDATA, this);
        el_set(m_editor.get(), EL_GETCFN, &Editor::giveCharacter);
        el_set(m_editor.get(), EL_PROMPT, &prompt);
        el_set(m_editor.get(), EL_HIST, &history, m_history.get());
        el_set(m_editor.get(), EL_EDITOR, "emacs");
        el_set(m_editor.get(), EL_SIGNAL, 1); // a resized or resumed terminal is drawn anew
    }

    std::optional<std::string> next()
    {
        // Otherwise only after the prompt: keys pressed in between would be lost on the way.
        el_set(m_editor.get(), EL_PREP_TERM, 1);
        int length = 0;
        const char* line = el_gets(m_editor.get(), &length);
        if (m_error)
            std::rethrow_exception(std::exchange(m_error, nullptr));
        if (line == nullptr || length <= 0) {
            std::cout << std::endl; // whatever comes next begins a line
            return std::nullopt;
        }
        std::string text(line, static_cast<std::size_t>(length));
        if (text.ends_with('\n'))
            text.pop_back();
        if (text.find_first_not_of(" \t") != std::string::npos) {
            HistEvent event{};
            history(m_history.get(), &event, H_ENTER, text.c_str());
        }
        return text;
    }

private:
    /** For the editor, through which nothing is thrown. */
    static int giveCharacter(EditLine* editor, wchar_t* character) noexcept
    {
        Editor* self = nullptr;
        el_get(editor, EL_CLIENTDATA, &self);
        try {
            return self->readCharacter(*character);
        } catch (...) {
            self->m_error = std::current_exception();
            return -1;
        }
    }

    /** Reads one character, whole; 0 at the end of input or when the end is signalled. */
    int readCharacter(wchar_t& character) const
    {
        std::mbstate_t state{};
        for (;;) {
            char byte = 0;
            if (m_endSignals.waitFor(STDIN_FILENO) == EndSignals::Wait::ENDED)
                return 0;
            const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0 && errno != EIO) // which says that the terminal has gone
                throw InputError::ofRead(errno);
            if (count <= 0)
                return 0;
            const std::size_t length = std::mbrtowc(&character, &byte, 1, &state);
            if (length == static_cast<std::size_t>(-1))
                state = {}; // not a character of this locale: the next byte begins one
            else if (length != static_cast<std::size_t>(-2))
                return 1;
        }
    }

    const EndSignals& m_endSignals;
    std::exception_ptr m_error;
    std::unique_ptr<History, EndHistory> m_history;
    std::unique_ptr<EditLine, EndEditor> m_editor;
};

TerminalSource::TerminalSource(const EndSignals& endSignals)
{
    static_cast<void>(std::setlocale(LC_CTYPE, ""));
    m_editor = std::make_unique<Editor>(endSignals);
}

TerminalSource::~TerminalSource() = default;

std::optional<std::string> TerminalSource::next()
{
    return m_editor->next();
}

} // namespace Dbcsi
