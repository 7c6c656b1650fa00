#include "tests/mapi/GuardedText.h"

#include <algorithm>
#include <stdexcept>

#include "tests/support/Handle.h"

namespace support
{
GuardedText::GuardedText(const std::wstring& text, std::function<void()> action) : m_action(std::move(action))
{
    if (s_current != nullptr || (text.size() + 1) * sizeof(wchar_t) > pageSize)
        throw std::logic_error("one guarded text at a time, of one page at most");
    m_page = VirtualAlloc(nullptr, pageSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (m_page == nullptr)
        throwLastError("VirtualAlloc");
    std::copy_n(text.c_str(), text.size() + 1, this->text());
    s_current = this;
    m_handler = AddVectoredExceptionHandler(1, &GuardedText::handle);
}

GuardedText::~GuardedText()
{
    RemoveVectoredExceptionHandler(m_handler);
    s_current = nullptr;
    VirtualFree(m_page, 0, MEM_RELEASE);
}

void GuardedText::arm()
{
    DWORD old = 0;
    if (!VirtualProtect(m_page, pageSize, PAGE_READWRITE | PAGE_GUARD, &old))
        throwLastError("VirtualProtect");
}

// The system has taken the guard off when it raises this, so the access succeeds when it is made again.
LONG CALLBACK GuardedText::handle(EXCEPTION_POINTERS* raised)
{
    const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
    if (record.ExceptionCode != STATUS_GUARD_PAGE_VIOLATION || record.NumberParameters < 2)
        return EXCEPTION_CONTINUE_SEARCH;
    const auto address = static_cast<ULONG_PTR>(record.ExceptionInformation[1]);
    const auto page = reinterpret_cast<ULONG_PTR>(s_current->m_page);
    if (address < page || address >= page + pageSize)
        return EXCEPTION_CONTINUE_SEARCH;
    s_current->m_read = true;
    s_current->m_action();
    return EXCEPTION_CONTINUE_EXECUTION;
}
} // namespace support
