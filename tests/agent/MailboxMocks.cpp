#include "tests/agent/MailboxMocks.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace tests
{
using support::interfaceFault;
using testing::_;
using testing::AnyNumber;

namespace
{
const EntryId privateProvider(16, 0x11);

Properties with(Properties properties, Property added)
{
    properties.push_back(std::move(added));
    return properties;
}

/// An action for the calls that give a table.
auto givesTable(const Mocked<MockTable>& table)
{
    return [object = table.get()](ULONG, IMAPITable** out)
    {
        if (const HRESULT fault = interfaceFault(); fault < 0)
            return fault;
        object->AddRef();
        *out = object;
        return S_OK;
    };
}

/// Opens `objects` by OpenEntry of a store or a folder.
template <class Mock>
void giveObjects(const Mocked<Mock>& mock, const Objects& objects)
{
    EXPECT_CALL(*mock, OpenEntry(_, _, _, _, _, _))
        .Times(AnyNumber())
        .WillRepeatedly([objects](ULONG size, ENTRYID* bytes, const IID*, ULONG, ULONG*, IUnknown** object)
                        { return openObject(objects, size, bytes, object); });
}

Properties hierarchyRow(const FolderMock& folder)
{
    return {Property::bytes(PR_ENTRYID, folder.id), Property::text(PR_DISPLAY_NAME_W, L"subfolder"),
            Property::number(PR_OBJECT_TYPE, MAPI_FOLDER)};
}
} // namespace

HRESULT openObject(const Objects& objects, ULONG size, const ENTRYID* bytes, IUnknown** object)
{
    if (const HRESULT fault = interfaceFault(); fault < 0)
        return fault;
    const EntryId wanted = mapi::makeEntryId(size, bytes);
    const auto found = std::ranges::find(objects, wanted, &Objects::value_type::first);
    if (found == objects.end() || found->second == nullptr)
        return MAPI_E_NOT_FOUND;
    found->second->AddRef();
    *object = found->second;
    return S_OK;
}

ContactMock::ContactMock(EntryId entryId, const Properties& properties) : id(std::move(entryId))
{
    support::giveProperties(message, properties);
    EXPECT_CALL(*message, GetIDsFromNames(_, _, _, _))
        .Times(AnyNumber())
        .WillRepeatedly(
            [](ULONG, MAPINAMEID**, ULONG, SPropTagArray** tags)
            {
                if (const HRESULT fault = interfaceFault(); fault < 0)
                    return fault;
                *tags = support::makeTags({0x81010000, 0x81020000, 0x81030000});
                return S_OK;
            });
}

ContactMock::ContactMock(EntryId entryId, const std::wstring& name)
    : ContactMock(entryId, {Property::text(PR_DISPLAY_NAME_W, name), Property::bytes(PR_ENTRYID, entryId)})
{
}

FolderMock::FolderMock(EntryId entryId, const Properties& properties, const std::vector<ContactMock*>& contacts,
                       const std::vector<FolderMock*>& subfolders)
    : id(std::move(entryId))
{
    Objects objects;
    std::vector<Properties> messageRows;
    std::vector<Properties> folderRows;
    for (const ContactMock* const contact : contacts)
    {
        objects.emplace_back(contact->id, contact->message.get());
        messageRows.push_back({Property::bytes(PR_ENTRYID, contact->id)});
    }
    for (const FolderMock* const subfolder : subfolders)
    {
        objects.emplace_back(subfolder->id, subfolder->folder.get());
        folderRows.push_back(hierarchyRow(*subfolder));
    }
    support::giveRows(contents, messageRows);
    support::giveRows(hierarchy, folderRows);
    EXPECT_CALL(*contents, FindRow(_, _, _))
        .Times(AnyNumber())
        .WillRepeatedly(testing::InvokeWithoutArgs(interfaceFault));
    EXPECT_CALL(*hierarchy, Restrict(_, _))
        .Times(AnyNumber())
        .WillRepeatedly(testing::InvokeWithoutArgs(interfaceFault));
    support::giveProperties(folder, with(properties, Property::bytes(PR_ENTRYID, id)));
    EXPECT_CALL(*folder, GetContentsTable(_, _)).Times(AnyNumber()).WillRepeatedly(givesTable(contents));
    EXPECT_CALL(*folder, GetHierarchyTable(_, _)).Times(AnyNumber()).WillRepeatedly(givesTable(hierarchy));
    giveObjects(folder, objects);
}

Properties contactFolder()
{
    return {Property::text(PR_CONTAINER_CLASS_W, L"IPF.Contact")};
}

Properties otherFolder()
{
    return {Property::text(PR_CONTAINER_CLASS_W, L"IPF.Note")};
}

StoreMock::StoreMock(EntryId entryId, FolderMock& ipmSubtree, bool isPublic) : id(std::move(entryId))
{
    support::giveProperties(store, {Property::bytes(PR_MDB_PROVIDER, isPublic ? publicProvider : privateProvider),
                                    Property::bytes(PR_IPM_SUBTREE_ENTRYID, ipmSubtree.id)});
    giveObjects(store, {{ipmSubtree.id, ipmSubtree.folder.get()}});
}

StoreRow storeRow(StoreMock& store, const std::wstring& name, bool isDefault)
{
    return {&store,
            {Property::bytes(PR_ENTRYID, store.id), Property::text(PR_DISPLAY_NAME_W, name),
             Property::flag(PR_DEFAULT_STORE, isDefault), Property::bytes(PR_MDB_PROVIDER, privateProvider),
             Property::text(PR_PROVIDER_DISPLAY_W, L"Provider")}};
}

SessionMock::SessionMock(const std::vector<StoreRow>& rows)
{
    Objects objects;
    std::vector<Properties> values;
    for (const StoreRow& row : rows)
    {
        if (row.store != nullptr)
            objects.emplace_back(row.store->id, row.store->store.get());
        values.push_back(row.values);
    }
    support::giveRows(stores, values);
    EXPECT_CALL(*session, GetMsgStoresTable(_, _)).Times(AnyNumber()).WillRepeatedly(givesTable(stores));
    EXPECT_CALL(*session, OpenMsgStore(_, _, _, _, _, _))
        .Times(AnyNumber())
        .WillRepeatedly(
            [objects](ULONG_PTR, ULONG size, ENTRYID* bytes, const IID*, ULONG, IMsgStore** store)
            {
                IUnknown* object = nullptr;
                const HRESULT result = openObject(objects, size, bytes, &object);
                *store = static_cast<IMsgStore*>(object); // only stores are among the objects
                return result;
            });
    EXPECT_CALL(*session, Logoff(_, _, _))
        .Times(AnyNumber())
        .WillRepeatedly(testing::InvokeWithoutArgs(interfaceFault));
}
} // namespace tests
