// holder.cpp: a client in a process of its own. Logs on, keeps what its arguments name, and ends.
//
// linkwell_sandbox_holder [nothing] [session] [property] [table] [scribble]
// "scribble" keeps nothing, but writes into a value that it has freed.
// Exit status: 0, or 1 when the logon fails.
#include <string_view>

#include "mapiabi/MapiTags.h"
#include "tests/support/sandbox/SandboxDll.h"

int main(int count, char** arguments)
{
    // Never unloaded, as by an ordinary client: what is held is held until the end of the process.
    auto& dll = *new sandboxtest::SandboxDll;
    dll.MAPIInitialize(nullptr);
    IMAPISession* session = nullptr;
    const ULONG flags = MAPI_UNICODE | MAPI_EXTENDED | MAPI_USE_DEFAULT;
    if (FAILED(dll.MAPILogonEx(0, nullptr, nullptr, flags, &session)))
        return 1;

    bool keepsSession = false;
    for (int index = 1; index < count; ++index)
    {
        const std::string_view argument = arguments[index];
        IMAPITable* table = nullptr;
        session->GetMsgStoresTable(0, &table);
        SRowSet* rows = nullptr;
        table->QueryRows(1, 0, &rows);
        const SBinary id = rows->aRow[0].lpProps[0].Value.bin;
        IMsgStore* store = nullptr;
        session->OpenMsgStore(0, id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, 0, &store);
        SPropValue* value = nullptr;
        dll.HrGetOneProp(store, PR_DISPLAY_NAME_W, &value);

        if (argument != "property")
            dll.MAPIFreeBuffer(value);
        if (argument == "scribble")
            value->ulPropTag = 0;
        if (argument != "table")
            table->Release();
        keepsSession = keepsSession || argument == "session";
        store->Release();
        dll.FreeProws(rows);
    }
    if (!keepsSession)
        session->Release();
    dll.MAPIUninitialize();
    return 0;
}
