// Pump.h: how a test's thread handles its window messages.
#pragma once

#include <functional>

namespace support
{
/// Handles the messages that this thread's queue has now and those that they cause, and waits for none.
void pumpOnce();

/// Handles this thread's messages until the condition holds; false after `deadline`.
[[nodiscard]] bool pumpUntil(const std::function<bool()>& condition);

/// Does the work on a thread of its own, and handles this thread's messages meanwhile: for work that notifications are to
/// come to, as they come through the thread that initialised MAPI first. Throws what the work throws.
void pumpDuring(const std::function<void()>& work);
} // namespace support
