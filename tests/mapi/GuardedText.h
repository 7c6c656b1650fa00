// GuardedText.h: a text that tells when it is read, so that a test can act between two steps of one function.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <utility>

namespace support
{
/// A text on a memory page of its own. Once armed, its first reader runs the action and then goes on. One at a time.
class GuardedText
{
public:
    GuardedText(const std::wstring& text, std::function<void()> action);
    ~GuardedText();
    GuardedText(const GuardedText&) = delete;
    GuardedText& operator=(const GuardedText&) = delete;

    [[nodiscard]] wchar_t* text() const noexcept { return static_cast<wchar_t*>(m_page); }
    /// The next access to the text runs the action.
    void arm();
    [[nodiscard]] bool wasRead() const noexcept { return m_read; }

private:
    static LONG CALLBACK handle(EXCEPTION_POINTERS* raised);

    inline static GuardedText* s_current = nullptr;
    static constexpr SIZE_T pageSize = 4096;
    std::function<void()> m_action;
    void* m_page = nullptr;
    void* m_handler = nullptr;
    bool m_read = false;
};
} // namespace support
