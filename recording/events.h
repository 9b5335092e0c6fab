#ifndef VARNIX_RECORDING_EVENTS_H
#define VARNIX_RECORDING_EVENTS_H

#include <span>
#include <string>
#include <string_view>

namespace Varnix::Recording {

/** A text that the library traces, and what an operator does about it. */
struct EventText
{
    std::string_view event;
    /** What varies is in braces: "Size of Db: {BYTES}". */
    std::string_view text;
    /** Empty where the text says it all. */
    std::string_view meaning;
    /** Empty where there is nothing to do. May name what varies, in braces as in the text. */
    std::string_view advice;
};

/** Every text that the library traces, in the order of docs/trace-events.md. */
std::span<const EventText> eventTexts() noexcept;

/** The entry that the message is an example of; nullptr where there is none. */
const EventText* findEventText(std::string_view event, std::string_view message);

/** What to do about the message, with what varies put in; empty where there is nothing. */
std::string adviceFor(std::string_view event, std::string_view message);

} // namespace Varnix::Recording

#endif
