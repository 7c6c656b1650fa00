#include "tests/endtoend/sweep/PlatformRun.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace endtoend::sweep
{
namespace
{
using platformfaults::Section;

/// What stands in the log before the start, and how little is left of its size then: it becomes full in the first snapshot.
constexpr std::size_t fullLog = 0x100000;
constexpr std::size_t roomInLog = 4000;
constexpr std::string_view earlierRecord = "05.03.2024 14:07:09.042  ";

constexpr std::string_view full = "(continue to the next log file)";
constexpr std::string_view rotated = "(continue to the next log file)(continue logging)\r\n";
constexpr std::string_view betweenRuns = "\r\n\r\n";

/// How long an agent may take to end, and to come to the point at which it can be asked something.
constexpr DWORD patience = 30'000;
constexpr DWORD look = 10;

struct ViewCloser
{
    void operator()(Section* view) const noexcept { UnmapViewOfFile(view); }
};
using View = std::unique_ptr<Section, ViewCloser>;

View viewOf(HANDLE mapping)
{
    View view(static_cast<Section*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Section))));
    if (!view)
        support::throwLastError("MapViewOfFile");
    return view;
}

bool hasEnded(HANDLE process, DWORD milliseconds)
{
    return WaitForSingleObject(process, milliseconds) == WAIT_OBJECT_0;
}

/// The texts of these requests, but for those whose length is another one.
std::vector<std::string> wholeMessages(const std::vector<std::string>& requests)
{
    std::vector<std::string> messages;
    for (const std::string& request : requests)
    {
        constexpr std::size_t lengthSize = 4;
        std::size_t length = 0;
        for (std::size_t at = 0; at < std::min(lengthSize, request.size()); ++at)
            length = (length << 8) | static_cast<unsigned char>(request[at]);
        if (request.size() == lengthSize + length)
            messages.push_back(request.substr(lengthSize));
    }
    return messages;
}

/// The log of this run: without what has stood in it before, and without the words that a rotation adds.
std::string logOfRun(const std::wstring& file)
{
    std::string bytes = bytesOf(file + L".bak") + bytesOf(file);
    bytes.erase(0, std::min(bytes.size(), fullLog - roomInLog));
    if (bytes.starts_with(betweenRuns))
        bytes.erase(0, betweenRuns.size());
    if (bytes.ends_with(full)) // and nothing came behind it
        bytes.erase(bytes.size() - full.size());
    for (auto at = bytes.find(rotated); at != std::string::npos; at = bytes.find(rotated, at))
        bytes.replace(at, rotated.size(), at + rotated.size() == bytes.size() ? "" : "\r\n");
    return bytes;
}
} // namespace

PlatformRun PlatformRunTest::runWith(const std::optional<FaultPoint>& point, Door door)
{
    prepare();
    const View section = viewOf(m_mapping.get());
    new (section.get()) Section{};
    if (point)
    {
        section->function = static_cast<std::uint32_t>(point->function);
        section->kind = static_cast<std::uint32_t>(point->kind);
        section->call = point->call;
    }
    m_door = door;

    PlatformRun made;
    Interventions interventions;
    std::vector<std::string> messages;
    interventions.closed = [&]
    {
        collect(made);
        messages = wholeMessages(host().takeRequests());
    };
    made.left = run(Json::array(), interventions);
    made.left.messages = std::move(messages);
    made.isMet = section->failedThread != 0;
    made.isOnWorker = made.isMet && section->failedThread != section->mainThread;
    made.exception = section->exception;
    made.calls.assign(section->calls.begin(), section->calls.end());
    if (section->isAttached == 0)
        throw std::runtime_error("the DLL is not in the agent");
    return made;
}

void PlatformRunTest::prepare()
{
    if (m_mapping)
        return;
    const std::wstring name = support::uniqueName(L"linkwell-faults");
    m_mapping.reset(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Section), name.c_str()));
    if (!m_mapping)
        support::throwLastError("CreateFileMappingW");
    setVariable(platformfaults::sectionVariable, name);
    loadFirst(programFolder() / L"linkwell_fault_dll.dll");
}

void PlatformRunTest::launch()
{
    std::string earlier(earlierRecord);
    earlier.resize(fullLog - roomInLog, '-');
    support::writeBytes(logFile(), earlier);
    ReferenceRunTest::launch();
}

bool PlatformRunTest::waitUntilPumping()
{
    // Not by the log, which may be missing. The pipe is there from the first MAPIInitialize on, if there is one.
    const std::wstring pipe = LR"(\\.\pipe\)" + support::environmentValue(L"LINKWELL_SANDBOX_CONTROL");
    for (const ULONGLONG end = GetTickCount64() + patience; !WaitNamedPipeW(pipe.c_str(), look);)
    {
        if (hasEnded(agent().process(), look) || GetTickCount64() > end)
            return false;
    }
    try
    {
        ask({{"do", "wait"}, {"for", "advised"}, {"count", 2}, {"timeout", patience}});
        return true;
    }
    catch (const std::runtime_error&)
    {
        return false; // it ends, or never comes so far
    }
}

void PlatformRunTest::collect(PlatformRun& made)
{
    if (!hasEnded(agent().process(), patience))
    {
        made.isAskedTwice = true;
        (void)agent().postToMainThread(WM_CLOSE);
        if (!hasEnded(agent().process(), patience))
            return;
    }
    std::string log = logOfRun(logFile());
    try
    {
        (void)logRecords(log);
    }
    catch (const std::runtime_error&)
    {
        made.isLogBroken = true;
        log.clear();
    }
    std::filesystem::remove(logFile() + L".bak");
    support::writeBytes(logFile(), log);
}
} // namespace endtoend::sweep
