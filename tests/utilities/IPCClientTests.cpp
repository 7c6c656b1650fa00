#include "utilities/IPCClient.h"

#include <type_traits>

#include <gmock/gmock.h>

#include "tests/support/HeapWatch.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "tests/support/pipe/PipeServer.h"

namespace
{
using support::PipeReply;
using support::PipeServer;
using support::PipeServerOptions;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_base_of_v<utilities::noncopyable, IPCClient>);
static_assert(std::has_virtual_destructor_v<IPCClient>);
static_assert(sizeof(IPCClient) == sizeof(void*)); // no fields

PipeServerOptions host(std::vector<PipeReply> replies = {PipeReply::text("ack")})
{
    return {.name = L"CorvenaLinkwell", .replies = std::move(replies)};
}

/// Bytes written as in "00 00 01 2C".
std::string bytesOf(std::string_view hexadecimal)
{
    std::string bytes;
    for (std::size_t i = 0; i < hexadecimal.size(); i += 3)
        bytes += static_cast<char>(std::stoi(std::string(hexadecimal.substr(i, 2)), nullptr, 16));
    return bytes;
}

class IPCClientTest : public testing::Test
{
protected:
    const support::ScopedLog m_log;
};

// ---- What is written -----------------------------------------------------------------------------------------------

TEST_F(IPCClientTest, WritesAFolderDeletionByteForByte)
{
    PipeServer server(host());
    EXPECT_TRUE(IPCClient().send(L"2;delete;folder;0;1\n00000000E5F60718"));
    const std::string request = bytesOf("00 00 00 24 32 3B 64 65 6C 65 74 65 3B 66 6F 6C 64 65 72 3B 30 3B 31 0A "
                                        "30 30 30 30 30 30 30 30 45 35 46 36 30 37 31 38");
    ASSERT_EQ(request.size(), 40u);
    EXPECT_THAT(server.requests(), ElementsAre(request));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(IPCClientTest, WritesTheLengthMostSignificantByteFirst)
{
    PipeServer server(host());
    EXPECT_TRUE(IPCClient().send(std::wstring(300, L'x')));
    EXPECT_TRUE(IPCClient().send(std::wstring(0x010203, L'y')));
    EXPECT_THAT(server.requests(), ElementsAre(bytesOf("00 00 01 2C") + std::string(300, 'x'),
                                               bytesOf("00 01 02 03") + std::string(0x010203, 'y')));
}

TEST_F(IPCClientTest, CountsBytesAndNotCharacters)
{
    PipeServer server(host());
    EXPECT_TRUE(IPCClient().send(L"\xD83D\xDE00"));
    EXPECT_TRUE(IPCClient().send(L"\u00c5sa\u20ac"));
    EXPECT_THAT(server.requests(),
                ElementsAre(bytesOf("00 00 00 04 F0 9F 98 80"), bytesOf("00 00 00 07 C3 85 73 61 E2 82 AC")));
}

TEST_F(IPCClientTest, WritesTheRequestByOneCall)
{
    PipeServer server(host());
    std::vector<DWORD> sizes;
    const auto hook = support::hookImport<"WriteFile">(
        WriteFile,
        [&](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            if (overlapped == nullptr) // the server's has one
                sizes.push_back(size);
            return original(file, data, size, written, overlapped);
        });
    EXPECT_TRUE(IPCClient().send(std::wstring(100000, L'x')));
    EXPECT_THAT(sizes, ElementsAre(100004u));
}

TEST_F(IPCClientTest, HoldsTheTextOnceInUtf8AndNoMoreOfIt)
{
    PipeServer server(host());
    const std::wstring text(1'000'000, L'x');
    const support::HeapWatch heap;
    EXPECT_TRUE(IPCClient().send(text));
    EXPECT_THAT(heap.peak(), testing::AllOf(testing::Ge(1'000'004), testing::Le(1'010'000)));
}

TEST_F(IPCClientTest, MakesAConnectionForEachMessage)
{
    PipeServer server(host());
    IPCClient client;
    EXPECT_TRUE(client.send(L"one"));
    EXPECT_TRUE(server.waitForClients(1)); // closed when the call returned
    EXPECT_TRUE(client.send(L"two"));
    EXPECT_TRUE(server.waitForClients(2));
}

TEST_F(IPCClientTest, WritesNothingForAnEmptyText)
{
    PipeServer server(host());
    EXPECT_TRUE(IPCClient().send(L""));
    EXPECT_TRUE(server.waitForClients(1));
    EXPECT_THAT(server.requests(), IsEmpty());
}

// ---- What is answered ----------------------------------------------------------------------------------------------

TEST_F(IPCClientTest, TakesNothingButAckForAnAcknowledgement)
{
    for (const std::string& reply : {std::string("ACK"), std::string("Ack"), std::string("ack\0", 4),
                                     std::string("ack "), std::string("ackack"), std::string("ac"), std::string("nak"),
                                     std::string("\0\0\0\3ack", 7), std::string(64, 'a'), std::string(200, 'a')})
    {
        PipeServer server(host({PipeReply::text(reply)}));
        EXPECT_FALSE(IPCClient().send(L"text")) << testing::PrintToString(reply);
        EXPECT_THAT(server.requests(), testing::SizeIs(1));
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(IPCClientTest, FailsWithoutAHostAlsoForAnEmptyText)
{
    EXPECT_FALSE(IPCClient().send(L"text"));
    EXPECT_FALSE(IPCClient().send(L""));
    const std::string line =
        "NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, createNew=0, error=0x2";
    EXPECT_THAT(m_log.lines(), ElementsAre(line, line));
}
} // namespace
