// Call.h: the one place through which every call of a client comes into the runtime.
#pragma once

#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/mapi/MapiTypes.h"
#include "sandbox/mailbox/Results.h"
#include "sandbox/runtime/MapiFailure.h"

namespace sandbox
{
/// Stands at the start of each function and method for as long as that runs. What is given out meanwhile counts for the
/// outermost call of the thread: the block behind HrGetOneProp is HrGetOneProp's, though GetProps made it.
class Call
{
public:
    /// @param name     the function's name, or "<interface>::<method>"; lives as long as the process.
    /// @param results  planned answers; null for none.
    /// @param table    for a table's methods the table's name with a dot behind it, as the planned answers have it.
    Call(const char* name, const Results* results, std::string_view table) noexcept;
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    /// What this call is to answer, if that is planned.
    [[nodiscard]] const std::optional<HRESULT>& planned() const noexcept { return m_planned; }

    /// The name of the thread's outermost call; "the sandbox itself" outside any.
    [[nodiscard]] static const char* current() noexcept;

private:
    const bool m_outermost;
    std::optional<HRESULT> m_planned;
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

/// Runs the body of a function or method. No exception leaves it; planned failures are answered without running it, and
/// other planned results take the place of its own success.
template <class Work>
[[nodiscard]] HRESULT serve(const char* name, const Results* results, std::string_view table, Work&& work) noexcept
{
    const Call call(name, results, table);
    try
    {
        if (call.planned() && FAILED(*call.planned()))
            return *call.planned();
        const HRESULT result = work();
        return SUCCEEDED(result) && call.planned() ? *call.planned() : result;
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

/// The answer of everything that the sandbox does not serve.
[[nodiscard]] inline HRESULT refuse(const char* name) noexcept
{
    return serve(name, nullptr, {}, [] { return MAPI_E_NO_SUPPORT; });
}
} // namespace sandbox
