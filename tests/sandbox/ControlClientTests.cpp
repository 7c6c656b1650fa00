// A client's end of the control pipe, with a real server that answers as the test decides.
#include "sandbox/control/ControlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>

#include "sandbox/control/ControlServer.h"
#include "tests/sandbox/RecordingHandler.h"
#include "tests/support/Platform.h"

using namespace std::chrono_literals;
using nlohmann::json;
using sandbox::ControlClient;
using sandbox::ControlServer;
using sandbox::NoAnswer;
using sandbox::Refusal;
using sandboxtest::RecordingHandler;
using testing::ElementsAre;
using testing::ThrowsMessage;

namespace
{
class ControlClientTest : public testing::Test
{
protected:
    const std::wstring m_name = support::uniqueName(L"LinkwellControl");
};
} // namespace

TEST_F(ControlClientTest, SendsARequestAndGivesItsAnswer)
{
    RecordingHandler handler(std::string(R"({"ok":true,"entryId":"0011"})"));
    const ControlServer server(m_name, std::ref(handler));
    ControlClient client(m_name, support::deadline);
    const json request = {{"do", "delete"}, {"object", "Mailbox/Two\nlines/Łukasz"}};
    EXPECT_EQ(client.request(request), (json{{"ok", true}, {"entryId", "0011"}}));
    EXPECT_EQ(client.request({{"do", "list"}}).at("entryId"), "0011");
    EXPECT_THAT(handler.requests(),
                ElementsAre("{\"do\":\"delete\",\"object\":\"Mailbox/Two\\nlines/Łukasz\"}", R"({"do":"list"})"));
}

TEST_F(ControlClientTest, ThrowsTheWordsOfARefusal)
{
    RecordingHandler handler(std::string(R"({"ok":false,"error":"there is no 'Mailbox/Nobody'"})"));
    const ControlServer server(m_name, std::ref(handler));
    ControlClient client(m_name, support::deadline);
    EXPECT_THAT([&] { client.request({{"do", "list"}}); }, ThrowsMessage<Refusal>("there is no 'Mailbox/Nobody'"));
    EXPECT_THAT([&] { client.request({{"do", "list"}}); }, ThrowsMessage<Refusal>("there is no 'Mailbox/Nobody'"));
}

TEST_F(ControlClientTest, ReadsLongAnswers)
{
    const std::string answer = R"({"ok":true,"items":")" + std::string(20'000'000, 'x') + "\"}";
    RecordingHandler handler(answer);
    const ControlServer server(m_name, std::ref(handler));
    EXPECT_TRUE(ControlClient(m_name, support::deadline).exchange("list") == answer);
}

TEST_F(ControlClientTest, SaysWhatIsNoAnswer)
{
    for (const char* answer : {"", "nonsense", "[]", "{}", R"({"ok":1})"})
    {
        RecordingHandler handler{std::string(answer)};
        const ControlServer server(m_name, std::ref(handler));
        ControlClient client(m_name, support::deadline);
        EXPECT_THAT([&] { client.request({{"do", "list"}}); },
                    ThrowsMessage<NoAnswer>(std::string("this is no answer of a sandbox: ") + answer));
    }
}

TEST_F(ControlClientTest, SaysWhenTheSandboxGoesBeforeItAnswers)
{
    RecordingHandler handler([](const std::string&, HANDLE) -> std::string { throw std::runtime_error("gone"); });
    const ControlServer server(m_name, std::ref(handler));
    ControlClient client(m_name, support::deadline);
    EXPECT_THAT([&] { client.request({{"do", "list"}}); },
                ThrowsMessage<NoAnswer>("the sandbox has gone before it answered"));
}

TEST_F(ControlClientTest, SaysWhenThereIsNoPipe)
{
    EXPECT_THAT([&] { const ControlClient client(m_name, 0ms); }, ThrowsMessage<NoAnswer>("there is no such pipe"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(ControlClient(m_name, 50ms), NoAnswer);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST_F(ControlClientTest, SaysWhenThePipeIsNotFree)
{
    RecordingHandler handler(std::string("{}"));
    const ControlServer server(m_name, std::ref(handler));
    const ControlClient first(m_name, support::deadline);
    EXPECT_THAT([&] { const ControlClient client(m_name, 20ms); },
                ThrowsMessage<NoAnswer>(std::string("the pipe serves somebody else")));
}

TEST_F(ControlClientTest, WaitsUntilThePipeIsThere)
{
    std::promise<void> begun;
    auto client = std::async(std::launch::async,
                             [&]
                             {
                                 begun.set_value();
                                 return ControlClient(m_name, support::deadline).exchange("hello");
                             });
    begun.get_future().wait();
    RecordingHandler handler(std::string("welcome"));
    const ControlServer server(m_name, std::ref(handler));
    EXPECT_EQ(client.get(), "welcome");
}
