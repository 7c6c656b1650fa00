// ExpectedCalls.h: the MAPI calls by which the agent does the parts of its work, as `LiveTest` tells calls. All on the store
// "Mailbox", the first of its mailbox. Identifiers in hexadecimal.
#pragma once

#include <string>
#include <vector>

#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
/// These calls one behind the other.
[[nodiscard]] Calls joinedCalls(std::initializer_list<Calls> parts);

/// The search for a folder among known ones, which are in the order of their bytes.
[[nodiscard]] Calls searched(const std::vector<std::string>& known, const std::string& folder);

/// An object opened by the store.
[[nodiscard]] Calls opened(const std::string& id, std::string_view result = "0x0");
/// The same as a folder.
[[nodiscard]] Calls openedFolder(const std::string& id, std::string_view result = "0x0");

/// What the record of a notification takes: the object is opened and asked for its name.
[[nodiscard]] Calls openedForLog(const std::string& id);
/// The reading of an open contact that has no e-mail address.
[[nodiscard]] Calls loaded(const std::string& id);

/// The question whether an open folder with a class may hold contacts.
[[nodiscard]] Calls judged(const std::string& folder);
/// The same, and the reading of its contacts if it may.
[[nodiscard]] Calls collected(const std::string& folder, const std::vector<std::string>& messages);
/// The registration of an open contact folder among the known ones.
[[nodiscard]] Calls registeredAmong(const std::vector<std::string>& known, const std::string& folder);

/// The question whether a folder that isn't known lies in the IPM subtree.
/// @param above  its parent, the parent's, and so on to the IPM subtree or to the root; none for the IPM subtree itself.
[[nodiscard]] Calls askedForSubtree(const std::string& folder, const std::vector<std::string>& above);

/// A folder and those below it that are visible, in the order of their tables.
struct Tree
{
    std::string id;
    std::vector<Tree> below{};
};
/// The walk of the IPM subtree, which is `top`, and the search for each known folder among those that it has found.
[[nodiscard]] Calls reconciled(const Tree& top, const std::vector<std::string>& known);
} // namespace endtoend
