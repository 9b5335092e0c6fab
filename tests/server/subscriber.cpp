/*
 * A subscriber for the tests: follows the subscription server for ever and tells on standard output
 * what happens to it, a line each. A write's words stand in brackets. SIGUSR1 has it execute itself
 * anew. With an argument it stops when it has asked for its first subscription.
 */
#include "dbcsiMessages.h"
#include "mailbox.h"

#include <csignal>
#include <iostream>
#include <string>
#include <utility>

#include <unistd.h>

namespace {

using namespace Dbcsi;

bool stopsOnceSubscribing = false;

void tell(const std::string& text)
{
    std::cout << text << std::endl;
}

void locate()
{
    itc_msg* message = Mailbox::allocate(4, DBCSI_LOCATE_IND).release();
    __itc_locate_async(serverMailboxName, &message, ITC_MY_MBOX_ID, "", 0);
}

void connect(std::uint32_t server)
{
    Mailbox::monitor(server, Mailbox::allocate(sizeof(ServerDownInd), DBCSI_SERVER_DOWN_IND));
    auto request = Mailbox::allocate(connEstablishReqSize(1), DBCSI_CONN_ESTABLISH_REQ);
    Mailbox::setWordAt(request, offsetof(ConnEstablishReq, one), 1);
    Mailbox::setWordAt(request, offsetof(ConnEstablishReq, alsoOne), 1);
    Mailbox::setWordAt(request, offsetof(ConnEstablishReq, versionCount), 1);
    Mailbox::setWordAt(request, offsetof(ConnEstablishReq, versions), protocolVersion);
    Mailbox::send(std::move(request), server);
}

void subscribe(const Mailbox::Message& confirmation)
{
    auto request = Mailbox::allocate(sizeof(SubscribeReq), DBCSI_SUBSCRIBE_REQ);
    Mailbox::setWordAt(request, offsetof(SubscribeReq, one), 1);
    Mailbox::setWordAt(request, offsetof(SubscribeReq, serverRef),
                       Mailbox::wordAt(confirmation, offsetof(ConnEstablishCfm, serverRef)));
    Mailbox::send(std::move(request), Mailbox::senderOf(confirmation));
    if (std::exchange(stopsOnceSubscribing, false))
        std::raise(SIGSTOP);
}

void tellWrite(const Mailbox::Message& indication)
{
    const char* word = reinterpret_cast<const char*>(indication.get()) + dbWriteIndArgvOffset;
    std::string text = "write";
    for (auto left = Mailbox::wordAt(indication, offsetof(DbWriteInd, argc)); left > 0; --left) {
        const std::string copy = word;
        text += " [" + copy + "]";
        word += copy.size() + 1;
    }
    tell(text);
}

void handle(const Mailbox::Message& message)
{
    switch (message->msgno) {
    case DBCSI_LOCATE_IND:
        connect(Mailbox::senderOf(message));
        break;
    case DBCSI_CONN_ESTABLISH_CFM:
        subscribe(message);
        break;
    case DBCSI_CONN_ESTABLISH_REJ:
        tell("connection rejected");
        break;
    case DBCSI_SUBSCRIBE_CFM:
        tell("subscribed");
        break;
    case DBCSI_SUBSCRIBE_REJ:
        tell("subscription rejected");
        break;
    case DBCSI_SERVER_DOWN_IND:
        tell("server down");
        locate();
        break;
    case DBCSI_DBWRITE_IND:
        tellWrite(message);
        break;
    default:
        tell("unknown message");
    }
}

char** commandLine = nullptr;

void executeAnew(int)
{
    ::execv(commandLine[0], commandLine);
    ::_exit(1);
}

} // namespace

int main(int argc, char** argv)
{
    commandLine = argv;
    stopsOnceSubscribing = argc > 1;
    std::signal(SIGUSR1, executeAnew);
    if (!Mailbox::initialise(1) ||
        Mailbox::create((subscriberMailboxPrefix + std::to_string(::getpid())).c_str()) ==
            ITC_NO_MBOX_ID)
        return 1;
    locate();
    for (;;)
        if (const Mailbox::Message message = Mailbox::receive(std::chrono::hours(1)))
            handle(message);
}
