// MapiPointers.h: IXxxPtr, the counted smart pointer for each MAPI interface IXxx that the agent holds.
//
// A copy adds a reference, the destructor releases it. Dereferencing a null pointer raises _com_error with E_POINTER.
// Building one from another interface's pointer goes through QueryInterface: E_NOINTERFACE leaves it null, any other
// failure raises _com_error. Building one from a raw pointer of its own interface adds a reference.
#pragma once

#include "mapiabi/MapiInterfaces.h"

#include <comdef.h>

using IMAPISessionPtr = _com_ptr_t<_com_IIID<IMAPISession, &IID_IMAPISession>>;
using IMsgStorePtr = _com_ptr_t<_com_IIID<IMsgStore, &IID_IMsgStore>>;
using IMAPIFolderPtr = _com_ptr_t<_com_IIID<IMAPIFolder, &IID_IMAPIFolder>>;
using IMAPIPropPtr = _com_ptr_t<_com_IIID<IMAPIProp, &IID_IMAPIProp>>;
using IMAPITablePtr = _com_ptr_t<_com_IIID<IMAPITable, &IID_IMAPITable>>;
using IMAPIAdviseSinkPtr = _com_ptr_t<_com_IIID<IMAPIAdviseSink, &IID_IMAPIAdviseSink>>;
using IMAPIClientShutdownPtr = _com_ptr_t<_com_IIID<IMAPIClientShutdown, &IID_IMAPIClientShutdown>>;

namespace mapi
{
/// The out argument of a call that opens an object as the interface of the pointer. Releases what the pointer holds.
template <class Pointer>
[[nodiscard]] IUnknown** unknownSlot(Pointer& pointer)
{
    return reinterpret_cast<IUnknown**>(&pointer);
}
} // namespace mapi
