// InputFile.h: files that the command line names.
#pragma once

#include <string>

namespace sandboxctl
{
/// All bytes of a file, or of the standard input for "-"; throws std::runtime_error if it can't be read.
/// @param name  UTF-8.
[[nodiscard]] std::string readInput(const std::string& name);
} // namespace sandboxctl
