// EntryIds.h: the identifiers that the sandbox gives to objects of a mailbox file (docs/sandbox.md), as the hexadecimal
// text that the agent writes. Stores count from 1; in each, the root is folder 1, the IPM subtree folder 2, and the
// first folder of the file 3; messages count from 1 through the whole store.
#pragma once

#include <string>

namespace endtoend
{
constexpr unsigned rootFolder = 1;
constexpr unsigned ipmSubtree = 2;
constexpr unsigned firstFolder = 3;

[[nodiscard]] std::string storeId(unsigned store);
[[nodiscard]] std::string folderId(unsigned store, unsigned folder);
[[nodiscard]] std::string messageId(unsigned store, unsigned folder, unsigned message);
} // namespace endtoend
