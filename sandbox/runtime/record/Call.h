// Call.h: the one place through which every call of a client comes into the runtime.
#pragma once

#include <new>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "mapiabi/MapiTypes.h"
#include "sandbox/runtime/record/Journal.h"
#include "sandbox/runtime/record/MapiFailure.h"
#include "sandbox/runtime/record/Plans.h"

namespace sandbox
{
/// Stands at the start of each function and method for as long as that runs. What is given out meanwhile counts for the
/// outermost call of the thread: the block behind HrGetOneProp is HrGetOneProp's, though GetProps made it.
class Call
{
public:
    /// @param name  the function's name, or "<interface>::<method>"; lives as long as the process.
    explicit Call(const char* name) noexcept;
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    /// Whether a client makes this call, and not the runtime on its way.
    [[nodiscard]] bool isOutermost() const noexcept { return m_outer == nullptr; }

    /// How what this call gives is planned to differ.
    void plan(Gives gives) noexcept { m_gives = gives; }
    /// How what the thread's innermost call gives is planned to differ.
    [[nodiscard]] static Gives gives() noexcept;

    /// The name of the thread's outermost call; "the sandbox itself" outside any.
    [[nodiscard]] static const char* current() noexcept;

private:
    Call* const m_outer;
    const char* const m_name; // of the outermost
    Gives m_gives = Gives::AsMade;
};

/// While it lives, the thread is outside any call: the runtime calls a client.
class ClientCall
{
public:
    ClientCall() noexcept;
    ClientCall(const ClientCall&) = delete;
    ClientCall& operator=(const ClientCall&) = delete;
    ~ClientCall();

private:
    Call* const m_suspended;
};

/// Does the work of a call that is to give this answer: a planned failure instead of the work, any other planned result
/// instead of the work's success.
template <class Work>
[[nodiscard]] HRESULT answerAs(const std::optional<HRESULT>& planned, Work&& work)
{
    if (planned && FAILED(*planned))
        return *planned;
    const HRESULT result = work();
    return SUCCEEDED(result) && planned ? *planned : result;
}

/// Stands in the place of the arguments of a call that is not in the journal.
struct Unrecorded
{
};

/// Runs the work; no exception leaves it.
template <class Work>
[[nodiscard]] HRESULT guarded(Work&& work) noexcept
{
    try
    {
        return work();
    }
    catch (const MapiFailure& failure)
    {
        return failure.result();
    }
    catch (const std::bad_alloc&)
    {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    catch (...)
    {
        return MAPI_E_CALL_FAILED;
    }
}

/// What a client's call begins with: its place in the journal, and all waiting that is planned for it. Gives what else is
/// planned.
template <class Identify, class Describe>
[[nodiscard]] plans::Planned beginCall(const char* name, Identify&& identify, Describe&& describe,
                                       journal::Recording& recording)
{
    constexpr bool isRecorded = !std::is_same_v<std::decay_t<Describe>, Unrecorded>;
    if constexpr (isRecorded)
        journal::countThread();
    const bool records = isRecorded && journal::isOn();
    if (!records && !plans::any())
        return {};
    const CallTarget target = identify();
    if constexpr (isRecorded)
    {
        if (records)
            recording.begin(name, target.on, describe());
    }
    return plans::apply(name, target);
}

/// Runs the body of a function or method, with no lock held. No exception leaves it.
/// @param identify  gives the CallTarget, without the mailbox locked. Asked only when somebody wants to know.
/// @param describe  gives the Arguments of the call, asked only while the journal is on; or Unrecorded.
template <class Identify, class Describe, class Work>
[[nodiscard]] HRESULT serve(const char* name, Identify&& identify, Describe&& describe, Work&& work) noexcept
{
    Call call(name);
    journal::Recording recording;
    return recording.end(guarded(
        [&]
        {
            plans::Planned planned;
            if (call.isOutermost())
                planned = beginCall(name, identify, describe, recording);
            call.plan(planned.gives);
            return answerAs(planned.result, work);
        }));
}

/// The target of what is no object of the mailbox.
[[nodiscard]] inline CallTarget noTarget() noexcept
{
    return {};
}
} // namespace sandbox
