// Objects.h: objects of a MAPI runtime that answers as quickly as one can. Each is there once, for good, and uncounted, and
// has all interfaces that it is asked for.
#pragma once

#include <cstddef>
#include <span>

#include "mapiabi/MapiInterfaces.h"
#include "sandbox/runtime/objects/Refusals.h"

namespace bare
{
template <class Interface>
class Lasting : public Interface
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

protected:
    [[nodiscard]] static HRESULT refuse(const char*) { return MAPI_E_NO_SUPPORT; }
};

/// As MAPIAllocateBuffer has it.
[[nodiscard]] void* allocate(std::size_t size);

// What an object answers of these properties, each as a block of its own.
HRESULT giveProperties(std::span<const SPropValue> all, const SPropTagArray& tags, ULONG* count, SPropValue** values);
HRESULT giveList(std::span<const SPropValue> all, SPropTagArray** tags);
HRESULT giveNames(std::span<MAPINAMEID* const> names, SPropTagArray** tags);

/// An object with these properties, of which the texts and bytes stand elsewhere.
template <class Interface>
class WithProperties : public sandbox::RefusingProp<Lasting<Interface>>
{
public:
    explicit WithProperties(std::span<const SPropValue> properties) : m_properties(properties) {}

    HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG, ULONG* count, SPropValue** values) override
    {
        return giveProperties(m_properties, *tags, count, values);
    }
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG, SPropTagArray** tags) override { return giveList(m_properties, tags); }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG, SPropTagArray** tags) override
    {
        return giveNames({names, count}, tags);
    }

private:
    const std::span<const SPropValue> m_properties;
};

/// A table of so many rows, which are the same but for their number. It stands at the end of the first value, an identifier.
class Table final : public sandbox::RefusingTable<Lasting<IMAPITable>>
{
public:
    Table(std::span<const SPropValue> row, ULONG count) : m_row(row), m_count(count) {}

    HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray*, ULONG) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Restrict(SRestriction*, ULONG) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE FindRow(SRestriction*, BOOKMARK, ULONG) override { return MAPI_E_NOT_FOUND; }
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG, ULONG* count) override
    {
        *count = m_count;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) override;

private:
    const std::span<const SPropValue> m_row;
    const ULONG m_count;
};
} // namespace bare
