// The flat functions, but for memory, as a client meets them.
#include "sandbox/mailbox/model/SandboxTags.h"
#include "tests/sandbox/SandboxTest.h"

using namespace sandboxtest;
using testing::HasSubstr;

namespace
{
struct InitParameters // MAPIINIT_0
{
    ULONG version;
    ULONG flags;
};

constexpr ULONG logonFlags = MAPI_UNICODE | MAPI_USE_DEFAULT | MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_LOGON_UI;

/// A sink that counts.
class CountingSink final : public IMAPIAdviseSink
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override
    {
        lastCount = count;
        lastNotifications = notifications;
        return 5;
    }

    ULONG references = 0;
    ULONG lastCount = 0;
    NOTIFICATION* lastNotifications = nullptr;
};

class RuntimeTest : public SandboxTest
{
};
} // namespace

TEST_F(RuntimeTest, RefusesEverythingBeforeInitialization)
{
    dll.MAPIUninitialize();
    void* block = nullptr;
    SPropValue* value = nullptr;
    IMAPISessionPtr session;
    IMAPIAdviseSinkPtr wrapper;
    CountingSink sink;
    EXPECT_EQ(dll.MAPILogonEx(0, nullptr, nullptr, logonFlags, &session), MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(dll.MAPIAllocateBuffer(10, &block), MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(dll.MAPIAllocateMore(10, nullptr, &block), MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(dll.HrGetOneProp(nullptr, PR_ENTRYID, &value), MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(dll.HrThisThreadAdviseSink(&sink, &wrapper), MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(dll.MAPIInitialize(nullptr), S_OK);
}

TEST_F(RuntimeTest, ChecksTheInitializationFlags)
{
    InitParameters parameters = {0, 0x8 | 0x1 | 0x10000};
    EXPECT_EQ(dll.MAPIInitialize(&parameters), S_OK);
    dll.MAPIUninitialize();
    parameters.flags = 0x2;
    EXPECT_EQ(dll.MAPIInitialize(&parameters), MAPI_E_UNKNOWN_FLAGS);
    parameters = {1, 0};
    EXPECT_EQ(dll.MAPIInitialize(&parameters), MAPI_E_INVALID_PARAMETER);
}

TEST_F(RuntimeTest, NotesAnUninitializationTooMany)
{
    dll.MAPIUninitialize();
    dll.MAPIUninitialize();
    EXPECT_THAT(dll.report(), HasSubstr("Misuse: the runtime was not initialised, MAPIUninitialize: 1 time(s)\n"));
    dll.sandboxReset();
    ASSERT_EQ(dll.MAPIInitialize(nullptr), S_OK);
}

TEST_F(RuntimeTest, ChecksTheLogonsArguments)
{
    serve("{}");
    IMAPISessionPtr session;
    EXPECT_EQ(dll.MAPILogonEx(0, nullptr, nullptr, logonFlags | 0x80, &session), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(dll.MAPILogonEx(0, nullptr, nullptr, MAPI_UNICODE, &session), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(dll.MAPILogonEx(0, nullptr, nullptr, logonFlags, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(session, nullptr);
}

TEST_F(RuntimeTest, FailsTheLogonWithoutAMailbox)
{
    ASSERT_FALSE(SetEnvironmentVariableW(L"LINKWELL_SANDBOX_MAILBOX", nullptr) == FALSE &&
                 GetLastError() != ERROR_ENVVAR_NOT_FOUND);
    IMAPISessionPtr session;
    EXPECT_EQ(dll.MAPILogonEx(0, nullptr, nullptr, logonFlags, &session), MAPI_E_LOGON_FAILED);
    EXPECT_EQ(session, nullptr);
}

// ---- HrGetOneProp --------------------------------------------------------------------------------------------------

TEST_F(RuntimeTest, GetsOneProperty)
{
    const IMAPISessionPtr session = logonTo(R"({"stores":[{"name":"Sx"}]})");
    const IMsgStorePtr store = openStore(session);
    SPropValue* value = nullptr;
    ASSERT_EQ(dll.HrGetOneProp(store, PR_DISPLAY_NAME_W, &value), S_OK);
    EXPECT_EQ(value->ulPropTag, PR_DISPLAY_NAME_W);
    EXPECT_STREQ(value->Value.lpszW, L"Sx");
    EXPECT_EQ(dll.sandboxLiveBlocks(), 1);
    dll.MAPIFreeBuffer(value);
}

TEST_F(RuntimeTest, GetsTheErrorOfOnePropertyAsResult)
{
    const IMAPISessionPtr session =
        logonTo(R"({"stores":[{"name":"S","properties":{"PR_COMMENT":{"error":"MAPI_E_NO_ACCESS"}}}]})");
    const IMsgStorePtr store = openStore(session);
    auto* value = reinterpret_cast<SPropValue*>(8);
    EXPECT_EQ(dll.HrGetOneProp(store, PR_COMMENT_W, &value), MAPI_E_NO_ACCESS);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(dll.HrGetOneProp(store, PR_BUSINESS_FAX_NUMBER_W, &value), MAPI_E_NOT_FOUND);
    EXPECT_EQ(dll.HrGetOneProp(nullptr, PR_ENTRYID, &value), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(dll.HrGetOneProp(store, PR_ENTRYID, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(dll.sandboxLiveBlocks(), 0);
}

// ---- HrThisThreadAdviseSink ----------------------------------------------------------------------------------------

TEST_F(RuntimeTest, WrapsASink)
{
    CountingSink sink;
    NOTIFICATION notifications[2] = {};
    {
        IMAPIAdviseSinkPtr wrapper;
        ASSERT_EQ(dll.HrThisThreadAdviseSink(&sink, &wrapper), S_OK);
        EXPECT_NE(static_cast<IMAPIAdviseSink*>(wrapper), &sink);
        EXPECT_EQ(sink.references, 1u);
        EXPECT_EQ(wrapper->OnNotify(2, notifications), 5u);
        EXPECT_EQ(sink.lastCount, 2u);
        EXPECT_EQ(sink.lastNotifications, notifications);
        UnknownPtr same;
        EXPECT_EQ(wrapper->QueryInterface(IID_IMAPIAdviseSink, reinterpret_cast<void**>(&same)), S_OK);
        EXPECT_EQ(wrapper->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(&same)),
                  MAPI_E_INTERFACE_NOT_SUPPORTED);
    }
    EXPECT_EQ(sink.references, 0u);
    EXPECT_EQ(dll.HrThisThreadAdviseSink(nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
}
