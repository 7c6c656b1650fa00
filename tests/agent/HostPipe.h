// HostPipe.h: the host's pipe under the name that it has in the product, and the bytes that go over it.
// Test programs that use it share the ctest RESOURCE_LOCK host-pipe.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/PipeServer.h"

namespace tests
{
/// No host, until it is started.
class HostPipe
{
public:
    /// The host comes, or comes again, with these answers; the last one stands for the rest.
    support::PipeServer& start(std::vector<support::PipeReply> replies = {support::PipeReply::text("ack")})
    {
        support::PipeServerOptions options;
        options.name = L"CorvenaLinkwell";
        options.replies = std::move(replies);
        return m_server.emplace(std::move(options));
    }

private:
    std::optional<support::PipeServer> m_server;
};

/// Bytes from their hexadecimal form with blanks, such as "00 0A".
inline std::string bytesOf(std::string_view hex)
{
    std::string bytes;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 3)
        bytes += static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16));
    return bytes;
}

/// A request as it goes over the pipe: the text's length in four bytes, and the text in UTF-8.
inline std::string request(std::string_view text)
{
    std::string bytes;
    for (const unsigned shift : {24u, 16u, 8u, 0u})
        bytes += static_cast<char>(text.size() >> shift & 0xFF);
    return bytes + std::string(text);
}

/// What is thrown when the host does not acknowledge, or isn't there.
inline constexpr const wchar_t* refused = L"Unable to send data through ipc channel";
/// The line in the log when there is no host.
inline const std::string noPipe = "NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, "
                                  "createNew=0, error=0x2";
} // namespace tests
