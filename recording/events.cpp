#include "recording/events.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace Varnix::Recording {

namespace {

// clang-format off
constexpr EventText table[] = {
    {"INFO", "Reading Production database from {PATH}",
     "the file is there and has a header",
     ""},
    {"INFO", "Size of Db: {BYTES}",
     "the size that the header gives",
     ""},
    {"INFO", "ABN: Did not find environmental variable \"sys_uflash_prod_db_dev\", could not read production DB",
     "no database: this variable is not set, and the other one is not set either or names a file that cannot be loaded",
     "set `sys_uflash_prod_db_dev` in the process's environment"},
    {"INFO", "ABN: Failed to read the header from {PATH}",
     "shorter than a header, or not a database file of format 4",
     "`varnix check {PATH}`"},
    {"INFO", "ABN: Corrupted Production(calibration) Data Base. Calculated checksum does not match stored one.",
     "the file or device is damaged",
     "`varnix check` the file of the event before; write it again"},
    {"INFO", "ABN: Data Base read failed with error code {CODE}",
     "the device or file cannot be read",
     "look at the kernel's log"},
    {"ERROR", "Couldn't allocate buffer memory to load DB",
     "no memory for the size in the header",
     "`varnix check` the file of the event before: the size may be wrong"},
    {"INFO", "Initializing database from config file: {CONFIG}",
     "a client asked for a database",
     ""},
    {"INFO", "{CONFIG}: Populating db from file: {PATH}",
     "a selected file is loaded; the last of the list is loaded first",
     ""},
    {"INFO", "ABN: No matching component_id found in config file: {CONFIG}",
     "no entry's pattern matches an identity, those that match list no files, or `/componentConfigId` holds only blanks; the client gets a database without parameters of its own",
     "`varnix explain {CONFIG}`"},
    {"INFO", "ABN: Type of data is undefined for key: {KEY}",
     "a record of type 0 or with a key that lacks its \"/\"; it is skipped",
     "`varnix check` the file that is loaded"},
    {"ERROR", "Production database has not been populated",
     "it could not be loaded by this process's first `initDb`; every later one fails too",
     "correct what the first `INFO` events of the process name, restart the process"},
    {"ERROR", "The value for the \"/componentConfigId\" key not successfully extracted from the production database",
     "the production database has no `/componentConfigId`, or its type is not CHAR, or it is empty; blanks alone are no error but name no identity",
     "give the production database a `/componentConfigId` of type CHAR"},
    {"ERROR", "Failed to load and parse configuration file: {CONFIG}",
     "the event before says why, see the next table",
     "correct what the event before names"},
    {"ERROR", "Failed to load and parse file: {PATH}",
     "a selected file cannot be used, and the client gets no database; the event before says why, or a record does not end inside the file",
     "`varnix check {PATH}`"},
    {"INFO", "ABN: Failed opening db file {PATH}",
     "it is not there, may not be read or is a pipe",
     "correct `file_paths` or the file's rights"},
    {"INFO", "ABN: {PATH} is not a DB file, will not read it",
     "shorter than a header",
     "`varnix check {PATH}`"},
    {"INFO", "ABN: Failed to load db header from file {PATH}",
     "the header cannot be read",
     "`varnix check {PATH}`"},
    {"INFO", "ABN: Failed to read the header from {PATH}",
     "not a database file of format 4",
     "`varnix check {PATH}`"},
    {"INFO", "ABN: Error loading db image from file {PATH}",
     "shorter than its header says",
     "`varnix check {PATH}`; copy it again"},
    {"INFO", "ABN: Corrupted Data Base file. Calculated checksum does not match stored one.",
     "the file that the event before names is damaged",
     "`varnix check` the file of the event before; copy it again"},
    {"ERROR", "Failed to allocate memory buffer for db file {PATH}",
     "no memory for the size in the header",
     "`varnix check {PATH}`: the size may be wrong"},
    {"ERROR", "Failed to allocate memory for parsed value",
     "memory ran out while a value was loaded or written",
     "free memory"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line 0: file I/O error",
     "",
     "correct the path or its rights: `{CONFIG}` cannot be opened or read"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: file I/O error",
     "",
     "correct the path of the `@include` on that line, or its rights"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: cannot open include file",
     "",
     "correct the path of the `@include` on that line, or its rights"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: include file nesting too deep",
     "",
     "let fewer files include each other: varnix-config(5) has the limit"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: file too large",
     "",
     "make the file smaller: varnix-config(5) has the limit"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: settings nested too deep",
     "",
     "nest fewer settings: varnix-config(5) has the limit"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: too many settings in one group",
     "",
     "give the group fewer settings: varnix-config(5) has the limit"},
    {"ERROR", "Error when attempting to read file: {CONFIG} Error on line {LINE}: {REASON}",
     "",
     "correct line {LINE} of `{CONFIG}`"},
    {"ERROR", "Failed to find varnix.component_versions in configuration file: {CONFIG}",
     "",
     "add the group `varnix` with its list `component_versions`"},
    {"ERROR", "Failed to get element number {N} in varnix.component_versions list in configuration file: {CONFIG}",
     "",
     "make the element a group, `{ … }`"},
    {"ERROR", "Failed to get non-null component_id for element number {N} in varnix.component_versions list in configuration file: {CONFIG}",
     "",
     "make the element a group, `{ … }`, with a `component_id` that is a text"},
    {"ERROR", "Failed to get non-null revision for element number {N} in varnix.component_versions list in configuration file: {CONFIG}",
     "",
     "give it a `revision` that is a text, `\"1\"` and not `1`"},
    {"ERROR", "Failed to get file_paths for element number {N} in varnix.component_versions list in configuration file: {CONFIG}",
     "",
     "give it `file_paths`, which may be empty"},
    {"ERROR", "Failed to get non-null element number {M} in file_paths for element number {N} in varnix.component_versions list in configuration file: {CONFIG}",
     "",
     "make every path a text"},
    {"TRACE1", "updateDbs, key: {KEY}, append:{FLAG}, value: {TEXT}",
     "a text arrived; FLAG is 1 to append",
     ""},
    {"TRACE1", "updateDbs, key: {KEY}, index: {INDEX}, values: {LIST}",
     "numbers arrived, in LIST each with a comma after it; they are checked afterwards",
     ""},
    {"ERROR", "No value has been given.",
     "an empty text or number",
     "give a value"},
    {"ERROR", "Invalid characters in string: {TEXT}",
     "the text holds a character that is no letter, digit, underscore or blank",
     "leave them out"},
    {"ERROR", "Value too large: {NUMBER}",
     "more than ten decimal or eight hexadecimal digits",
     "write fewer digits; leading zeros count"},
    {"ERROR", "Invalid value: {TEXT}",
     "not a decimal number nor a hexadecimal one after `0x`",
     "correct the number"},
    {"ERROR", "Can not update empty key",
     "the parameter was empty before; its text is set all the same",
     ""},
    {"ERROR", "Can not update  key with datatype: {TYPE} with the string {TEXT}",
     "the parameter is no CHAR (two blanks are right)",
     "write numbers"},
    {"ERROR", "Can not update a key with datatype: {TYPE}",
     "the parameter has a type without elements",
     "correct the database file"},
    {"ERROR", "Can not update a key with {CAPACITY} values, with  {COUNT} values",
     "more numbers than the parameter has elements (two blanks are right)",
     "write fewer"},
    {"ERROR", "Index out of range: {INDEX}",
     "the last number would be after the last element",
     "write fewer or earlier"},
    {"ERROR", "Can not store the value {NUMBER} in a key with datatype: {TYPE}",
     "the number is out of the type's range; nothing of the write is stored",
     "write a number that the type holds"},
    {"ERROR", "Data type enum (TypeOfData_t) value equals: {CHARACTER}. Hence, the size will be returned as zero.",
     "the parameter's type has no element size; CHARACTER is the type's number as a character",
     "correct the database file"},
    {"INFO", "Server mailbox is not responding, trying to re-establish connection.",
     "the server ended; the library waits for the next one",
     "restart the server; nothing else is needed"},
    {"ERROR", "Connection establishment failed. The COLI subscription server did not accept the connection.",
     "the process gets no writes from now on; reads go on",
     "see why the server refuses, restart the process"},
    {"ERROR", "Subscription to db updates failed. The COLI subscription server did not accept the subscription.",
     "the process gets no writes from now on; reads go on",
     "see why the server refuses, restart the process"},
    {"ERROR", "Failed to create mailbox for db change notifications.",
     "the process gets no writes from now on: another mailbox has its name, or none can be made",
     "look at the messaging library's own messages, restart the process"},
    {"ERROR", "ITC message reception failure, can not receive notification messages.",
     "the process gets no writes from now on: the messaging library cannot be used",
     "look at the messaging library's own messages, restart the process"},
    {"ERROR", "Invalid message received: message number: {NUMBER}",
     "a message that no server sends; it is ignored",
     "find the sender"},
    {"ERROR", "ITC message DBCSI_DBWRITE_IND received without subscribing.",
     "a write came before the subscription was confirmed; it is ignored",
     "write again"},
    {"ERROR", "Invalid DBCSI_DBWRITE_IND received, argc: {COUNT}",
     "a command of fewer than four words; it is ignored",
     "`db write KEY VALUE` is the shortest"},
    {"ERROR", "DBCSI_DBWRITE_IND with invalid index: {WORD}",
     "what follows `-i` is no number, or one above 2147483647",
     "give `-i` a number"},
    {"ERROR", "DBCSI_DBWRITE_IND with invalid count: {WORD}",
     "what follows `-r` is no number, 0, or above 2147483647",
     "give `-r` a number above 0"},
    {"ERROR", "DBCSI_DBWRITE_IND with invalid number of arguments for repeat option.",
     "`-r` takes exactly one value",
     "give one value"},
    {"ERROR", "DBCSI_DBWRITE_IND could not be handled: {REASON}",
     "a number is only `-`, or memory ran out; the write is ignored",
     "correct the number, or free memory and write again"},
};
// clang-format on

/** What a message has for the names in braces. */
using Values = std::map<std::string_view, std::string_view>;

struct Match
{
    const EventText* entry = nullptr;
    std::size_t fixedSize = 0; ///< of a message that fits several entries, the most decides
    Values values;
};

/** Takes `fixed`, the text after a name, from the message; returns what it has for the name. */
std::optional<std::string_view> takeUpTo(std::string_view fixed, bool isLast,
                                         std::string_view& message)
{
    const std::size_t end = fixed.empty() ? message.size()
                            : isLast      ? message.rfind(fixed)
                                          : message.find(fixed);
    if (end == std::string_view::npos || (isLast && end + fixed.size() != message.size()))
        return std::nullopt;
    const std::string_view value = message.substr(0, end);
    message.remove_prefix(end + fixed.size());
    return value;
}

std::optional<Match> match(const EventText& entry, std::string_view message)
{
    Match result{&entry, 0, {}};
    std::string_view text = entry.text;
    const std::string_view start = text.substr(0, text.find('{'));
    if (!message.starts_with(start))
        return std::nullopt;
    message.remove_prefix(start.size());
    text.remove_prefix(start.size());
    result.fixedSize = start.size();
    while (!text.empty()) {
        const std::size_t nameEnd = text.find('}');
        const std::string_view name = text.substr(1, nameEnd - 1);
        text.remove_prefix(nameEnd + 1);
        const std::string_view fixed = text.substr(0, text.find('{'));
        text.remove_prefix(fixed.size());
        const auto value = takeUpTo(fixed, text.empty(), message);
        if (!value)
            return std::nullopt;
        result.values[name] = *value;
        result.fixedSize += fixed.size();
    }
    return message.empty() ? std::optional(std::move(result)) : std::nullopt;
}

Match bestMatch(std::string_view event, std::string_view message)
{
    // The texts about the server begin with a line feed, which the table leaves out.
    if (message.starts_with('\n'))
        message.remove_prefix(1);
    Match best;
    for (const EventText& entry : table)
        if (entry.event == event)
            if (auto found = match(entry, message); found && found->fixedSize > best.fixedSize)
                best = *std::move(found);
    return best;
}

} // namespace

std::span<const EventText> eventTexts() noexcept
{
    return table;
}

const EventText* findEventText(std::string_view event, std::string_view message)
{
    return bestMatch(event, message).entry;
}

std::string adviceFor(std::string_view event, std::string_view message)
{
    const Match found = bestMatch(event, message);
    std::string advice;
    std::string_view rest = found.entry != nullptr ? found.entry->advice : "";
    while (!rest.empty()) {
        const std::size_t open = std::min(rest.find('{'), rest.size());
        advice += rest.substr(0, open);
        rest.remove_prefix(open);
        const std::size_t close = rest.find('}');
        const auto value = found.values.find(
            rest.substr(rest.empty() ? 0 : 1, close == std::string_view::npos ? 0 : close - 1));
        if (value != found.values.end()) {
            advice += value->second;
            rest.remove_prefix(close + 1);
        } else if (!rest.empty()) {
            advice += '{';
            rest.remove_prefix(1);
        }
    }
    return advice;
}

} // namespace Varnix::Recording
