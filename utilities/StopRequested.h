// StopRequested.h: the one flag by which the process asks its worker to end.
#pragma once

#include <atomic>

namespace utilities
{
/// False at start, and only ever set to true, by `requestStop`. Read without a lock by the worker's pump, before every
/// row of a table, and by the folder walks.
extern std::atomic<bool> stopRequested;

/// Sets `stopRequested` by an atomic exchange. Any thread, any number of times.
void requestStop() noexcept;
} // namespace utilities
