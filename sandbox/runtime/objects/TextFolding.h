// TextFolding.h: text made comparable regardless of case or accents.
#pragma once

#include <string>

namespace sandbox
{
/// @param ignoreCase   letters become lower-case ones.
/// @param ignoreMarks  characters are taken apart and their nonspacing marks left out.
[[nodiscard]] std::wstring foldText(const std::wstring& text, bool ignoreCase, bool ignoreMarks);
} // namespace sandbox
