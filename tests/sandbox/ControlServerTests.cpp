// The sandbox's end of the control pipe, by clients that know nothing of it but its name.
#include "sandbox/control/ControlServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "tests/sandbox/RecordingHandler.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"

using sandbox::ControlServer;
using sandboxtest::RecordingHandler;
using testing::ElementsAre;

namespace
{
/// A client that reads and writes bytes as it likes.
class Client
{
public:
    explicit Client(const std::wstring& path)
    {
        // After another client the pipe takes a moment to be free.
        if (!WaitNamedPipeW(path.c_str(), static_cast<DWORD>(std::chrono::milliseconds(support::deadline).count())))
            support::throwLastError("WaitNamedPipeW");
        m_pipe = support::checkedFile(
            CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            "CreateFileW");
    }

    [[nodiscard]] bool write(const std::string& bytes)
    {
        DWORD count = 0;
        return WriteFile(m_pipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) &&
               count == bytes.size();
    }
    /// The next line without its line feed; "<ended>" when the server has gone before.
    [[nodiscard]] std::string readLine()
    {
        std::string line;
        std::string chunk(4096, '\0');
        DWORD count = 0;
        while (m_read.find('\n') == std::string::npos)
        {
            if (!ReadFile(m_pipe.get(), chunk.data(), static_cast<DWORD>(chunk.size()), &count, nullptr))
                return "<ended>";
            line += m_read;
            m_read.assign(chunk, 0, count);
        }
        const std::size_t end = m_read.find('\n');
        line.append(m_read, 0, end);
        m_read.erase(0, end + 1);
        return line;
    }
    [[nodiscard]] std::string ask(const std::string& request)
    {
        return write(request + '\n') ? readLine() : "<not written>";
    }

private:
    support::Handle m_pipe;
    std::string m_read; // what has come and has not been given out
};

class ControlServerTest : public testing::Test
{
protected:
    void start(RecordingHandler::Answer answer = [](const std::string& request, HANDLE) { return '<' + request + '>'; })
    {
        m_handler = std::make_unique<RecordingHandler>(std::move(answer));
        m_server.emplace(m_name, std::ref(*m_handler));
    }
    void stop() { m_server.reset(); }
    [[nodiscard]] std::wstring path() const { return L"\\\\.\\pipe\\" + m_name; }
    /// What the constructor throws.
    [[nodiscard]] std::string complaintAbout(const std::wstring& name) const
    {
        try
        {
            const ControlServer server(name, [](std::string_view, HANDLE) { return std::string(); });
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "none";
    }

    std::wstring m_name = support::uniqueName(L"LinkwellControl");
    std::unique_ptr<RecordingHandler> m_handler;
    std::optional<ControlServer> m_server;
};
} // namespace

TEST_F(ControlServerTest, AnswersEachRequestByALine)
{
    start();
    Client client(path());
    EXPECT_EQ(client.ask("one"), "<one>");
    EXPECT_EQ(client.ask("two"), "<two>");
    EXPECT_THAT(m_handler->requests(), ElementsAre("one", "two"));
}

TEST_F(ControlServerTest, TakesARequestInPieces)
{
    start();
    Client client(path());
    ASSERT_TRUE(client.write("fi"));
    ASSERT_TRUE(client.write("rst\nsec"));
    EXPECT_EQ(client.readLine(), "<first>");
    ASSERT_TRUE(client.write("ond"));
    ASSERT_TRUE(client.write("\n"));
    EXPECT_EQ(client.readLine(), "<second>");
}

TEST_F(ControlServerTest, TakesManyRequestsAtOnceInOrder)
{
    start();
    Client client(path());
    std::string all;
    for (int index = 0; index < 5000; ++index)
        all += "request " + std::to_string(index) + '\n';
    ASSERT_TRUE(client.write(all + "half"));
    for (int index = 0; index < 5000; ++index)
        ASSERT_EQ(client.readLine(), "<request " + std::to_string(index) + '>');
    EXPECT_EQ(client.ask(" and half"), "<half and half>");
}

TEST_F(ControlServerTest, TakesRequestsUpToItsLimit)
{
    start([](const std::string& request, HANDLE) { return std::to_string(request.size()); });
    Client client(path());
    EXPECT_EQ(client.ask(std::string(ControlServer::longestRequest, 'x')), "16777216");
    EXPECT_EQ(client.ask(std::string(ControlServer::longestRequest + 1, 'x')),
              R"({"ok":false,"error":"the request is longer than 16 MiB"})");
    ASSERT_TRUE(client.write(std::string(ControlServer::longestRequest, 'x')));
    ASSERT_TRUE(client.write(std::string(100'000, 'x')));
    ASSERT_TRUE(client.write("\nshort\n"));
    EXPECT_EQ(client.readLine(), R"({"ok":false,"error":"the request is longer than 16 MiB"})");
    EXPECT_EQ(client.readLine(), "5");
    EXPECT_EQ(m_handler->requests().size(), 2u);
}

TEST_F(ControlServerTest, GivesLongAnswersWhole)
{
    start([](const std::string& request, HANDLE) { return std::string(std::stoul(request), 'y'); });
    Client client(path());
    for (const std::size_t size : {65'535U, 65'536U, 65'537U, 1'000'000U})
        EXPECT_EQ(client.ask(std::to_string(size)), std::string(size, 'y'));
}

TEST_F(ControlServerTest, ServesTheNextClientAfterOneThatSaidNothing)
{
    start();
    for (int round = 0; round < 50; ++round)
        const Client silent(path());
    EXPECT_EQ(Client(path()).ask("one"), "<one>");
}

TEST_F(ControlServerTest, DropsARequestWithoutItsEnd)
{
    start();
    {
        Client leaving(path());
        ASSERT_TRUE(leaving.write("one\ntwo"));
        EXPECT_EQ(leaving.readLine(), "<one>");
    }
    EXPECT_EQ(Client(path()).ask("three"), "<three>");
    EXPECT_THAT(m_handler->requests(), ElementsAre("one", "three"));
}

TEST_F(ControlServerTest, OutlivesAClientThatGoesBeforeItsAnswer)
{
    const support::Handle gone = support::makeEvent();
    start(
        [&](const std::string& request, HANDLE)
        {
            if (request == "leave")
                WaitForSingleObject(gone.get(), INFINITE);
            return request;
        });
    {
        Client leaving(path());
        ASSERT_TRUE(leaving.write("leave\nnever\n"));
        ASSERT_TRUE(m_handler->waitForRequests(1));
    }
    ASSERT_TRUE(SetEvent(gone.get()));
    EXPECT_EQ(Client(path()).ask("next"), "next");
}

TEST_F(ControlServerTest, CutsTheConnectionWhenTheHandlerThrows)
{
    start(
        [](const std::string& request, HANDLE)
        {
            if (request == "bad")
                throw std::runtime_error("no");
            return request;
        });
    EXPECT_EQ(Client(path()).ask("bad"), "<ended>");
    EXPECT_EQ(Client(path()).ask("good"), "good");
}

TEST_F(ControlServerTest, ServesOneConnectionAtATime)
{
    start();
    std::optional<Client> first(path());
    EXPECT_EQ(first->ask("one"), "<one>");
    EXPECT_FALSE(WaitNamedPipeW(path().c_str(), 1));
    first.reset();
    EXPECT_EQ(Client(path()).ask("two"), "<two>");
}

TEST_F(ControlServerTest, StopsARequestThatWaitsAndStillAnswersIt)
{
    start(
        [](const std::string&, HANDLE stop)
        {
            return WaitForSingleObject(stop, INFINITE) == WAIT_OBJECT_0 ? std::string("stopped")
                                                                        : std::string("failed");
        });
    Client client(path());
    ASSERT_TRUE(client.write("wait\nnever\n"));
    ASSERT_TRUE(m_handler->waitForRequests(1));
    stop();
    EXPECT_EQ(client.readLine(), "stopped");
    EXPECT_EQ(client.readLine(), "<ended>");
    EXPECT_THAT(m_handler->requests(), ElementsAre("wait"));
}

TEST_F(ControlServerTest, StopsWhileAClientDoesNotReadItsAnswer)
{
    start([](const std::string&, HANDLE) { return std::string(10'000'000, 'y'); });
    Client client(path());
    ASSERT_TRUE(client.write("long\n"));
    ASSERT_TRUE(m_handler->waitForRequests(1));
    stop();
    EXPECT_EQ(client.readLine(), "<ended>");
}

TEST_F(ControlServerTest, IsTheOnlyOneOfItsName)
{
    start();
    EXPECT_EQ(complaintAbout(m_name), "somebody else serves it");
    EXPECT_THAT(complaintAbout(L"C:\\nowhere"), testing::MatchesRegex(R"(CreateNamedPipeW failed with error \d+)"));
    EXPECT_EQ(Client(path()).ask("one"), "<one>");
}
