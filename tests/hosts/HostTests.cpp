// The host of hosts/cpp and its clients: those that do as the agent does, and those that don't.
#include "tests/hosts/HostTest.h"

#include <atomic>
#include <set>
#include <stdexcept>

#include <gmock/gmock.h>

#include "utilities/IPCClient.h"

namespace hosts
{
namespace
{
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

TEST_F(HostTest, AnswersAMessageByAck)
{
    startHost();
    EXPECT_EQ(exchange(contactText), "ack");
    ASSERT_EQ(messages().size(), 1U);
    EXPECT_EQ(messages()[0].text, contactText);
    EXPECT_EQ(messages()[0].items.at(0).contact->displayName, contactName);
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostTest, TakesAMessageHoweverItIsCut)
{
    startHost();
    const std::string bytes = framed(contactText);
    for (std::size_t cut = 1; cut < bytes.size(); ++cut)
    {
        Client client = connect();
        ASSERT_TRUE(client.write(bytes.substr(0, cut)));
        if (cut % 10 == 0) // serving another client, the host has had the time to read the first part
        {
            ASSERT_EQ(exchange(contactText), "ack");
        }
        ASSERT_TRUE(client.write(bytes.substr(cut)));
        ASSERT_EQ(client.read(3), "ack") << cut;
    }
    Client client = connect();
    for (const char byte : bytes)
        ASSERT_TRUE(client.write({&byte, 1}));
    EXPECT_EQ(client.read(3), "ack");
    for (const linkwell::Message& message : messages())
        EXPECT_EQ(message.text, contactText);
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostTest, AnswersEachOfTwoMessagesInOneWrite)
{
    startHost();
    Client client = connect();
    ASSERT_TRUE(client.write(framed(contactText) + framed("2;delete;folder;0;1\n00E5")));
    EXPECT_EQ(client.read(6), "ackack");
    ASSERT_EQ(messages().size(), 2U);
    EXPECT_EQ(messages()[1].items.at(0).folderEntryId, "00E5");
}

TEST_F(HostTest, TakesAHundredMessagesInARowFromTheAgentsClient)
{
    m_options.pipe = linkwell::pipePath;
    startHost();
    for (int index = 0; index < 100; ++index)
    {
        const std::wstring text =
            L"2;snapshot;contact;" + std::to_wstring(index) + L";100\n;;;;;;;;;;00000000A1;00000000E5";
        ASSERT_TRUE(IPCClient().send(text)) << index;
    }
    ASSERT_EQ(messages().size(), 100U);
    for (std::size_t index = 0; index < 100; ++index)
        EXPECT_EQ(messages()[index].index, index);
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostTest, AnswersWhenTheHandlerHasReturned)
{
    Client client = startHostAndHoldHandler();
    DWORD available = 0;
    EXPECT_TRUE(PeekNamedPipe(client.handle(), nullptr, 0, nullptr, &available, nullptr));
    EXPECT_EQ(available, 0U);
    m_release.set();
    EXPECT_EQ(client.read(3), "ack");
}

TEST_F(HostTest, HandlesMessagesAndErrorsOneAtATimeOnOneThread)
{
    std::atomic<int> running = 0;
    std::set<DWORD> threads;
    const auto handle = [&]
    {
        EXPECT_EQ(++running, 1);
        threads.insert(GetCurrentThreadId());
        std::this_thread::yield();
        --running;
    };
    m_onMessage = [&](const linkwell::Message&)
    {
        handle();
    };
    m_onError = handle;
    startHost();
    std::vector<std::thread> clients;
    for (int number = 0; number < 8; ++number)
    {
        clients.emplace_back(
            [&, number]
            {
                if (number % 2 == 0)
                    EXPECT_EQ(exchange(contactText), "ack");
                else
                    EXPECT_TRUE(connect().write("\1"));
            });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_TRUE(waitForErrors(4));
    EXPECT_TRUE(host().stop());
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(messages().size(), 4U);
}

TEST_F(HostTest, LetsClientsComeAndGoWhileAHandlerRuns)
{
    Client client = startHostAndHoldHandler();
    for (int number = 0; number < 12; ++number) // more than there are instances
        EXPECT_TRUE(connect().write("\1"));
    m_release.set();
    EXPECT_EQ(client.read(3), "ack");
    EXPECT_TRUE(waitForErrors(12));
}

TEST_F(HostTest, RefusesTheMessageOfAHandlerThatThrowsAndGoesOn)
{
    int handled = 0;
    m_onMessage = [&](const linkwell::Message&)
    {
        if (++handled == 1)
            throw std::runtime_error("no room");
        if (handled == 2)
            throw 7;
    };
    startHost();
    EXPECT_EQ(exchange(contactText), "");
    EXPECT_EQ(exchange(contactText), "");
    EXPECT_EQ(exchange(contactText), "ack");
    ASSERT_THAT(codes(), ElementsAre("ERR_LINKWELL_HANDLER", "ERR_LINKWELL_HANDLER"));
    EXPECT_THAT(errors()[0].what(), testing::HasSubstr("no room"));
    EXPECT_THROW(std::rethrow_exception(errors()[0].cause), std::runtime_error);
    EXPECT_THROW(std::rethrow_exception(errors()[1].cause), int);
}

TEST_F(HostTest, GoesOnWhenTheHandlerOfErrorsThrows)
{
    m_onError = []
    {
        throw std::runtime_error("worse");
    };
    m_onMessage = [](const linkwell::Message& message)
    {
        if (message.operation == linkwell::Operation::Delete)
            throw 7;
    };
    startHost();
    EXPECT_EQ(exchange("hello"), "ack");
    EXPECT_EQ(exchange("2;delete;folder;0;1\n00E5"), "");
    EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_HEADER", "ERR_LINKWELL_HANDLER"));
}

TEST_F(HostTest, AnswersWhatItDoesNotKnowAndTellsIt)
{
    startHost();
    const std::vector<std::string> texts = {"", "hello", "3;snapshot;contact;0;1\n", "2;merge;contact;0;1\n",
                                            "2;add;list;0;1\n"};
    for (const std::string& text : texts)
        EXPECT_EQ(exchange(text), "ack") << text;
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_HEADER", "ERR_LINKWELL_HEADER", "ERR_LINKWELL_VERSION",
                                     "ERR_LINKWELL_OPERATION", "ERR_LINKWELL_KIND"));
    for (std::size_t place = 0; place < texts.size(); ++place)
        EXPECT_EQ(errors().at(place).message, texts[place]);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(HostTest, CutsTheConnectionAtALengthAboveTheLimit)
{
    m_options.maxMessageBytes = contactText.size();
    startHost();
    EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_EQ(exchange(std::string(contactText) + 'x'), "");
    ASSERT_TRUE(waitForErrors(1)); // which is told behind the cut
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_OVERSIZED"));
    EXPECT_EQ(messages().size(), 1U);
}

TEST_F(HostTest, TellsOfAClientThatGoesInTheMiddleOfAMessage)
{
    startHost();
    const std::string bytes = framed(contactText);
    for (const std::size_t size : {1U, 3U, 4U, 5U, 30U})
        ASSERT_TRUE(connect().write(bytes.substr(0, size)));
    ASSERT_TRUE(waitForErrors(5));
    EXPECT_THAT(codes(), testing::Each("ERR_LINKWELL_INCOMPLETE"));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostTest, TellsOfAClientThatGoesBeforeItsAnswer)
{
    Client client = startHostAndHoldHandler();
    client.close();
    m_release.set();
    ASSERT_TRUE(waitForErrors(1));
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_CONNECTION"));
    EXPECT_NE(errors()[0].systemError, 0U);
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostTest, SaysNothingOfAClientThatComesAndGoes)
{
    startHost();
    for (int number = 0; number < 12; ++number)
        connect().close();
    EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_TRUE(host().stop());
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostTest, CutsAClientThatStandsStill)
{
    m_options.idleTimeout = 3s; // the clients are quicker than that on a busy machine, too
    startHost();
    Client silent = connect();
    Client inText = connect();
    ASSERT_TRUE(inText.write(framed(contactText).substr(0, 30)));
    Client staying = connect();
    ASSERT_TRUE(staying.write(framed(contactText)));
    EXPECT_EQ(staying.read(4), "ack");
    EXPECT_EQ(silent.read(1), "");
    EXPECT_EQ(inText.read(1), "");
    ASSERT_TRUE(waitForErrors(3));
    EXPECT_THAT(codes(), testing::Each("ERR_LINKWELL_TIMEOUT"));
    EXPECT_EQ(messages().size(), 1U);
}

TEST_F(HostTest, TakesSixtyFourMegabytes)
{
    const std::string line = std::string(300, 'x') + ";;;;;;;;;;00000000A1;00000000E5\n";
    std::string text = "2;snapshot;contact;0;1\n";
    text.reserve(64U << 20);
    while (text.size() + line.size() < 64U << 20)
        text += line;
    text.pop_back();
    std::size_t items = 0;
    m_onMessage = [&](const linkwell::Message& message)
    {
        items = message.items.size();
    };
    startHost();
    EXPECT_EQ(exchange(text), "ack");
    EXPECT_EQ(items, text.size() / line.size());
    EXPECT_EQ(messages()[0].text, text);
}

TEST_F(HostTest, RefusesOptionsThatCannotBe)
{
    const auto codeOf = [](const std::function<void(linkwell::HostOptions&)>& edit, bool withHandlers = true)
    {
        linkwell::HostOptions options;
        edit(options);
        try
        {
            linkwell::Host host(withHandlers ? [](const linkwell::Message&) {} : linkwell::Host::MessageHandler(),
                                [](const linkwell::Error&) {}, options);
        }
        catch (const linkwell::Error& error)
        {
            return std::string(nameOf(error.code));
        }
        return std::string();
    };
    EXPECT_EQ(codeOf([](auto&) {}), "");
    EXPECT_EQ(codeOf([](auto&) {}, false), "ERR_LINKWELL_OPTION");
    EXPECT_EQ(codeOf([](auto& options) { options.pipe.clear(); }), "ERR_LINKWELL_OPTION");
    EXPECT_EQ(codeOf([](auto& options) { options.maxMessageBytes = 0; }), "ERR_LINKWELL_OPTION");
    EXPECT_EQ(codeOf([](auto& options) { options.idleTimeout = 0ms; }), "ERR_LINKWELL_OPTION");
    EXPECT_EQ(codeOf([](auto& options) { options.idleTimeout = 25h; }), "ERR_LINKWELL_OPTION");
}
} // namespace
} // namespace hosts
