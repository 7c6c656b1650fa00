// LogWatch.h: takes part in a run at the moment at which it writes a record to the log.
#pragma once

#include <windows.h>

#include <functional>
#include <string_view>
#include <utility>

#include "tests/support/ImportHook.h"

namespace tests
{
/// Calls `action` as soon as a record that ends in `text` has been written, on the thread that wrote it, for the life of
/// the result.
[[nodiscard]] inline auto whenLogged(std::string_view text, std::function<void()> action)
{
    return support::hookImport<"WriteFile">(
        WriteFile,
        [text, action = std::move(action)](auto original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
                                           LPOVERLAPPED overlapped)
        {
            const BOOL result = original(file, data, size, written, overlapped);
            if (std::string_view(static_cast<const char*>(data), size).ends_with(text))
                action();
            return result;
        });
}
} // namespace tests
