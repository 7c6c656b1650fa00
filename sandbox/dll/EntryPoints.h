// EntryPoints.h: the nine flat functions of the runtime, as published; exported by LinkwellSandbox.def.
#pragma once

#include "mapiabi/MapiInterfaces.h"

extern "C"
{
    HRESULT STDAPICALLTYPE MAPIInitialize(void* init);
    void STDAPICALLTYPE MAPIUninitialize();
    HRESULT STDAPICALLTYPE MAPILogonEx(ULONG_PTR window, void* profile, void* password, ULONG flags,
                                       IMAPISession** session);
    SCODE STDAPICALLTYPE MAPIAllocateBuffer(ULONG size, void** block);
    SCODE STDAPICALLTYPE MAPIAllocateMore(ULONG size, void* root, void** block);
    ULONG STDAPICALLTYPE MAPIFreeBuffer(void* block);
    void STDAPICALLTYPE FreeProws(SRowSet* rows);
    HRESULT STDAPICALLTYPE HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value);
    HRESULT STDAPICALLTYPE HrThisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper);
}
