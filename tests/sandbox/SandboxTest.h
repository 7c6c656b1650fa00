// SandboxTest.h: a client of the sandbox: the DLL, a mailbox, a session and short ways to what lies in it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "agent/mapi/MapiPointers.h"
#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Bytes.h"
#include "tests/support/sandbox/SandboxDll.h"

namespace sandboxtest
{
/// An object of whatever interface.
using UnknownPtr = _com_ptr_t<_com_IIID<IUnknown, &IID_IUnknown>>;

/// Property values that the sandbox gave out; freed with this object.
class Values
{
public:
    Values(SandboxDll& dll, SPropValue* values, ULONG count) : m_dll(dll), m_values(values), m_count(count) {}
    Values(const Values&) = delete;
    Values& operator=(const Values&) = delete;
    ~Values() { m_dll.MAPIFreeBuffer(m_values); }

    [[nodiscard]] ULONG count() const noexcept { return m_count; }
    /// Throws beyond the end.
    [[nodiscard]] const SPropValue& at(ULONG index) const;
    /// The value with this tag; throws if there is none.
    [[nodiscard]] const SPropValue& of(ULONG tag) const;

private:
    SandboxDll& m_dll;
    SPropValue* m_values;
    ULONG m_count;
};

/// Rows that the sandbox gave out; freed with this object.
class Rows
{
public:
    Rows(SandboxDll& dll, SRowSet* rows) : m_dll(dll), m_rows(rows) {}
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;
    ~Rows() { m_dll.FreeProws(m_rows); }

    [[nodiscard]] ULONG count() const noexcept { return m_rows->cRows; }
    /// The value of a column in a row; throws beyond the end.
    [[nodiscard]] const SPropValue& at(ULONG row, ULONG column) const;
    /// One column of text; "!" and the error's code in place of an error.
    [[nodiscard]] std::vector<std::wstring> texts(ULONG column = 0) const;

private:
    SandboxDll& m_dll;
    SRowSet* m_rows;
};

[[nodiscard]] sandbox::Bytes bytesOf(const SPropValue& value);

/// A tag array in the test's own memory.
class Tags
{
public:
    Tags(std::initializer_list<ULONG> tags);
    operator SPropTagArray*() noexcept { return reinterpret_cast<SPropTagArray*>(m_words.data()); }

private:
    std::vector<ULONG> m_words;
};

/// A test that is a client of the sandbox. At its end it has let go of everything, or it fails.
class SandboxTest : public testing::Test
{
protected:
    SandboxTest();
    ~SandboxTest() override;

    /// Serves this mailbox; throws with the reader's complaint.
    void serve(const std::string& json);

    [[nodiscard]] IMAPISessionPtr logon();
    /// A session on a mailbox.
    [[nodiscard]] IMAPISessionPtr logonTo(const std::string& json)
    {
        serve(json);
        return logon();
    }

    [[nodiscard]] IMsgStorePtr openStore(IMAPISession* session, ULONG index = 0);
    [[nodiscard]] IMAPIFolderPtr openIpmSubtree(IMsgStore* store);
    /// The folder at this place in the hierarchy table.
    [[nodiscard]] IMAPIFolderPtr openSubfolder(IMAPIFolder* folder, ULONG index = 0);
    /// The message at this place in the contents table.
    [[nodiscard]] IMAPIPropPtr openMessage(IMAPIFolder* folder, ULONG index = 0);
    /// A store, folder or message by its identifier, opened through a container's OpenEntry; throws on failure.
    template <class Container>
    [[nodiscard]] UnknownPtr openEntry(Container* container, const sandbox::Bytes& id)
    {
        UnknownPtr object;
        ULONG type = 0;
        checkOk(container->OpenEntry(static_cast<ULONG>(id.size()), entryId(id), nullptr, 0, &type, &object));
        return object;
    }

    [[nodiscard]] IMAPITablePtr contentsTable(IMAPIFolder* folder, ULONG flags = MAPI_UNICODE);
    [[nodiscard]] IMAPITablePtr hierarchyTable(IMAPIFolder* folder, ULONG flags = MAPI_UNICODE);
    [[nodiscard]] IMAPITablePtr storesTable(IMAPISession* session, ULONG flags = MAPI_UNICODE);

    /// Rows with these columns; `count` as QueryRows takes it.
    [[nodiscard]] Rows queryRows(IMAPITable* table, std::initializer_list<ULONG> columns, LONG count = 1000);
    [[nodiscard]] Rows nextRows(IMAPITable* table, LONG count, ULONG flags = 0);

    [[nodiscard]] Values getProps(IMAPIProp* object, std::initializer_list<ULONG> tags, HRESULT expected = S_OK,
                                  ULONG flags = MAPI_UNICODE);
    [[nodiscard]] std::wstring textOf(IMAPIProp* object, ULONG tag);
    [[nodiscard]] sandbox::Bytes binaryOf(IMAPIProp* object, ULONG tag);
    [[nodiscard]] std::vector<ULONG> propList(IMAPIProp* object, ULONG flags = MAPI_UNICODE);

    /// Throws unless the result is S_OK.
    static void checkOk(HRESULT result);
    [[nodiscard]] static ENTRYID* entryId(const sandbox::Bytes& bytes);

    SandboxDll dll;
};
} // namespace sandboxtest
