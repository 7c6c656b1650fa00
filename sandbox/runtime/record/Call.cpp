#include "sandbox/runtime/record/Call.h"

namespace sandbox
{
namespace
{
constinit thread_local const char* s_current = nullptr;
} // namespace

Call::Call(const char* name) noexcept : m_outermost(s_current == nullptr)
{
    if (m_outermost)
        s_current = name;
}

Call::~Call()
{
    if (m_outermost)
        s_current = nullptr;
}

const char* Call::current() noexcept
{
    return s_current != nullptr ? s_current : "the sandbox itself";
}

ClientCall::ClientCall() noexcept : m_suspended(std::exchange(s_current, nullptr)) {}

ClientCall::~ClientCall()
{
    s_current = m_suspended;
}
} // namespace sandbox
