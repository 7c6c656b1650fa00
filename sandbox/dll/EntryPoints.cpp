#include "sandbox/dll/EntryPoints.h"

#include <objbase.h>

#include "sandbox/dll/ControlLifetime.h"
#include "sandbox/runtime/Runtime.h"
#include "sandbox/runtime/objects/AdviseSinkWrapper.h"
#include "sandbox/runtime/objects/SessionObject.h"
#include "sandbox/runtime/record/Ledger.h"
#include "sandbox/runtime/record/Memory.h"
#include "sandbox/runtime/record/PropertyMemory.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace
{
using namespace sandbox;

/// MAPIINIT_0, what MAPIInitialize may be given.
struct InitParameters
{
    ULONG version;
    ULONG flags;
};
constexpr ULONG noCoInit = 0x8; // MAPI_NO_COINIT
constexpr ULONG initFlags =
    noCoInit | 0x1 /* MAPI_MULTITHREAD_NOTIFICATIONS: not heeded */ | 0x10000 /* MAPI_NT_SERVICE */;

constexpr ULONG logonFlags =
    MAPI_UNICODE | MAPI_LOGON_UI | MAPI_NEW_SESSION | MAPI_EXTENDED | MAPI_USE_DEFAULT | 0x4 /* MAPI_APP_PROFILE */ |
    0x8 /* MAPI_ALLOW_OTHERS */ | 0x10 /* MAPI_EXPLICIT_PROFILE */ | 0x1000 /* MAPI_FORCE_DOWNLOAD */ |
    0x2000 /* MAPI_SERVICE_UI_ALWAYS */ | 0x8000 /* MAPI_NO_MAIL */ | 0x10000 /* MAPI_NT_SERVICE */ |
    0x20000 /* MAPI_PASSWORD_UI */ | 0x100000 /* MAPI_TIMEOUT_SHORT */ | 0x200000 /* MAPI_BG_SESSION */;

/// The thread's calls of CoInitialize that its calls of MAPIUninitialize undo.
constinit thread_local unsigned s_comInitializations = 0;

void requireInitialized()
{
    require(Runtime::instance().isInitialized(), MAPI_E_NOT_INITIALIZED);
}

/// The mailbox that is served; null before the first initialisation.
[[nodiscard]] std::shared_ptr<Mailbox> servedMailbox()
{
    return Runtime::instance().isInitialized() ? Runtime::instance().mailbox() : nullptr;
}

/// Runs the body of a flat function. The mailbox is held meanwhile.
template <class Describe, class Work>
HRESULT serveFlat(const char* name, Describe&& describeArguments, Work&& work) noexcept
{
    return serve(name, noTarget, describeArguments,
                 [&]
                 {
                     const std::shared_ptr<Mailbox> mailbox = servedMailbox();
                     requireInitialized();
                     return work(mailbox);
                 });
}

[[nodiscard]] Arguments describe(const InitParameters* parameters)
{
    if (parameters == nullptr)
        return noArguments();
    return {{"ulVersion", hexText(parameters->version)}, {"ulFlags", hexText(parameters->flags)}};
}

void initialize(const InitParameters* parameters)
{
    if (parameters != nullptr)
        require(parameters->version == 0);
    const ULONG flags = parameters != nullptr ? parameters->flags : 0;
    requireFlags(flags, initFlags);
    Runtime::instance().initialize();
    if ((flags & noCoInit) == 0 && SUCCEEDED(CoInitialize(nullptr)))
        ++s_comInitializations;
    ControlLifetime::instance()
        .update(); // not only the first time: nobody comes back from here before the pipe is there
}
} // namespace

HRESULT STDAPICALLTYPE MAPIInitialize(void* init)
{
    const auto* parameters = static_cast<const InitParameters*>(init);
    try
    {
        (void)Runtime::instance().mailbox(); // before the call begins: the file may plan for it
    }
    catch (...)
    {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    return serve(
        "MAPIInitialize", noTarget, [&] { return describe(parameters); },
        [&]
        {
            initialize(parameters);
            return S_OK;
        });
}

void STDAPICALLTYPE MAPIUninitialize()
{
    (void)serve("MAPIUninitialize", noTarget, noArguments,
                []
                {
                    if (!Runtime::instance().uninitialize())
                        ledger::noteMisuse("the runtime was not initialised", Call::current());
                    ControlLifetime::instance().update();
                    Runtime::instance().forgetUnusedFile();
                    if (s_comInitializations != 0)
                    {
                        --s_comInitializations;
                        CoUninitialize();
                    }
                    return S_OK;
                });
}

HRESULT STDAPICALLTYPE MAPILogonEx(ULONG_PTR window, void* profile, void* password, ULONG flags, IMAPISession** session)
{
    return serveFlat(
        "MAPILogonEx",
        [&]
        {
            return Arguments{{"ulUIParam", hexText(window)},
                             {"lpszProfileName", textText(profile, flags)},
                             {"lpszPassword", textText(password, flags)},
                             {"ulFlags", hexText(flags)}};
        },
        [&](const std::shared_ptr<Mailbox>& mailbox)
        {
            require(session != nullptr);
            *session = nullptr;
            requireFlags(flags, logonFlags);
            require((flags & MAPI_EXTENDED) != 0); // there is no other interface here
            if (!mailbox)
            {
                complain("LinkwellSandbox: " + Runtime::instance().failure());
                throw MapiFailure(MAPI_E_LOGON_FAILED);
            }
            *session = new SessionObject(mailbox);
            spoilObject(session);
            return S_OK;
        });
}

SCODE STDAPICALLTYPE MAPIAllocateBuffer(ULONG size, void** block)
{
    return serveFlat(
        "MAPIAllocateBuffer", [&] { return Arguments{{"cbSize", hexText(size)}}; },
        [&](const std::shared_ptr<Mailbox>&)
        {
            require(block != nullptr);
            *block = nullptr;
            *block = memory::allocate(size);
            spoilBlock(block);
            return S_OK;
        });
}

SCODE STDAPICALLTYPE MAPIAllocateMore(ULONG size, void* root, void** block)
{
    return serveFlat(
        "MAPIAllocateMore", [&] { return Arguments{{"cbSize", hexText(size)}}; },
        [&](const std::shared_ptr<Mailbox>&)
        {
            require(block != nullptr);
            *block = nullptr;
            *block = memory::allocateMore(size, root);
            return S_OK;
        });
}

ULONG STDAPICALLTYPE MAPIFreeBuffer(void* block)
{
    return static_cast<ULONG>(serve("MAPIFreeBuffer", noTarget, Unrecorded(), [block] { return memory::free(block); }));
}

void STDAPICALLTYPE FreeProws(SRowSet* rows)
{
    (void)serve("FreeProws", noTarget, Unrecorded(), [rows] { return freeRows(rows); });
}

HRESULT STDAPICALLTYPE HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value)
{
    return serveFlat(
        "HrGetOneProp", [&] { return Arguments{{"ulPropTag", hexText(tag)}}; },
        [&](const std::shared_ptr<Mailbox>&)
        {
            require(object != nullptr && value != nullptr);
            *value = nullptr;
            SPropTagArray tags = {1, {tag}};
            ULONG count = 0;
            SPropValue* values = nullptr;
            const HRESULT result = object->GetProps(&tags, 0, &count, &values);
            require(SUCCEEDED(result), result);
            memory::Owner owner(values);
            require(count == 1 && values != nullptr, MAPI_E_CALL_FAILED);
            require(result != MAPI_W_ERRORS_RETURNED || PROP_TYPE(values->ulPropTag) != PT_ERROR, values->Value.err);
            (void)owner.release();
            *value = values;
            spoilValues(value, count);
            return result;
        });
}

HRESULT STDAPICALLTYPE HrThisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper)
{
    return serveFlat(
        "HrThisThreadAdviseSink", [&] { return Arguments{{"lpAdviseSink", sinkText(sink)}}; },
        [&](const std::shared_ptr<Mailbox>&)
        {
            require(sink != nullptr && wrapper != nullptr);
            *wrapper = nullptr;
            *wrapper = AdviseSinkWrapper::make(sink).release();
            spoilObject(wrapper);
            return S_OK;
        });
}
