// Registration.h: whether this is a machine on which the agent finds the sandbox.
#pragma once

#include <string>

namespace endtoend
{
/// What is wrong with the registration of the sandbox as the machine's default mail client, for a person to read; empty
/// when it is as scripts/lib/wine-run makes it in the project's private Wine prefix. Reads the registry, writes nothing.
[[nodiscard]] std::string wrongInRegistration();
} // namespace endtoend
