// Who serves a pipe, and whether that may be trusted.
#include "tools/support/doctor/HostPipe.h"

#include <string>

#include <gmock/gmock.h>

#include "tests/support/Platform.h"
#include "tests/support/pipe/PipeServer.h"
#include "tools/support/Page.h"

namespace diagnosis
{
namespace
{
using testing::ElementsAre;

std::vector<std::string> judged(const HostPipe& pipe, const ProcessFacts& self)
{
    std::vector<std::string> codes = judge(pipe, self);
    for (const std::string& code : codes)
        EXPECT_NO_THROW(static_cast<void>(Page::builtIn().finding(code)));
    return codes;
}

ProcessFacts self()
{
    return factsOf(GetCurrentProcessId());
}

/// A pipe that this process serves.
HostPipe goodPipe()
{
    HostPipe pipe;
    pipe.otherIsFree = true;
    pipe.server = self();
    pipe.server->imageIsWritable = false;
    return pipe;
}

TEST(HostPipeTest, IsServedByThisProcess)
{
    const support::PipeServer server;
    const HostPipe pipe = lookAtPipe(server.name());
    EXPECT_EQ(pipe.error, 0U);
    EXPECT_TRUE(pipe.otherIsFree);
    ASSERT_TRUE(pipe.server);
    EXPECT_EQ(pipe.server->id, GetCurrentProcessId());
    EXPECT_THAT(judged(pipe, self()), ElementsAre("server-image-writable")) << "it lies in the build folder";
}

TEST(HostPipeTest, NamesAPipeWithoutAServer)
{
    EXPECT_THAT(judged(lookAtPipe(support::uniqueName(L"linkwell-nobody")), self()), ElementsAre("pipe-missing"));
}

TEST(HostPipeTest, NamesASingleInstance)
{
    support::PipeServerOptions options;
    options.spareInstance = false;
    const support::PipeServer server(options);
    EXPECT_THAT(judged(lookAtPipe(server.name()), self()), testing::Contains("pipe-single-instance"));
}

TEST(HostPipeTest, NamesAPipeWithoutAFreeInstance)
{
    const std::wstring path = L"\\\\.\\pipe\\" + support::uniqueName(L"linkwell-busy");
    const support::Handle server = support::checkedFile(
        CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE, 1, 0, 0, 0, nullptr), "CreateNamedPipeW");
    const support::Handle client = support::checkedFile(
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr), "CreateFileW");
    EXPECT_THAT(judged(lookAtPipe(path.substr(9)), self()), ElementsAre("pipe-busy"));
}

TEST(HostPipeTest, NamesAPipeThatGoesOneWayOnly)
{
    const std::wstring path = L"\\\\.\\pipe\\" + support::uniqueName(L"linkwell-inbound");
    const support::Handle server = support::checkedFile(
        CreateNamedPipeW(path.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_MESSAGE, 1, 0, 0, 0, nullptr),
        "CreateNamedPipeW");
    EXPECT_THAT(judged(lookAtPipe(path.substr(9)), self()), ElementsAre("pipe-denied"));
}

TEST(HostPipeTest, KnowsItsOwnProcess)
{
    const ProcessFacts facts = self();
    EXPECT_EQ(facts.id, GetCurrentProcessId());
    EXPECT_THAT(facts.image, testing::EndsWith(L"linkwell_tools_tests.exe"));
    EXPECT_THAT(facts.userSid, testing::StartsWith(L"S-1-"));
    EXPECT_FALSE(facts.user.empty());
    EXPECT_NE(facts.integrity, 0U);
}

TEST(HostPipeTest, NamesAForeignServer)
{
    HostPipe pipe = goodPipe();
    EXPECT_THAT(judged(pipe, self()), ElementsAre());
    pipe.server->userSid = L"S-1-5-21-1-2-3-9999";
    EXPECT_THAT(judged(pipe, self()), ElementsAre("server-other-user"));
    pipe = goodPipe();
    ++pipe.server->session;
    EXPECT_THAT(judged(pipe, self()), ElementsAre("server-other-session"));
    pipe = goodPipe();
    pipe.server->integrity = 0x4000;
    EXPECT_THAT(judged(pipe, self()), ElementsAre("server-other-integrity"));
    pipe = goodPipe();
    pipe.server->userSid.clear();
    EXPECT_THAT(judged(pipe, self()), ElementsAre("server-unknown"));
    pipe.server.reset();
    EXPECT_THAT(judged(pipe, self()), ElementsAre("server-unknown"));
}

TEST(HostPipeTest, NamesARefusal)
{
    HostPipe pipe;
    pipe.error = ERROR_ACCESS_DENIED;
    EXPECT_THAT(judged(pipe, self()), ElementsAre("pipe-denied"));
    pipe.error = ERROR_NOT_ENOUGH_MEMORY;
    EXPECT_THAT(judged(pipe, self()), ElementsAre("pipe-refused"));
}
} // namespace
} // namespace diagnosis
