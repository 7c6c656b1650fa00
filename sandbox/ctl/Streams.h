// Streams.h: what sandboxctl reads and writes.
#pragma once

#include <windows.h>

#include <string>

namespace sandboxctl
{
// Between the text of Windows and that of JSON. What is not well formed becomes U+FFFD.
[[nodiscard]] std::wstring toWide(const std::string& utf8);
[[nodiscard]] std::string toUtf8(const std::wstring& wide);

/// All bytes of a file, or of the standard input for "-"; throws CLI::ValidationError if it can't be read.
/// @param name  UTF-8.
[[nodiscard]] std::string readInput(const std::string& name);

/// Writes to STD_OUTPUT_HANDLE or STD_ERROR_HANDLE: UTF-8 to a file or pipe, and to a console what it can show.
/// Without such a handle, or when nobody reads it any more, nothing happens.
void writeTo(DWORD standardHandle, const std::string& text);
} // namespace sandboxctl
