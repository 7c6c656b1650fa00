// IPCClient.h: delivers one text message to the host.
//
// On the wire: the length of the text in bytes, 32 bits, most significant byte first; then the text in UTF-8, with
// neither byte order mark nor terminator; both in one write. The host answers with the three bytes "ack".
#pragma once

#include <string>

#include "utilities/noncopyable.h"

/// One object and one connection for each message. Used by the worker; blocks until the host has answered.
class IPCClient : private utilities::noncopyable
{
public:
    IPCClient() = default;
    virtual ~IPCClient() = default;

    /// Connects to the host's pipe, sends the text and reads the answer. True when the host has acknowledged the
    /// message, and for an empty text, with which nothing is written, when it could be reached. NamedPipe logs
    /// failures; an answer other than "ack" (settled behaviour 4) is not logged. Throws for 4 GB of text and more only.
    bool send(const std::wstring& text);
};
