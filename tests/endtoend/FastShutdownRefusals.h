// FastShutdownRefusals.h: the ways in which a runtime refuses the fast shutdown.
#pragma once

#include <array>
#include <ostream>

namespace endtoend
{
/// A refusal at one step, and what the log says of it behind "hr = 0x".
struct FastShutdownRefusal
{
    const char* settings; // keys of the mailbox
    const char* logged;
};

inline void PrintTo(const FastShutdownRefusal& refusal, std::ostream* stream)
{
    *stream << refusal.settings;
}

/// Not offered, refused (also by a warning), and failing half-way and at the end.
inline constexpr std::array<FastShutdownRefusal, 5> fastShutdownRefusals = {
    {{R"("fastShutdown": "unsupported")", "80004002(Fast shutdown is not supported)"},
     {R"("results": {"QueryFastShutdown": "MAPI_E_NO_SUPPORT"})",
      "80040102(Fast shutdown is either not supported or disabled by system administrator)"},
     {R"("results": {"QueryFastShutdown": "0x00000001"})",
      "1(Fast shutdown is either not supported or disabled by system administrator)"},
     {R"("results": {"NotifyProcessShutdown": "0x80004005"})", "80004005(Fast shutdown notification failed)"},
     {R"("results": {"DoFastShutdown": "0x80040115"})", "80040115(Fast shutdown failed)"}}};
} // namespace endtoend
