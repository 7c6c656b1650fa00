// Whose pipe it is: programs that serve the same name before the host of hosts/cpp or after it, and who may connect.
#include "tests/hosts/HostTest.h"

#include <aclapi.h>
#include <sddl.h>

#include <memory>

#include <gmock/gmock.h>

#include "tests/support/pipe/SequenceHost.h"

namespace hosts
{
namespace
{
class HostPipeTest : public HostTest
{
protected:
    /// An instance of the host's pipe as another program makes it; null when it can't.
    [[nodiscard]] support::Handle squat(DWORD most) const
    {
        const HANDLE pipe = CreateNamedPipeW(m_options.pipe.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT,
                                             most, 4096, 4096, 5000, nullptr);
        return support::Handle(pipe == INVALID_HANDLE_VALUE ? nullptr : pipe);
    }
    /// The code of what `startHost` throws.
    [[nodiscard]] std::string startCode()
    {
        try
        {
            startHost();
        }
        catch (const linkwell::Error& error)
        {
            return nameOf(error.code);
        }
        return "";
    }
};

TEST_F(HostPipeTest, IsRefusedToAHostThatComesSecond)
{
    for (const DWORD most : {DWORD(1), DWORD(4), DWORD(5), DWORD(PIPE_UNLIMITED_INSTANCES)})
    {
        SCOPED_TRACE(most);
        support::Handle other = squat(most);
        ASSERT_TRUE(other);
        EXPECT_EQ(startCode(), "ERR_LINKWELL_PIPE");
        other.reset();
        EXPECT_EQ(startCode(), ""); // nothing is left of the failure
        EXPECT_TRUE(host().stop());
    }
    EXPECT_THAT(codes(), testing::IsEmpty());
}

TEST_F(HostPipeTest, IsRefusedToWhoComesAfterTheHost)
{
    startHost();
    for (const DWORD most : {DWORD(1), DWORD(4), DWORD(PIPE_UNLIMITED_INSTANCES)})
    {
        EXPECT_FALSE(squat(most)) << most;
        std::vector<Client> clients;
        for (int number = 0; number < 4; ++number)
            clients.push_back(connect());
        EXPECT_FALSE(squat(most)) << most; // none is made while all are taken,
        clients.clear();
        EXPECT_EQ(exchange(contactText), "ack");
        EXPECT_FALSE(squat(most)) << most; // nor given up in between
    }
    linkwell::Host second([](const linkwell::Message&) {}, [](const linkwell::Error&) {}, m_options);
    EXPECT_THROW(second.start(), linkwell::Error);
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostPipeTest, IsRefusedToAHostThatHasStarted)
{
    startHost();
    try
    {
        host().start();
        ADD_FAILURE() << "it has started twice";
    }
    catch (const linkwell::Error& error)
    {
        EXPECT_EQ(error.code, linkwell::ErrorCode::State);
    }
    EXPECT_EQ(exchange(contactText), "ack");
}

TEST_F(HostPipeTest, SaysWhyItCannotBeHad)
{
    m_options.pipe = L"Z:\\no\\pipe";
    EXPECT_EQ(startCode(), "ERR_LINKWELL_PIPE");
}

TEST_F(HostPipeTest, IsForTheCurrentUserAlone)
{
    startHost();
    const support::Handle client =
        support::checkedFile(CreateFileW(m_options.pipe.c_str(), GENERIC_READ | GENERIC_WRITE | READ_CONTROL, 0,
                                         nullptr, OPEN_EXISTING, 0, nullptr),
                             "CreateFileW");
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetSecurityInfo(client.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                              nullptr, &descriptor),
              DWORD(ERROR_SUCCESS));
    const std::unique_ptr<void, decltype(&LocalFree)> owned(descriptor, &LocalFree);
    wchar_t* text = nullptr;
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                                     DACL_SECURITY_INFORMATION, &text, nullptr));
    const std::unique_ptr<wchar_t, decltype(&LocalFree)> ownedText(text, &LocalFree);
    std::wstring expected = support::SequenceOptions::ownUser();
    expected.replace(expected.find(L"GA"), 2, L"FA"); // what all generic rights are for a pipe
    EXPECT_EQ(text, expected);
}
} // namespace
} // namespace hosts
