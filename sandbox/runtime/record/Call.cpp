#include "sandbox/runtime/record/Call.h"

namespace sandbox
{
namespace
{
constinit thread_local Call* s_innermost = nullptr;
} // namespace

Call::Call(const char* name) noexcept : m_outer(s_innermost), m_name(m_outer != nullptr ? m_outer->m_name : name)
{
    s_innermost = this;
}

Call::~Call()
{
    s_innermost = m_outer;
}

const char* Call::current() noexcept
{
    return s_innermost != nullptr ? s_innermost->m_name : "the sandbox itself";
}

Gives Call::gives() noexcept
{
    return s_innermost != nullptr ? s_innermost->m_gives : Gives::AsMade;
}

ClientCall::ClientCall() noexcept : m_suspended(std::exchange(s_innermost, nullptr)) {}

ClientCall::~ClientCall()
{
    s_innermost = m_suspended;
}
} // namespace sandbox
