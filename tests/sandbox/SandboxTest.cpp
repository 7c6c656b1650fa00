#include "tests/sandbox/SandboxTest.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace sandboxtest
{
const SPropValue& Values::at(ULONG index) const
{
    if (index >= m_count)
        throw std::out_of_range("value " + std::to_string(index));
    return m_values[index];
}

const SPropValue& Values::of(ULONG tag) const
{
    const auto found =
        std::find_if(m_values, m_values + m_count, [tag](const SPropValue& value) { return value.ulPropTag == tag; });
    if (found == m_values + m_count)
        throw std::out_of_range("tag " + std::to_string(tag));
    return *found;
}

const SPropValue& Rows::at(ULONG row, ULONG column) const
{
    if (row >= m_rows->cRows || column >= m_rows->aRow[row].cValues)
        throw std::out_of_range("row " + std::to_string(row) + ", column " + std::to_string(column));
    return m_rows->aRow[row].lpProps[column];
}

std::vector<std::wstring> Rows::texts(ULONG column) const
{
    std::vector<std::wstring> texts;
    for (ULONG row = 0; row < count(); ++row)
    {
        const SPropValue& value = at(row, column);
        if (PROP_TYPE(value.ulPropTag) == PT_UNICODE)
            texts.emplace_back(value.Value.lpszW);
        else
        {
            std::wostringstream error;
            error << L"!" << std::hex << static_cast<ULONG>(value.Value.err);
            texts.push_back(error.str());
        }
    }
    return texts;
}

sandbox::Bytes bytesOf(const SPropValue& value)
{
    if (PROP_TYPE(value.ulPropTag) != PT_BINARY)
        throw std::runtime_error("no binary value");
    return sandbox::Bytes(value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb);
}

Tags::Tags(std::initializer_list<ULONG> tags)
{
    m_words.push_back(static_cast<ULONG>(tags.size()));
    m_words.insert(m_words.end(), tags);
}

SandboxTest::SandboxTest()
{
    checkOk(dll.MAPIInitialize(nullptr));
}

SandboxTest::~SandboxTest()
{
    dll.MAPIUninitialize();
    EXPECT_EQ(dll.report(), "Nothing is held.\n");
}

void SandboxTest::serve(const std::string& json)
{
    dll.serve(json);
}

IMAPISessionPtr SandboxTest::logon()
{
    IMAPISessionPtr session;
    checkOk(dll.MAPILogonEx(0, nullptr, nullptr,
                            MAPI_UNICODE | MAPI_USE_DEFAULT | MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_LOGON_UI,
                            &session));
    return session;
}

IMsgStorePtr SandboxTest::openStore(IMAPISession* session, ULONG index)
{
    const IMAPITablePtr table = storesTable(session);
    const sandbox::Bytes id = bytesOf(queryRows(table, {PR_ENTRYID}).at(index, 0));
    IMsgStorePtr store;
    checkOk(session->OpenMsgStore(0, static_cast<ULONG>(id.size()), entryId(id), &IID_IMsgStore,
                                  MAPI_BEST_ACCESS | MDB_NO_DIALOG, &store));
    return store;
}

IMAPIFolderPtr SandboxTest::openIpmSubtree(IMsgStore* store)
{
    return IMAPIFolderPtr(openEntry(store, binaryOf(store, PR_IPM_SUBTREE_ENTRYID)));
}

IMAPIFolderPtr SandboxTest::openSubfolder(IMAPIFolder* folder, ULONG index)
{
    const IMAPITablePtr table = hierarchyTable(folder);
    return IMAPIFolderPtr(openEntry(folder, bytesOf(queryRows(table, {PR_ENTRYID}).at(index, 0))));
}

IMAPIPropPtr SandboxTest::openMessage(IMAPIFolder* folder, ULONG index)
{
    const IMAPITablePtr table = contentsTable(folder);
    return IMAPIPropPtr(openEntry(folder, bytesOf(queryRows(table, {PR_ENTRYID}).at(index, 0))));
}

IMAPITablePtr SandboxTest::contentsTable(IMAPIFolder* folder, ULONG flags)
{
    IMAPITablePtr table;
    checkOk(folder->GetContentsTable(flags, &table));
    return table;
}

IMAPITablePtr SandboxTest::hierarchyTable(IMAPIFolder* folder, ULONG flags)
{
    IMAPITablePtr table;
    checkOk(folder->GetHierarchyTable(flags, &table));
    return table;
}

IMAPITablePtr SandboxTest::storesTable(IMAPISession* session, ULONG flags)
{
    IMAPITablePtr table;
    checkOk(session->GetMsgStoresTable(flags, &table));
    return table;
}

Rows SandboxTest::queryRows(IMAPITable* table, std::initializer_list<ULONG> columns, LONG count)
{
    checkOk(table->SetColumns(Tags(columns), 0));
    return nextRows(table, count, TBL_NOADVANCE);
}

Rows SandboxTest::nextRows(IMAPITable* table, LONG count, ULONG flags)
{
    SRowSet* rows = nullptr;
    checkOk(table->QueryRows(count, flags, &rows));
    return Rows(dll, rows);
}

Values SandboxTest::getProps(IMAPIProp* object, std::initializer_list<ULONG> tags, HRESULT expected, ULONG flags)
{
    ULONG count = 0;
    SPropValue* values = nullptr;
    EXPECT_EQ(object->GetProps(Tags(tags), flags, &count, &values), expected);
    return Values(dll, values, count);
}

std::wstring SandboxTest::textOf(IMAPIProp* object, ULONG tag)
{
    return getProps(object, {tag}).of(tag).Value.lpszW;
}

sandbox::Bytes SandboxTest::binaryOf(IMAPIProp* object, ULONG tag)
{
    return bytesOf(getProps(object, {tag}).of(tag));
}

std::vector<ULONG> SandboxTest::propList(IMAPIProp* object, ULONG flags)
{
    SPropTagArray* tags = nullptr;
    checkOk(object->GetPropList(flags, &tags));
    std::vector<ULONG> list(tags->aulPropTag, tags->aulPropTag + tags->cValues);
    dll.MAPIFreeBuffer(tags);
    return list;
}

void SandboxTest::checkOk(HRESULT result)
{
    if (result == S_OK)
        return;
    std::ostringstream text;
    text << "result 0x" << std::hex << static_cast<ULONG>(result);
    throw std::runtime_error(text.str());
}

ENTRYID* SandboxTest::entryId(const sandbox::Bytes& bytes)
{
    return reinterpret_cast<ENTRYID*>(const_cast<std::uint8_t*>(bytes.data()));
}
} // namespace sandboxtest
