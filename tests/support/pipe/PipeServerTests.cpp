#include "tests/support/pipe/PipeServer.h"

#include <gmock/gmock.h>

#include "tests/support/Platform.h"

namespace
{
using support::PipeReply;
using support::PipeServer;
using testing::ElementsAre;

support::Handle connect(const PipeServer& server)
{
    return support::checkedFile(
        CreateFileW(server.path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
        "CreateFileW");
}

bool write(const support::Handle& pipe, const std::string& bytes)
{
    DWORD count = 0;
    return WriteFile(pipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) &&
           count == bytes.size();
}

std::string read(const support::Handle& pipe, DWORD size = 4096)
{
    std::string bytes(size, '\0');
    DWORD count = 0;
    if (!ReadFile(pipe.get(), bytes.data(), size, &count, nullptr) && GetLastError() != ERROR_MORE_DATA)
        return "error " + std::to_string(GetLastError());
    bytes.resize(count);
    return bytes;
}

TEST(PipeServerTest, ReadsAWholeMessageAndAnswers)
{
    PipeServer server;
    const std::string request(100000, 'x');
    {
        const auto pipe = connect(server);
        ASSERT_TRUE(write(pipe, request));
        EXPECT_EQ(read(pipe), "ack");
    }
    EXPECT_TRUE(server.waitForClients(1));
    EXPECT_THAT(server.requests(), ElementsAre(request));
}

TEST(PipeServerTest, ReadsByTheLengthWhenThePipeIsOfBytes)
{
    PipeServer server({.messageMode = false});
    const auto pipe = connect(server);
    ASSERT_TRUE(write(pipe, std::string("\0\0", 2)));
    ASSERT_TRUE(write(pipe, std::string("\0\5he", 4)));
    ASSERT_TRUE(write(pipe, "llo"));
    EXPECT_EQ(read(pipe), "ack");
    EXPECT_THAT(server.requests(), ElementsAre(std::string("\0\0\0\5hello", 9)));
}

TEST(PipeServerTest, HasAFreeInstanceWhileItServes)
{
    PipeServer server;
    const auto pipe = connect(server);
    EXPECT_TRUE(WaitNamedPipeW(server.path().c_str(), 1000));
}

TEST(PipeServerTest, HasNoFreeInstanceWhenThatIsAskedFor)
{
    PipeServer server({.spareInstance = false, .defaultTimeout = 20});
    const auto pipe = connect(server);
    EXPECT_FALSE(WaitNamedPipeW(server.path().c_str(), NMPWAIT_USE_DEFAULT_WAIT));
}

TEST(PipeServerTest, HoldsAnAnswerBackUntilItIsReleased)
{
    const support::Handle release = support::makeEvent();
    PipeServer server({.replies = {PipeReply::heldText("ack", release.get())}});
    const auto pipe = connect(server);
    ASSERT_TRUE(write(pipe, "?"));
    ASSERT_TRUE(server.waitForRequests(1));
    DWORD available = 0;
    ASSERT_TRUE(PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &available, nullptr));
    EXPECT_EQ(available, 0U);
    ASSERT_TRUE(SetEvent(release.get()));
    EXPECT_EQ(read(pipe), "ack");
}

TEST(PipeServerTest, CountsRequestsThatWereTaken)
{
    PipeServer server({.replies = {PipeReply::text("one"), PipeReply::text("two")}});
    const auto pipe = connect(server);
    ASSERT_TRUE(write(pipe, "a"));
    EXPECT_EQ(read(pipe), "one");
    EXPECT_THAT(server.takeRequests(), ElementsAre("a"));
    ASSERT_TRUE(write(pipe, "b"));
    EXPECT_EQ(read(pipe), "two");
    EXPECT_TRUE(server.waitForRequests(2));
    EXPECT_THAT(server.requests(), ElementsAre("b"));
}

TEST(PipeServerTest, CountsAClientThatWritesNothing)
{
    PipeServer server;
    connect(server).reset();
    EXPECT_TRUE(server.waitForClients(1));
    EXPECT_THAT(server.requests(), ElementsAre());
}
} // namespace
