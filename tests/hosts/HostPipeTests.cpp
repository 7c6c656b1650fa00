// Whose pipe it is: programs that serve the same name before the host of hosts/cpp or after it, and who may connect.
#include "tests/hosts/HostTest.h"

#include <aclapi.h>

#include <array>

#include <gmock/gmock.h>

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
    ACL* list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetSecurityInfo(client.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                              nullptr, &descriptor),
              DWORD(ERROR_SUCCESS));
    const std::unique_ptr<void, decltype(&LocalFree)> owned(descriptor, &LocalFree);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(GetSecurityDescriptorControl(descriptor, &control, &revision));
    EXPECT_TRUE(control & SE_DACL_PROTECTED);
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->AceCount, 1);
    ACCESS_ALLOWED_ACE* entry = nullptr;
    ASSERT_TRUE(GetAce(list, 0, reinterpret_cast<void**>(&entry)));
    EXPECT_EQ(entry->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    EXPECT_EQ(entry->Mask, DWORD(FILE_ALL_ACCESS));

    HANDLE token = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    const support::Handle ownedToken(token);
    std::array<void*, 16> user;
    DWORD size = 0;
    ASSERT_TRUE(GetTokenInformation(token, TokenUser, user.data(), sizeof(user), &size));
    EXPECT_TRUE(EqualSid(&entry->SidStart, reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid));
}
} // namespace
} // namespace hosts
