#include "tests/endtoend/sweep/PlatformJudge.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <string_view>

#include "tests/endtoend/sweep/Judge.h"
#include "tests/endtoend/sweep/LogParts.h"
#include "tests/support/LogFile.h"

namespace endtoend::sweep
{
namespace
{
using platformfaults::Function;
using platformfaults::functions;

constexpr DWORD runtimeAbort = 3; // of a process that the C++ runtime has ended

constexpr std::string_view sendingStart = "Sending data:\n";
constexpr std::string_view caughtInMain = "An exception has been caught in main : ";
constexpr std::string_view caughtInWorker = "An exception has been caught in AsyncMapiHelper::run : ";
constexpr std::string_view caughtAnotherInWorker = "AsyncMapiHelper::run: Unknown exception";
constexpr std::string_view caughtInNotification = "An exception has been caught in AdviseSinkImpl::OnNotify : ";
constexpr std::string_view pipeFailure = "NamedPipe::";
constexpr std::string_view workerFinished = "MAPI thread finished";
constexpr std::string_view workerStarted = "Start MAPI thread...";
constexpr std::string_view fastEnd = "Try to shutdown MAPI fast";
constexpr std::string_view notified = "Notification ";
constexpr std::string_view unadvised = "Unadvise hr = 0";
constexpr std::string_view windowClose = "WM_CLOSE received";
constexpr std::string_view threadClose = "WM_CLOSE for thread received, will quit";

/// What the failure of a call may come to, other than "all said", in which nothing shows.
struct Rule
{
    std::string_view function;
    std::array<std::string_view, 4> outcomes;
};

/// What is not here must show nothing.
constexpr Rule rules[] = {
    {"CreateFileW", {{"log lost", "less said", "worker ended"}}},
    {"WriteFile", {{"log lost", "less said", "worker ended"}}},
    {"ReadFile", {{"less said", "worker ended"}}},
    {"WaitNamedPipeW", {{"less said", "worker ended"}}},
    {"SetFilePointer", {{"log lost"}}}, // what the file had is written over
    {"RegisterClassExW", {{"not started"}}},
    {"CreateWindowExW", {{"not started"}}},
    {"IsWindow", {{"not started"}}},
    {"DestroyWindow", {{"asked twice"}}},
    {"GetMessageW", {{"another door"}}},       // the last request is taken once more (settled behaviour 53)
    {"LoadAcceleratorsW", {{"another door"}}}, // then Alt+F4 is a WM_CLOSE
    {"TranslateAcceleratorW", {{"another door"}}},
    // Another runtime may be found, and entry points be missing (settled behaviour 46, 47).
    {"RegOpenKeyExW", {{"worker ended", "not started"}}},
    {"RegQueryValueExW", {{"worker ended", "not started"}}},
    {"LoadLibraryW", {{"worker ended", "not started"}}},
    {"ExpandEnvironmentStringsW", {{"worker ended", "not started"}}},
    {"GetProcAddress", {{"worker ended", "not started", "less said", "was aborted"}}},
    // Other exceptions than our own end the process on the main thread, and the worker (settled behaviour 58).
    {"malloc", {{"worker ended", "was aborted", "log lost"}}},
    {"calloc", {{"was aborted"}}},
    {"realloc", {{"was aborted"}}},
    {"CommandLineToArgvW", {{"log lost"}}},
    // Without a thread, or what the thread library keeps of it, C++ throws or aborts.
    {"_beginthreadex", {{"was aborted"}}},
    {"CreateSemaphoreA", {{"hangs"}}}, // now and then: a wait that winpthreads could not begin may never end
    {"DuplicateHandle", {{"was aborted"}}},
    {"GetHandleInformation", {{"was aborted"}}},
    {"TlsAlloc", {{"was aborted"}}},
    {"TlsSetValue", {{"was aborted"}}},
};

bool mayComeTo(std::string_view function, std::string_view outcome)
{
    const auto rule = std::ranges::find(rules, function, &Rule::function);
    return outcome == "all said" ||
           (rule != std::end(rules) && std::ranges::find(rule->outcomes, outcome) != rule->outcomes.end());
}

std::string hexadecimal(DWORD number)
{
    std::array<char, 8> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr};
}

bool startsWithOneOf(const std::string& text, std::initializer_list<std::string_view> starts)
{
    return std::ranges::any_of(starts, [&text](std::string_view start) { return text.starts_with(start); });
}

bool has(const Records& records, std::string_view start)
{
    return std::ranges::any_of(records, [start](const std::string& record) { return record.starts_with(start); });
}

/// Whether the first list is the second one with some left out.
bool isPartOf(const std::vector<std::string>& part, const std::vector<std::string>& whole)
{
    auto at = whole.begin();
    for (const std::string& item : part)
    {
        at = std::find(at, whole.end(), item);
        if (at == whole.end())
            return false;
        ++at;
    }
    return true;
}

std::string outcomeOf(const PlatformRun& run, const AgentRun& reference, const LogDifference& difference,
                      bool isEndWhole)
{
    if (!run.left.exitValue)
        return "hangs";
    if (*run.left.exitValue != 0)
        return "was aborted";
    if (run.isAskedTwice)
        return "asked twice";
    if (has(difference.extra, caughtInWorker) || has(difference.extra, caughtAnotherInWorker))
        return "worker ended";
    if (has(difference.extra, caughtInMain) || (run.left.messages.empty() && run.left.report.empty()))
        return "not started";
    if (run.left.messages != reference.messages || has(difference.extra, caughtInNotification))
        return "less said";
    const bool hasDoorsAlone = std::ranges::all_of(difference.extra, [](const std::string& record)
                                                   { return record == windowClose || record == threadClose; });
    if (hasDoorsAlone && !difference.extra.empty() && difference.missing.empty())
        return "another door";
    const bool isWhole = !run.isLogBroken && difference.missing.empty() && difference.extra.empty() && isEndWhole;
    return isWhole ? "all said" : "log lost";
}

/// Whether a crash is that of a thread's start, which the libraries of GCC and mingw-w64 do not survive without memory: before
/// the thread has written its first record.
bool isInStartOfThread(const PlatformRun& run)
{
    return run.isOnWorker ? !has(run.left.log, workerStarted) : run.left.log.empty();
}

/// How many records two logs have in common from their beginning on.
std::size_t beginsAlike(const Records& one, const Records& other)
{
    return static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

/// Whether the C++ runtime may abort the process for want of memory: on the main thread, in the start of the worker, and from
/// when MAPI delivers, where the exception passes into MAPI (settled behaviour 58). Otherwise the worker catches it.
bool mayAbort(const PlatformRun& run, const Records& reference)
{
    const auto firstBatch =
        std::ranges::find_if(reference, [](const std::string& record) { return record.starts_with(notified); });
    return !run.isOnWorker || isInStartOfThread(run) ||
           beginsAlike(run.left.log, reference) >= static_cast<std::size_t>(firstBatch - reference.begin());
}

/// Whether a record says that something has failed, or comes of it.
bool isOfFailure(const std::string& record)
{
    return startsWithOneOf(record, {caughtInMain, caughtInWorker, caughtAnotherInWorker, caughtInNotification,
                                    pipeFailure, workerFinished, threadClose, windowClose}) ||
           record.find("80004005") != std::string::npos;
}
} // namespace

Verdict PlatformJudge::verdict(const FaultPoint& point, const PlatformRun& run) const
{
    const Function& function = functions.at(point.function);
    const platformfaults::Kind& kind = function.kinds.at(point.kind);
    const AgentRun& left = run.left;
    const auto [body, tail] = splitAtShutdown(left.log);
    const Records wholeBody = splitAtShutdown(m_reference.log).first;
    const LogDifference difference = differenceOf(body, wholeBody);
    const std::string outcome = outcomeOf(run, m_reference, difference, isEndInOrder(tail, false));
    std::vector<std::string> complaints;
    const auto demand = [&complaints](bool condition, const std::string& otherwise)
    {
        if (!condition)
            complaints.push_back(otherwise);
    };

    // How often these are called is a matter of time, so a late call may be missing.
    const bool isFree = function.area == Function::Area::Thread || function.area == Function::Area::Window;
    demand(run.isMet || isFree, "the call has not come");
    demand(mayComeTo(function.name, outcome), "it came to: " + outcome);
    if (!left.exitValue)
        return {outcome, complaints};

    const bool isOrderly = left.exitValue == 0U;
    const bool isCrash = run.exception != 0;
    demand(isOrderly || left.exitValue == runtimeAbort || isCrash, "an exit value that is none");
    demand(!isCrash || isInStartOfThread(run), "a crash");
    demand(left.standardError.empty() || (!isOrderly && left.standardError.starts_with("terminate called ")),
           "standard error: " + left.standardError);
    demand(isPartOf(left.messages, m_reference.messages), "a message that is none of the whole");
    demand(!isOrderly || isNothingHeld(left.report) || outcome == "not started" ||
               function.area == Function::Area::Module,
           "held at the end: " + left.report);
    if (run.isLogBroken)
        return {outcome, complaints};

    for (const std::string& record : difference.extra)
    {
        demand(isOfFailure(record) || outcome == "log lost" || (outcome == "worker ended" && record == unadvised),
               "a record of another run: " + record);
    }
    // A wait for a busy pipe leaves an error of its own (settled behaviour 2). Later records may be of a host that is still busy
    // with the message that has failed.
    const auto ofPipe = std::ranges::find_if(difference.extra,
                                             [](const std::string& record) { return record.starts_with(pipeFailure); });
    demand(ofPipe == difference.extra.end() || function.name == std::string_view("WaitNamedPipeW") ||
               ofPipe->ends_with(", error=0x" + hexadecimal(kind.error)) == (kind.error != ERROR_PIPE_BUSY),
           "another error than that of the call");
    const bool isTold = std::ranges::any_of(difference.extra, isOfFailure);
    demand(isTold || !isOrderly || outcome == "not started" || left.messages.size() == m_reference.messages.size(),
           "what is lost does not stand in the log");
    if (outcome == "less said" && function.area == Function::Area::File)
    {
        for (const std::string& record : difference.missing)
            demand(record.starts_with(sendingStart), "a record is missing: " + record);
    }
    if (outcome == "log lost" && function.name == std::string_view("WriteFile"))
    {
        // One, and that in front of it when what is cut off is no record any more; and a slow worker's end is another one.
        const std::size_t most = has(left.log, fastEnd) ? 6 : 2;
        demand(differenceOf(left.log, m_reference.log).missing.size() <= most, "more than one record is lost");
    }
    if (outcome == "was aborted" || outcome == "worker ended" || outcome == "not started")
        demand(beginsAlike(body, m_reference.log) + difference.extra.size() == body.size(),
               "the log is not what came before");
    if (outcome == "was aborted")
        demand(function.area != Function::Area::Memory || mayAbort(run, wholeBody),
               "the process need not have been aborted");
    else if (outcome == "not started")
        demand(tail == Records{std::string(support::logFooter)}, "the log has no footer");
    else if (outcome != "log lost")
        demand(isEndInOrder(tail, outcome == "worker ended"), "the log's end is out of order");
    return {outcome, complaints};
}
} // namespace endtoend::sweep
