// Runtime.h: the MAPI runtime that LINKWELL_SANDBOX_DLL names, bound by name.
#pragma once

#include "mapiabi/MapiInterfaces.h"

namespace bench
{
/// The flat functions that the floor calls. The module stays loaded.
struct Runtime
{
    HRESULT(STDAPICALLTYPE* initialize)(void* init);
    void(STDAPICALLTYPE* uninitialize)();
    HRESULT(STDAPICALLTYPE* logonEx)(ULONG_PTR, void*, void*, ULONG, IMAPISession**);
    SCODE(STDAPICALLTYPE* allocateBuffer)(ULONG size, void** block);
    ULONG(STDAPICALLTYPE* freeBuffer)(void* block);
    void(STDAPICALLTYPE* freeProws)(SRowSet* rows);
    HRESULT(STDAPICALLTYPE* getOneProp)(IMAPIProp* object, ULONG tag, SPropValue** value);
    HRESULT(STDAPICALLTYPE* thisThreadAdviseSink)(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper);

    /// Throws std::runtime_error when there is no such module or no such name in it.
    [[nodiscard]] static Runtime load();
};

/// Throws std::runtime_error for a failure; warnings pass.
void check(HRESULT result, const char* call);
} // namespace bench
