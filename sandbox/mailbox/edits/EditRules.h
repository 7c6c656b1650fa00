// EditRules.h: which moves, copies and deletions a mailbox allows.
#pragma once

#include "sandbox/mailbox/model/Folder.h"

namespace sandbox
{
// Each throws MailboxRuleError, in words for the person who asked for it, unless it is allowed.

void requireMovable(const MailboxObject& object, const Folder& target, bool keepId);
void requireCopyable(const MailboxObject& object, const Folder& target);
void requireRemovable(const MailboxObject& object);
} // namespace sandbox
