// LinkwellBare.dll: a MAPI runtime that costs next to nothing, so that what its caller costs can be seen. It has one store,
// whose IPM subtree is a folder of LINKWELL_BARE_CONTACTS contacts. These differ by their identifiers alone, which are as long
// as the sandbox's; with LINKWELL_BARE_LETTERS the name of their company has so many letters. Without notifications, checks,
// counts and ends; for programs that hold one contact at a time, as agent and floor do.
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/bare/Objects.h"
#include "mapiabi/MapiTags.h"

namespace bare
{
namespace
{
std::array<BYTE, 24> s_storeId{};
std::array<BYTE, 46> s_folderId{};
std::array<BYTE, 70> s_contactId{}; // of the contact that was opened last

template <std::size_t size>
[[nodiscard]] SPropValue binary(ULONG tag, std::array<BYTE, size>& bytes)
{
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.bin = {static_cast<ULONG>(size), bytes.data()};
    return value;
}

[[nodiscard]] SPropValue text(ULONG tag, const wchar_t* letters)
{
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.lpszW = const_cast<wchar_t*>(letters);
    return value;
}

[[nodiscard]] ULONG numberIn(const char* variable)
{
    const char* const number = std::getenv(variable);
    return number == nullptr ? 0 : static_cast<ULONG>(std::strtoul(number, nullptr, 10));
}

[[nodiscard]] const wchar_t* company()
{
    static const std::wstring s_long(numberIn("LINKWELL_BARE_LETTERS"), L'x');
    return s_long.empty() ? L"Example Trading 42" : s_long.c_str();
}

const std::array s_contactValues = {
    text(PR_DISPLAY_NAME_W, L"Chloé Kovač 000042"),
    text(PR_GIVEN_NAME_W, L"Chloé"),
    text(PR_SURNAME_W, L"Kovač"),
    text(PR_COMPANY_NAME_W, company()),
    text(PR_BUSINESS_TELEPHONE_NUMBER_W, L"+44 1632 960042"),
    text(PR_MOBILE_TELEPHONE_NUMBER_W, L"+44 7700 900042"),
    text(PR_HOME_TELEPHONE_NUMBER_W, L"+44 1632 960542"),
    binary(PR_ENTRYID, s_contactId),
    binary(PR_PARENT_ENTRYID, s_folderId),
    text(PROP_TAG(PT_UNICODE, PidLidEmail1AddressType), L"SMTP"),
    text(PROP_TAG(PT_UNICODE, PidLidEmail1EmailAddress), L"contact-000042-0@example.com"),
};
WithProperties<IMAPIProp> s_contact(s_contactValues);

class Folder final : public sandbox::RefusingFolder<WithProperties<IMAPIFolder>>
{
public:
    Folder() : RefusingFolder(s_values) {}

    HRESULT STDMETHODCALLTYPE GetContentsTable(ULONG, IMAPITable** table) override
    {
        *table = &m_contents;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetHierarchyTable(ULONG, IMAPITable** table) override
    {
        *table = &m_hierarchy;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG, ENTRYID* id, const IID*, ULONG, ULONG*, IUnknown** object) override
    {
        std::memcpy(s_contactId.data(), id, s_contactId.size());
        *object = &s_contact;
        return S_OK;
    }

private:
    static inline const std::array s_values = {binary(PR_ENTRYID, s_folderId), text(PR_DISPLAY_NAME_W, L"Contacts"),
                                               text(PR_CONTAINER_CLASS_W, L"IPF.Contact")};
    static inline const std::array s_row = {binary(PR_ENTRYID, s_contactId)};
    Table m_contents{s_row, numberIn("LINKWELL_BARE_CONTACTS")};
    Table m_hierarchy{s_row, 0};
};
Folder s_folder;

class Store final : public sandbox::RefusingStore<WithProperties<IMsgStore>>
{
public:
    Store() : RefusingStore(s_values) {}

    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown** object) override
    {
        *object = &s_folder;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR* connection) override
    {
        *connection = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return S_OK; }

private:
    static inline std::array<BYTE, 16> s_provider{};
    static inline const std::array s_values = {binary(PR_MDB_PROVIDER, s_provider),
                                               binary(PR_IPM_SUBTREE_ENTRYID, s_folderId)};
};
Store s_store;

class Session final : public sandbox::RefusingSession<Lasting<IMAPISession>>
{
public:
    HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG, IMAPITable** table) override
    {
        *table = &m_stores;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR, ULONG, ENTRYID*, const IID*, ULONG, IMsgStore** store) override
    {
        *store = &s_store;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown**) override
    {
        return MAPI_E_NOT_FOUND;
    }
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG, ULONG* result) override
    {
        *result = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR, ULONG, ULONG) override { return S_OK; }

private:
    static inline const std::array s_row = {binary(PR_ENTRYID, s_storeId), text(PR_DISPLAY_NAME_W, L"Mailbox")};
    Table m_stores{s_row, 1};
};
Session s_session;
} // namespace
} // namespace bare

extern "C"
{
    HRESULT STDAPICALLTYPE MAPIInitialize(void*)
    {
        return S_OK;
    }
    void STDAPICALLTYPE MAPIUninitialize() {}
    HRESULT STDAPICALLTYPE MAPILogonEx(ULONG_PTR, void*, void*, ULONG, IMAPISession** session)
    {
        *session = &bare::s_session;
        return S_OK;
    }
    SCODE STDAPICALLTYPE MAPIAllocateBuffer(ULONG size, void** block)
    {
        *block = bare::allocate(size);
        return S_OK;
    }
    SCODE STDAPICALLTYPE MAPIAllocateMore(ULONG size, void*, void** block)
    {
        *block = bare::allocate(size); // stays: there are few
        return S_OK;
    }
    ULONG STDAPICALLTYPE MAPIFreeBuffer(void* block)
    {
        std::free(block);
        return 0;
    }
    void STDAPICALLTYPE FreeProws(SRowSet* rows)
    {
        std::free(rows);
    }
    HRESULT STDAPICALLTYPE HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value)
    {
        SPropTagArray tags{1, {tag}};
        ULONG count = 0;
        const HRESULT result = object->GetProps(&tags, MAPI_UNICODE, &count, value);
        if (result == S_OK)
            return S_OK;
        std::free(*value);
        *value = nullptr;
        return MAPI_E_NOT_FOUND;
    }
    HRESULT STDAPICALLTYPE HrThisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper)
    {
        sink->AddRef();
        *wrapper = sink;
        return S_OK;
    }
}
