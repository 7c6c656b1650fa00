// Plans.h: the plans for calls to come that are in force.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "sandbox/mailbox/model/Plan.h"

namespace sandbox
{
/// The plans of the process. Used by any thread.
namespace plans
{
void add(Plan plan);
/// Forgets all plans: what they keep waiting goes on, and does its own work.
void clear();
/// Lets the calls that a hold keeps waiting go on, and those that would come to wait. False if no plan has this hold.
bool release(std::string_view hold);
/// Waits until a call waits at this hold. False after `timeout`, or when `stop` is signalled.
[[nodiscard]] bool waitUntilHeld(std::string_view hold, std::chrono::milliseconds timeout, HANDLE stop);

/// Whether there are plans; cheap.
[[nodiscard]] bool any() noexcept;

/// Who hands over what waits for wrapped sinks of the calling thread, for the plans that ask for it. Calls the client.
void deliverBy(void (*deliver)());

/// What is planned for a call.
struct Planned
{
    std::optional<HRESULT> result;
    Gives gives = Gives::AsMade;
};

/// Counts a call that a client makes, waits and delivers as planned, and gives what it is to answer and to give.
/// When several plans apply to one call, it waits for all of them, delivers once if one of them says so, and the latest
/// one with a result says the answer, the latest one with `gives` what is given. To be called with no lock held.
/// @param method  as in Plan::method.
[[nodiscard]] Planned apply(std::string_view method, const CallTarget& target);
} // namespace plans
} // namespace sandbox
