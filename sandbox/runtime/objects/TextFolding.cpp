#include "sandbox/runtime/objects/TextFolding.h"

#include <windows.h>

#include <vector>

namespace sandbox
{
namespace
{
[[nodiscard]] std::wstring withoutMarks(const std::wstring& text)
{
    if (text.empty())
        return text;
    const int size = static_cast<int>(text.size());
    const int needed = FoldStringW(MAP_COMPOSITE, text.data(), size, nullptr, 0);
    std::wstring apart(static_cast<std::size_t>(needed), L'\0');
    FoldStringW(MAP_COMPOSITE, text.data(), size, apart.data(), needed);

    std::vector<WORD> kinds(apart.size());
    GetStringTypeW(CT_CTYPE3, apart.data(), static_cast<int>(apart.size()), kinds.data());
    std::wstring plain;
    for (std::size_t at = 0; at < apart.size(); ++at)
    {
        if ((kinds[at] & C3_NONSPACING) == 0)
            plain += apart[at];
    }
    return plain;
}
} // namespace

std::wstring foldText(const std::wstring& text, bool ignoreCase, bool ignoreMarks)
{
    std::wstring folded = ignoreMarks ? withoutMarks(text) : text;
    if (ignoreCase)
        CharLowerBuffW(folded.data(), static_cast<DWORD>(folded.size()));
    return folded;
}
} // namespace sandbox
