// MapiRuntime.h: finds the machine's MAPI runtime and binds the nine flat functions that the agent calls.
//
// The agent is linked against no MAPI library, so that it starts on machines without one. Nothing here logs, throws
// or takes memory: a function that can't be had gives a fixed result, which its callers report. Safe from any thread,
// without a lock.
#pragma once

#include "mapiabi/MapiInterfaces.h"

#include <atomic>

namespace mapi
{
/// The runtime; null until a search has found one, and never freed. Written by compare-and-exchange from null only.
extern std::atomic<HMODULE> mapiModule;
/// Starts at 1 and grows with each search that ended with a module. What was bound under an older number is bound anew.
extern std::atomic<ULONG> mapiGeneration;

/// The runtime, or null. Searches as long as none has been found (settled behaviour 44): a runtime that the process has
/// already loaded, the default mail client's, "mapi32.dll" of the system directory.
[[nodiscard]] HMODULE getMapiModule() noexcept;

/// Loads the MAPI runtime that a mail client has registered under HKEY_LOCAL_MACHINE "Software\Clients\Mail": by its
/// installer's component, else by "DllPathEx", else by "DllPath". Null when there is none. The registry keys stay open
/// (settled behaviour 43).
/// @param clientName  the client, or null for the machine's default.
[[nodiscard]] HMODULE loadDefaultMailClientModule(const wchar_t* clientName) noexcept;

/// The nine entry points of the runtime, bound by name when they are first called. Each has the signature and the
/// result of its published function; the comment gives the result when it can't be called.
HRESULT MAPIInitialize(void* init);                                                   // MAPI_E_CALL_FAILED
void MAPIUninitialize();                                                              // nothing happens
HRESULT MAPILogonEx(ULONG_PTR window, void* profileName, void* password, ULONG flags, //
                    IMAPISession** session);                                          // MAPI_E_CALL_FAILED
SCODE MAPIAllocateBuffer(ULONG size, void** buffer);                                  // MAPI_E_CALL_FAILED
SCODE MAPIAllocateMore(ULONG size, void* parent, void** buffer);                      // MAPI_E_CALL_FAILED
ULONG MAPIFreeBuffer(void* buffer);                                                   // 0; the block stays
void FreeProws(SRowSet* rows);                                                        // nothing happens
HRESULT HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value);               // MAPI_E_CALL_FAILED
HRESULT HrThisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper);     // MAPI_E_CALL_FAILED
} // namespace mapi
