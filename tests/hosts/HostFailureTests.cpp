// The host of hosts/cpp when the system fails it.
#include "tests/hosts/HostTest.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <process.h>
#include <utility>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"

namespace hosts
{
namespace
{
using support::hookImport;
using testing::ElementsAre;

class HostFailureTest : public HostTest
{
protected:
    /// Whether the start fails when the hooked function does; afterwards nothing of it may be left.
    void expectFailedStart(const char* function, DWORD systemError = ERROR_NOT_ENOUGH_QUOTA)
    {
        SCOPED_TRACE(function);
        try
        {
            startHost();
            ADD_FAILURE() << "it has started";
        }
        catch (const linkwell::Error& error)
        {
            EXPECT_EQ(error.code, linkwell::ErrorCode::Pipe);
            EXPECT_EQ(error.systemError, systemError);
        }
        EXPECT_FALSE(WaitNamedPipeW(m_options.pipe.c_str(), 1));
    }
    static BOOL fail()
    {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
};

TEST_F(HostFailureTest, DoesNotStartWithoutWhatItNeedsAndLeavesNothing)
{
    const auto failToStart = [this]
    {
        {
            const auto hook = hookImport<"OpenProcessToken">(OpenProcessToken, [](auto...) { return fail(); });
            expectFailedStart("OpenProcessToken");
        }
        {
            const auto hook = hookImport<"GetTokenInformation">(GetTokenInformation, [](auto...) { return fail(); });
            expectFailedStart("GetTokenInformation");
        }
        for (int call = 1; call <= 6; ++call) // two of the host, and one of each instance
        {
            int calls = 0;
            const auto hook =
                hookImport<"CreateEventW">(CreateEventW,
                                           [&](auto original, auto access, BOOL manual, BOOL set, auto name) -> HANDLE
                                           {
                                               if (++calls != call)
                                                   return original(access, manual, set, name);
                                               fail();
                                               return nullptr;
                                           });
            expectFailedStart("CreateEventW");
        }
        for (int call = 1; call <= 4; ++call)
        {
            int calls = 0;
            const auto hook = hookImport<"CreateNamedPipeW">(CreateNamedPipeW,
                                                             [&](auto original, auto... arguments) -> HANDLE
                                                             {
                                                                 if (++calls != call)
                                                                     return original(arguments...);
                                                                 fail();
                                                                 return INVALID_HANDLE_VALUE;
                                                             });
            expectFailedStart("CreateNamedPipeW");
        }
        for (int call = 1; call <= 5; ++call) // the handlers' thread, and one for each instance
        {
            int calls = 0;
            const auto hook = hookImport<"_beginthreadex">(_beginthreadex,
                                                           [&](auto original, auto... arguments) -> std::uintptr_t
                                                           {
                                                               if (++calls != call)
                                                                   return original(arguments...);
                                                               errno = EAGAIN;
                                                               return 0;
                                                           });
            expectFailedStart("_beginthreadex", ERROR_SUCCESS);
        }
    };
    failToStart(); // so that all is there that stays from then on
    const DWORD handles = support::handleCount();
    failToStart();
    EXPECT_EQ(support::handleCount(), handles);
    startHost();
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostFailureTest, TellsThatNoClientCanBeAcceptedAndTriesAgain)
{
    std::atomic<int> calls = 0;
    const auto hook =
        hookImport<"ConnectNamedPipe">(ConnectNamedPipe, [&](auto original, HANDLE pipe, OVERLAPPED* overlapped)
                                       { return ++calls <= 4 ? fail() : original(pipe, overlapped); });
    startHost();
    ASSERT_TRUE(waitForErrors(4)); // one of each instance
    EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_TRUE(host().stop());
    EXPECT_THAT(codes(),
                ElementsAre("ERR_LINKWELL_PIPE", "ERR_LINKWELL_PIPE", "ERR_LINKWELL_PIPE", "ERR_LINKWELL_PIPE"));
    EXPECT_EQ(errors()[0].systemError, DWORD(ERROR_NOT_ENOUGH_QUOTA));
}

TEST_F(HostFailureTest, TellsOfAClientThatHasGoneBeforeItIsAccepted)
{
    Event release;
    const auto hook = hookImport<"ConnectNamedPipe">(ConnectNamedPipe,
                                                     [&](auto original, HANDLE pipe, OVERLAPPED* overlapped)
                                                     {
                                                         EXPECT_TRUE(release.wait());
                                                         return original(pipe, overlapped);
                                                     });
    startHost();
    ASSERT_TRUE(connect().write("\1"));
    release.set();
    ASSERT_TRUE(waitForErrors(1));
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_INCOMPLETE"));
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostFailureTest, TellsThatAConnectionBreaksAndGoesOn)
{
    std::atomic<int> calls = 0;
    {
        const auto hook = hookImport<"ReadFile">(ReadFile, [&](auto original, HANDLE file, auto... rest)
                                                 { return ++calls == 2 ? fail() : original(file, rest...); });
        startHost();
        Client client = connect();
        ASSERT_TRUE(client.write(framed(contactText))); // the length is read; the second read fails
        ASSERT_TRUE(waitForErrors(1));
    }
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_CONNECTION"));
    EXPECT_EQ(errors()[0].systemError, DWORD(ERROR_NOT_ENOUGH_QUOTA));
    EXPECT_EQ(exchange(contactText), "ack");
}

/// A heap that has no blocks above a size, in any thread.
class LimitedHeap
{
public:
    explicit LimitedHeap(std::size_t largest) : m_largest(largest) {}

private:
    std::size_t m_largest;
    support::ImportHook<"malloc", void*, std::size_t> m_hook{[this](auto* original, std::size_t size)
                                                             {
                                                                 return size > m_largest ? nullptr : original(size);
                                                             }};
};

TEST_F(HostFailureTest, RefusesAMessageForWhichThereIsNoMemoryAndGoesOn)
{
    startHost();
    const std::string large = framed(std::string(contactText) + std::string(1U << 20, 'x'));
    std::string text = "2;add;contact;0;1\n";
    for (int number = 0; number < 8000; ++number)
        text += "Anna;;;;;;;;;;00000000A1;00000000E5\n";
    const std::string manyItems = framed(text);
    {
        const LimitedHeap heap(400'000); // the second text has room, its items don't
        Client first = connect();
        first.write(large);
        EXPECT_EQ(first.read(3), "");
        Client second = connect();
        second.write(manyItems);
        EXPECT_EQ(second.read(3), "");
    }
    EXPECT_EQ(exchange(contactText), "ack");
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_MEMORY", "ERR_LINKWELL_MEMORY"));
    EXPECT_EQ(messages().size(), 1U);
}

TEST_F(HostFailureTest, TakesMemoryForWhatComesAndNotForALengthAlone)
{
    startHost();
    std::size_t clients = 0;
    for (const auto& [bytes, largestBlock] : {std::pair(5U, 400'000U), {1'000'000U, 4'000'000U}})
    {
        const LimitedHeap heap(largestBlock);
        ASSERT_TRUE(connect().write(std::string("\x0f\xff\xff\xff", 4) + std::string(bytes, 'x')));
        ASSERT_TRUE(waitForErrors(++clients));
    }
    EXPECT_THAT(codes(), ElementsAre("ERR_LINKWELL_INCOMPLETE", "ERR_LINKWELL_INCOMPLETE"));
}
} // namespace
} // namespace hosts
