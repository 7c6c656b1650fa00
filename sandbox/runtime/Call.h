// Call.h: the one place through which every call of a client comes into the runtime.
#pragma once

#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/mapi/MapiTypes.h"
#include "sandbox/mailbox/Results.h"
#include "sandbox/runtime/MapiFailure.h"
#include "sandbox/runtime/Plans.h"

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
    [[nodiscard]] bool isOutermost() const noexcept { return m_outermost; }

    /// The name of the thread's outermost call; "the sandbox itself" outside any.
    [[nodiscard]] static const char* current() noexcept;

private:
    const bool m_outermost;
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
    const char* const m_suspended;
};

/// The bare name of a function or method: what stands behind the last "::".
[[nodiscard]] std::string_view bareName(std::string_view name) noexcept;

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

/// Runs the body of a function or method, after all waiting that is planned for it, and with no lock held. No exception
/// leaves it.
/// @param identify  gives the long-term identifier of the object that is called, without the mailbox locked; empty for
///                  functions and the session. Asked only when somebody wants to know.
template <class Identify, class Work>
[[nodiscard]] HRESULT serve(const char* name, Identify&& identify, Work&& work) noexcept
{
    const Call call(name);
    try
    {
        std::optional<HRESULT> planned;
        if (call.isOutermost() && plans::any())
            planned = plans::apply(name, identify());
        return answerAs(planned, work);
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

/// The identifier of what is no object of the mailbox.
[[nodiscard]] inline Bytes noIdentifier() noexcept
{
    return {};
}
} // namespace sandbox
