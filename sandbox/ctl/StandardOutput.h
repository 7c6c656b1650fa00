// StandardOutput.h: text to whoever started the program.
#pragma once

#include <windows.h>

#include <string>

namespace sandboxctl
{
/// Writes to STD_OUTPUT_HANDLE or STD_ERROR_HANDLE: UTF-8 to a file or pipe, and to a console what it can show.
/// Without such a handle, or when nobody reads it any more, nothing happens.
void writeTo(DWORD standardHandle, const std::string& text);
} // namespace sandboxctl
