#include "control.h"

#include "packet.h"

namespace Dbcsi {
namespace {

PacketReader afterNumber(std::span<const std::byte> message)
{
    PacketReader reader(message);
    reader.word();
    return reader;
}

/** A count of things of at least `size` bytes each that are still to come. */
std::uint32_t countOf(PacketReader& reader, std::size_t size)
{
    const std::uint32_t count = reader.word();
    if (count > reader.left() / size)
        throw MalformedMessage();
    return count;
}

} // namespace

std::vector<std::byte> encode(const WriteRequest& request)
{
    PacketWriter writer;
    writer.word(DBCSI_CONTROL_WRITE_REQ).word(request.version).word(request.reference);
    writer.word(static_cast<std::uint32_t>(request.words.size()));
    for (const std::string& word : request.words)
        writer.text(word);
    return writer.done();
}

std::vector<std::byte> encode(const WriteConfirmation& confirmation)
{
    PacketWriter writer;
    writer.word(DBCSI_CONTROL_WRITE_CFM).word(confirmation.reference);
    writer.word(static_cast<std::uint32_t>(confirmation.receivers.size()));
    for (const Receiver& receiver : confirmation.receivers) {
        writer.word(static_cast<std::uint32_t>(receiver.process)).longWord(receiver.startTime);
        writer.longWord(receiver.writes).word(static_cast<std::uint32_t>(receiver.outcome));
        writer.word(receiver.connection).longWord(receiver.connectionWrites);
    }
    for (const Receiver& receiver : confirmation.receivers)
        writer.text(receiver.command);
    return writer.done();
}

std::vector<std::byte> encode(const WriteRejection& rejection)
{
    PacketWriter writer;
    writer.word(DBCSI_CONTROL_WRITE_REJ).word(rejection.reference);
    writer.word(static_cast<std::uint32_t>(rejection.refusal)).text(rejection.text);
    return writer.done();
}

WriteRequest decodeRequest(std::span<const std::byte> message)
{
    PacketReader reader = afterNumber(message);
    WriteRequest request{reader.word(), reader.word(), {}};
    for (std::uint32_t left = countOf(reader, 1); left > 0; --left)
        request.words.push_back(reader.text());
    return request;
}

WriteConfirmation decodeConfirmation(std::span<const std::byte> message)
{
    PacketReader reader = afterNumber(message);
    WriteConfirmation confirmation{reader.word(), {}};
    for (std::uint32_t left = countOf(reader, controlReceiverSize); left > 0; --left) {
        const auto process = static_cast<std::int32_t>(reader.word());
        const std::uint64_t startTime = reader.longWord();
        const std::uint64_t writes = reader.longWord();
        const ControlOutcome outcome{reader.word()};
        const std::uint32_t connection = reader.word();
        confirmation.receivers.push_back(
            {process, startTime, writes, outcome, {}, connection, reader.longWord()});
    }
    for (Receiver& receiver : confirmation.receivers)
        receiver.command = reader.text();
    return confirmation;
}

WriteRejection decodeRejection(std::span<const std::byte> message)
{
    PacketReader reader = afterNumber(message);
    const std::uint32_t reference = reader.word();
    const ControlRefusal refusal{reader.word()};
    return {reference, refusal, reader.text()};
}

} // namespace Dbcsi
