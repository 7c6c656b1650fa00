// FakeRuntime.cpp: a DLL with the nine entry points of a MAPI runtime. Each notes its arguments and answers what the
// test asks for, and does nothing.
#include "tests/mapi/modules/FakeRuntime.h"

#include <windows.h>
#include <wtypes.h>

namespace
{
template <class... Arguments>
std::uint32_t note(FakeRuntimeCall& call, const char* name, Arguments... arguments)
{
    call.name = name;
    call.arguments = {static_cast<std::uint64_t>(arguments)...};
    return call.result;
}

std::uint64_t number(const void* pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}
} // namespace

extern "C"
{
    __declspec(dllexport) FakeRuntimeCall fakeRuntimeCall;

    __declspec(dllexport) HRESULT STDAPICALLTYPE MAPIInitialize(void* init)
    {
        return static_cast<HRESULT>(note(fakeRuntimeCall, __func__, number(init)));
    }
    __declspec(dllexport) void STDAPICALLTYPE MAPIUninitialize()
    {
        note(fakeRuntimeCall, __func__);
    }
    __declspec(dllexport) HRESULT STDAPICALLTYPE
        MAPILogonEx(ULONG_PTR window, void* profileName, void* password, ULONG flags, void** session)
    {
        return static_cast<HRESULT>(
            note(fakeRuntimeCall, __func__, window, number(profileName), number(password), flags, number(session)));
    }
    __declspec(dllexport) SCODE STDAPICALLTYPE MAPIAllocateBuffer(ULONG size, void** buffer)
    {
        return static_cast<SCODE>(note(fakeRuntimeCall, __func__, size, number(buffer)));
    }
    __declspec(dllexport) SCODE STDAPICALLTYPE MAPIAllocateMore(ULONG size, void* parent, void** buffer)
    {
        return static_cast<SCODE>(note(fakeRuntimeCall, __func__, size, number(parent), number(buffer)));
    }
    __declspec(dllexport) ULONG STDAPICALLTYPE MAPIFreeBuffer(void* buffer)
    {
        return note(fakeRuntimeCall, __func__, number(buffer));
    }
    __declspec(dllexport) void STDAPICALLTYPE FreeProws(void* rows)
    {
        note(fakeRuntimeCall, __func__, number(rows));
    }
    __declspec(dllexport) HRESULT STDAPICALLTYPE HrGetOneProp(void* object, ULONG tag, void** value)
    {
        return static_cast<HRESULT>(note(fakeRuntimeCall, __func__, number(object), tag, number(value)));
    }
    __declspec(dllexport) HRESULT STDAPICALLTYPE HrThisThreadAdviseSink(void* sink, void** wrapper)
    {
        return static_cast<HRESULT>(note(fakeRuntimeCall, __func__, number(sink), number(wrapper)));
    }
}
