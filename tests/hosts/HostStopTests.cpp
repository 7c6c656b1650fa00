// The end of the host of hosts/cpp, at each of its steps.
#include "tests/hosts/HostTest.h"

#include <gmock/gmock.h>

namespace hosts
{
namespace
{
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

class HostStopTest : public HostTest
{
protected:
    /// A client that has sent so many bytes of a message, when the host has read them.
    [[nodiscard]] Client stoppedAfter(std::size_t bytes) const
    {
        Client client = connect();
        EXPECT_TRUE(client.write(framed(contactText).substr(0, bytes)));
        EXPECT_TRUE(client.flush());
        return client;
    }
    void expectNoPipe() const
    {
        EXPECT_FALSE(WaitNamedPipeW(m_options.pipe.c_str(), 1));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    }
};

TEST_F(HostStopTest, EndsAtOnceWhileThereAreNoClients)
{
    startHost();
    EXPECT_TRUE(host().stop(1h));
    expectNoPipe();
    EXPECT_TRUE(host().stop());
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostStopTest, WaitsForTheAnswerAndTheClientsEnd)
{
    Client client = startHostAndHoldHandler();
    std::thread stopping([this] { EXPECT_TRUE(host().stop(1h)); });
    m_release.set();
    EXPECT_EQ(client.read(3), "ack");
    client.close();
    stopping.join();
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostStopTest, CutsAClientThatHasSentNothing)
{
    startHost();
    Client client = connect();
    for (int number = 0; number < 4; ++number) // meanwhile it is accepted
        EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_TRUE(host().stop(1ms));
    expectNoPipe();
    EXPECT_EQ(client.read(1), "");
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostStopTest, CutsAClientInAMessageAndTellsIt)
{
    for (const std::size_t bytes : {2U, 4U, 30U})
    {
        SCOPED_TRACE(bytes);
        startHost();
        Client client = stoppedAfter(bytes);
        EXPECT_TRUE(host().stop(1ms));
        expectNoPipe();
        EXPECT_EQ(client.read(1), "");
    }
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_CLOSED", "ERR_LINKWELL_CLOSED", "ERR_LINKWELL_CLOSED"));
}

TEST_F(HostStopTest, CutsAClientThatKeepsItsConnectionBehindTheAnswer)
{
    startHost();
    Client client = connect();
    ASSERT_TRUE(client.write(framed(contactText)));
    ASSERT_EQ(client.read(3), "ack");
    EXPECT_TRUE(host().stop(1ms));
    EXPECT_EQ(client.read(1), "");
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostStopTest, LeavesAHandlerThatStillRunsAndCutsItsClient)
{
    Client client = startHostAndHoldHandler();
    Client waiting = stoppedAfter(framed(contactText).size()); // its message is whole, and its turn never comes
    EXPECT_FALSE(host().stop(1ms));
    EXPECT_EQ(client.read(3), "");
    EXPECT_EQ(waiting.read(3), "");
    expectNoPipe();
    EXPECT_THROW(host().start(), linkwell::Error);
    m_release.set();
    EXPECT_TRUE(host().stop());
    EXPECT_EQ(messages().size(), 1U);
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_CLOSED", "ERR_LINKWELL_CLOSED"));
}

TEST_F(HostStopTest, AnswersTheMessageWhoseHandlerStopsIt)
{
    m_onMessage = [this](const linkwell::Message&)
    {
        EXPECT_FALSE(host().stop());
    };
    startHost();
    EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_TRUE(host().stop());
    expectNoPipe();
    EXPECT_THAT(codes(), IsEmpty());
}

TEST_F(HostStopTest, EndsByTheHandlerOfErrorsToo)
{
    m_onError = [this]
    {
        EXPECT_FALSE(host().stop());
    };
    startHost();
    EXPECT_EQ(exchange("hello"), "ack");
    EXPECT_TRUE(host().stop());
    expectNoPipe();
}

TEST_F(HostStopTest, EndsOnceHoweverManyThreadsAsk)
{
    startHost();
    const Client client = stoppedAfter(30);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([this] { EXPECT_TRUE(host().stop(50ms)); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_CLOSED"));
}

TEST_F(HostStopTest, IsDoneByTheDestructor)
{
    startHost();
    EXPECT_EQ(exchange(contactText), "ack");
    startHost(); // in place of the first one; the pipe is free
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostStopTest, LetsTheHostStartAgainAndKeepsNoHandle)
{
    startHost();
    DWORD handles = 0;
    for (int run = 0; run < 20; ++run)
    {
        const Client client = stoppedAfter(run % 2 == 0 ? 0 : 30);
        EXPECT_TRUE(host().stop(1ms));
        host().start();
        if (run == 3)
            handles = support::handleCount();
    }
    EXPECT_LE(support::handleCount(), handles + 4); // some are open for the time of an operation
}
} // namespace
} // namespace hosts
