#include "bench/floor/Reading.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>
#include <stdexcept>
#include <vector>

#include "bench/floor/Lines.h"
#include "bench/floor/Output.h"
#include "mapiabi/MapiTags.h"

namespace bench
{
namespace
{
using Clock = std::chrono::steady_clock;

/// A tag array of a fixed size, laid out as SPropTagArray.
template <std::size_t count>
struct Tags
{
    ULONG size = count;
    std::array<ULONG, count> tags;

    operator SPropTagArray*() { return reinterpret_cast<SPropTagArray*>(this); }
};

Tags<5> storeColumns{.tags = {PR_ENTRYID, PR_DISPLAY_NAME_W, PR_DEFAULT_STORE, PR_MDB_PROVIDER, PR_PROVIDER_DISPLAY_W}};
Tags<3> folderColumns{.tags = {PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE}};
Tags<1> contactColumns{.tags = {PR_ENTRYID}};

[[nodiscard]] ENTRYID* bytesOf(const SBinary& id)
{
    return reinterpret_cast<ENTRYID*>(id.lpb);
}

/// Frees a block of the runtime, or an object, when it goes.
template <class T, class Free>
class Owned
{
public:
    Owned(T* value, Free release) : m_value(value), m_release(release) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned()
    {
        if (m_value != nullptr)
            m_release(m_value);
    }
    T* operator->() const { return m_value; }
    T& operator*() const { return *m_value; }

private:
    T* m_value;
    Free m_release;
};

template <class T>
[[nodiscard]] auto owned(T* object)
{
    return Owned(object, [](T* value) { value->Release(); });
}

/// All rows of a table.
[[nodiscard]] SRowSet* rowsOf(IMAPITable& table, SPropTagArray* columns)
{
    ULONG count = 0;
    SRowSet* rows = nullptr;
    check(table.SetColumns(columns, 0), "SetColumns");
    check(table.GetRowCount(0, &count), "GetRowCount");
    if (count != 0)
        check(table.QueryRows(static_cast<LONG>(count), TBL_NOADVANCE, &rows), "QueryRows");
    return rows;
}

/// Lets visible folders through, as the agent's filter does.
[[nodiscard]] SRestriction* visibleFolders()
{
    static SPropValue s_notHidden{.ulPropTag = PR_ATTR_HIDDEN, .dwAlignPad = 0, .Value = {}};
    static SRestriction s_exists{.rt = RES_EXIST, .res = {}};
    static std::array<SRestriction, 2> s_parts{};
    static SRestriction s_any{.rt = RES_OR, .res = {}};
    s_exists.res.resExist.ulPropTag = PR_ATTR_HIDDEN;
    s_parts[0].rt = RES_NOT;
    s_parts[0].res.resNot.lpRes = &s_exists;
    s_parts[1].rt = RES_PROPERTY;
    s_parts[1].res.resProperty.relop = RELOP_EQ;
    s_parts[1].res.resProperty.ulPropTag = PR_ATTR_HIDDEN;
    s_parts[1].res.resProperty.lpProp = &s_notHidden;
    s_any.res.resOr.cRes = static_cast<ULONG>(s_parts.size());
    s_any.res.resOr.lpRes = s_parts.data();
    return &s_any;
}
} // namespace

Reader::Reader(const Runtime& runtime, bool keepsTexts) : m_runtime(runtime), m_keepsTexts(keepsTexts)
{
    check(m_runtime.initialize(nullptr), "MAPIInitialize");
    check(m_runtime.logonEx(0, nullptr, nullptr,
                            MAPI_UNICODE | MAPI_USE_DEFAULT | MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_LOGON_UI,
                            &m_session),
          "MAPILogonEx");
    check(m_runtime.initialize(nullptr), "MAPIInitialize");
    openFirstStore();
}

Reader::~Reader()
{
    m_store->Release();
    m_session->Release();
    m_runtime.uninitialize();
    m_runtime.uninitialize();
}

void Reader::openFirstStore()
{
    IMAPITable* table = nullptr;
    check(m_session->GetMsgStoresTable(0, &table), "GetMsgStoresTable");
    const auto tableOwner = owned(table);
    const Owned rows(rowsOf(*table, storeColumns), m_runtime.freeProws);
    check(m_session->OpenMsgStore(0, rows->aRow[0].lpProps[0].Value.bin.cb, bytesOf(rows->aRow[0].lpProps[0].Value.bin),
                                  &IID_IMsgStore, MAPI_BEST_ACCESS | MDB_NO_DIALOG, &m_store),
          "OpenMsgStore");
    SPropValue* provider = nullptr;
    check(m_runtime.getOneProp(m_store, PR_MDB_PROVIDER, &provider), "HrGetOneProp");
    m_runtime.freeBuffer(provider);
}

Message Reader::snapshot()
{
    Message message;
    message.bytes = std::string(4, '\0') + "2;snapshot;contact;0;1";
    visitFolders(
        [this, &message](IMAPIFolder& folder)
        {
            if (isContactFolder(folder) && isContactFolder(folder))
                readContacts(folder, message);
        });
    setLength(message.bytes);
    return message;
}

void Reader::visitFolders(const std::function<void(IMAPIFolder&)>& visitor)
{
    SPropValue* root = nullptr;
    check(m_runtime.getOneProp(m_store, PR_IPM_SUBTREE_ENTRYID, &root), "HrGetOneProp");
    const Owned rootOwner(root, m_runtime.freeBuffer);
    ULONG type = 0;
    IMAPIFolder* folder = nullptr;
    check(m_store->OpenEntry(root->Value.bin.cb, bytesOf(root->Value.bin), &IID_IMAPIFolder, 0, &type,
                             reinterpret_cast<IUnknown**>(&folder)),
          "OpenEntry");
    const auto folderOwner = owned(folder);
    visitFolder(*folder, visitor);
}

/// By its class alone; the mailboxes of measurements have one on each folder.
bool Reader::isContactFolder(IMAPIFolder& folder)
{
    for (int question = 0; question < 2; ++question) // the agent asks for the list twice
    {
        SPropTagArray* list = nullptr;
        check(folder.GetPropList(MAPI_UNICODE, &list), "GetPropList");
        const Owned listOwner(list, m_runtime.freeBuffer);
        if (std::find(list->aulPropTag, list->aulPropTag + list->cValues, PR_CONTAINER_CLASS_W) ==
            list->aulPropTag + list->cValues)
            throw std::runtime_error("a folder without a class");
    }
    SPropValue* value = nullptr;
    check(m_runtime.getOneProp(&folder, PR_CONTAINER_CLASS_W, &value), "HrGetOneProp");
    const Owned valueOwner(value, m_runtime.freeBuffer);
    return std::wcscmp(value->Value.lpszW, L"IPF.Contact") == 0;
}

void Reader::visitFolder(IMAPIFolder& folder, const std::function<void(IMAPIFolder&)>& visitor)
{
    visitor(folder);
    IMAPITable* table = nullptr;
    check(folder.GetHierarchyTable(MAPI_UNICODE, &table), "GetHierarchyTable");
    const auto tableOwner = owned(table);
    check(table->Restrict(visibleFolders(), TBL_BATCH), "Restrict");
    std::vector<IMAPIFolder*> subfolders;
    SRowSet* const set = rowsOf(*table, folderColumns);
    const Owned rows(set, m_runtime.freeProws);
    for (ULONG index = 0; set != nullptr && index < set->cRows; ++index)
    {
        const SBinary& id = set->aRow[index].lpProps[0].Value.bin;
        ULONG type = 0;
        IMAPIFolder* subfolder = nullptr;
        check(folder.OpenEntry(id.cb, bytesOf(id), &IID_IMAPIFolder, MAPI_BEST_ACCESS, &type,
                               reinterpret_cast<IUnknown**>(&subfolder)),
              "OpenEntry");
        subfolders.push_back(subfolder);
    }
    for (IMAPIFolder* const subfolder : subfolders)
    {
        const auto owner = owned(subfolder);
        visitFolder(*subfolder, visitor);
    }
}

void Reader::readContacts(IMAPIFolder& folder, Message& message)
{
    IMAPITable* table = nullptr;
    check(folder.GetContentsTable(MAPI_UNICODE, &table), "GetContentsTable");
    const auto tableOwner = owned(table);
    SRowSet* const set = rowsOf(*table, contactColumns);
    const Owned rows(set, m_runtime.freeProws);
    for (ULONG index = 0; set != nullptr && index < set->cRows; ++index)
    {
        const SBinary& id = set->aRow[index].lpProps[0].Value.bin;
        ULONG type = 0;
        IMAPIProp* contact = nullptr;
        check(folder.OpenEntry(id.cb, bytesOf(id), &IID_IMAPIProp, 0, &type, reinterpret_cast<IUnknown**>(&contact)),
              "OpenEntry");
        const auto contactOwner = owned(contact);
        readContact(*contact, message);
    }
}

void Reader::readContact(IMAPIProp& contact, Message& message)
{
    // The agent's tags stand in the runtime's memory, with a whole structure for each.
    SPropTagArray* tags = nullptr;
    check(m_runtime.allocateBuffer(static_cast<ULONG>(contactTags.size() * sizeof(SPropTagArray)),
                                   reinterpret_cast<void**>(&tags)),
          "MAPIAllocateBuffer");
    const Owned tagOwner(tags, m_runtime.freeBuffer);
    tags->cValues = static_cast<ULONG>(contactTags.size());
    std::memcpy(tags->aulPropTag, contactTags.data(), sizeof(contactTags));
    ULONG count = 0;
    SPropValue* values = nullptr;
    check(contact.GetProps(tags, MAPI_UNICODE, &count, &values), "GetProps");
    const Owned valueOwner(values, m_runtime.freeBuffer);

    GUID set = PSETID_Address;
    std::array<MAPINAMEID, 3> names{};
    std::array<MAPINAMEID*, 3> pointers{};
    constexpr std::array<LONG, 3> numbers = {PidLidEmail1AddressType, PidLidEmail1EmailAddress,
                                             PidLidEmail1OriginalEntryId};
    for (std::size_t index = 0; index < names.size(); ++index)
    {
        names[index].lpguid = &set;
        names[index].ulKind = MNID_ID;
        names[index].Kind.lID = numbers[index];
        pointers[index] = &names[index];
    }
    SPropTagArray* named = nullptr;
    check(contact.GetIDsFromNames(static_cast<ULONG>(pointers.size()), pointers.data(), MAPI_CREATE, &named),
          "GetIDsFromNames");
    const Owned namedOwner(named, m_runtime.freeBuffer);
    constexpr std::array<ULONG, 3> types = {PT_UNICODE, PT_UNICODE, PT_BINARY};
    for (std::size_t index = 0; index < types.size(); ++index)
        named->aulPropTag[index] = CHANGE_PROP_TYPE(named->aulPropTag[index], types[index]);
    SPropValue* addresses = nullptr;
    check(contact.GetProps(named, MAPI_UNICODE, &count, &addresses), "GetProps");
    const Owned addressOwner(addresses, m_runtime.freeBuffer);

    const Clock::time_point begin = Clock::now();
    const SPropValue& address = addresses[1]; // an SMTP address: the mailboxes of measurements have no others
    if (m_keepsTexts)
        message.texts.push_back(lineOf(values, address));
    else
    {
        message.bytes += '\n';
        appendLine(message.bytes, values, address);
    }
    message.composing += Clock::now() - begin;
}
} // namespace bench
