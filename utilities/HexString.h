// HexString.h: byte strings as text, on the wire and in log lines.
#pragma once

#include <windows.h>

#include <span>
#include <string>

/// Two upper-case hexadecimal digits for each byte, first byte first, with neither prefix nor separator.
[[nodiscard]] std::wstring toHexString(std::span<const BYTE> bytes);
