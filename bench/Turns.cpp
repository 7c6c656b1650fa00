#include "bench/Turns.h"

#include <windows.h>

#include <psapi.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "bench/Observation.h"
#include "tests/endtoend/AgentProcess.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/pipe/SequenceHost.h"

namespace bench
{
namespace
{
constexpr DWORD mostMilliseconds = 30 * 60 * 1000;

/// In milliseconds since 1601.
[[nodiscard]] double timeOf(const FILETIME& time)
{
    return static_cast<double>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / 10'000;
}

[[nodiscard]] double now()
{
    FILETIME time{};
    GetSystemTimePreciseAsFileTime(&time);
    return timeOf(time);
}

/// The host: when a client came, and when its message was whole.
struct Reception
{
    support::Handle whole = support::makeEvent();
    double connectedAt = 0;
    double wholeAt = 0;
    std::string message;
};

[[nodiscard]] support::SequenceOptions hostOf(Reception& reception)
{
    support::SequenceOptions options;
    options.whenConnected = [&reception]
    {
        reception.connectedAt = now();
    };
    options.takes = [&reception](const std::string& text)
    {
        reception.wholeAt = now();
        reception.message = text;
        SetEvent(reception.whole.get());
        return true;
    };
    return options;
}

/// The beginning of a log, or of its backup when the message has filled it.
[[nodiscard]] std::string beginningOf(const std::filesystem::path& log)
{
    const std::filesystem::path backup = log.wstring() + L".bak";
    std::ifstream file(std::filesystem::exists(backup) ? backup : log, std::ios::binary);
    std::string text(4096, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

/// The stamp in front of a record: the local time, of which the day comes first.
[[nodiscard]] double stampOf(const std::string& log, std::string_view record)
{
    const std::size_t at = log.find(record);
    const std::size_t line = at == std::string::npos ? at : log.rfind('\n', at);
    SYSTEMTIME local{};
    if (line == std::string::npos ||
        std::sscanf(log.c_str() + line + 1, "%hu.%hu.%hu %hu:%hu:%hu.%hu", &local.wDay, &local.wMonth, &local.wYear,
                    &local.wHour, &local.wMinute, &local.wSecond, &local.wMilliseconds) != 7)
        throw std::runtime_error("the agent's log has no record \"" + std::string(record) + '"');
    SYSTEMTIME utc{};
    FILETIME time{};
    if (!TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc) || !SystemTimeToFileTime(&utc, &time))
        support::throwLastError("SystemTimeToFileTime");
    return timeOf(time);
}

void fillParts(Turn& turn, const Reception& reception, double begin, double sending)
{
    turn.whole = reception.wholeAt - begin;
    turn.reading = sending - begin;
    turn.log = reception.connectedAt - sending;
    turn.pipe = reception.wholeAt - reception.connectedAt;
}

[[nodiscard]] std::size_t peakOf(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(process, &counters, sizeof(counters)))
        support::throwLastError("GetProcessMemoryInfo");
    return counters.PeakWorkingSetSize;
}

/// In the order in which they stand in the tables.
constexpr std::array<std::pair<Party, Turn Round::*>, 3> turnsOf = {{
    {Party::Agent, &Round::agent},
    {Party::Floor, &Round::floor},
    {Party::FloorWithTexts, &Round::floorWithTexts},
}};
} // namespace

const char* nameOf(Party party)
{
    constexpr std::array names = {"agent", "floor", "floor with texts"};
    return names[static_cast<std::size_t>(party)];
}

std::array<Party, 2> inTurns(unsigned run)
{
    return run % 2 == 0 ? std::array{Party::Agent, Party::Floor} : std::array{Party::Floor, Party::Agent};
}

void observeTime(std::string_view figure, double size, const Round& round, double Turn::* time, double less)
{
    for (const auto& [party, turn] : turnsOf)
        observe(figure, nameOf(party), size, round.*turn.*time - less, "ms");
}

void observeMemory(std::string_view figure, double size, const Round& round, const Round& least)
{
    const auto beyond = [](std::size_t value, std::size_t base)
    {
        return static_cast<double>(value) - static_cast<double>(base);
    };
    for (const auto& [party, turn] : turnsOf)
    {
        const Turn& all = round.*turn;
        const Turn& base = least.*turn;
        observe(figure, nameOf(party), size,
                beyond(all.peak, base.peak) / beyond(all.message.size(), base.message.size()), "bytes/byte");
    }
}

Turns Turns::onSandbox(unsigned contacts)
{
    return {L"LinkwellSandbox.dll",
            R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
                {"name": "Contacts", "class": "IPF.Contact", "generate": {"contacts": )" +
                std::to_string(contacts) + "}}]}]}",
            0, 0};
}

Turns Turns::onBare(unsigned contacts, unsigned letters)
{
    return {L"LinkwellBare.dll", {}, contacts, letters};
}

Turns::Turns(const std::wstring& dll, const std::string& mailbox, unsigned contacts, unsigned letters)
{
    support::writeBytes(m_folder.file(L"mailbox.json"), mailbox);
    m_environment.emplace_back(L"LINKWELL_SANDBOX_DLL", (endtoend::programFolder() / dll).wstring());
    m_environment.emplace_back(L"LINKWELL_SANDBOX_MAILBOX", m_folder.file(L"mailbox.json"));
    m_environment.emplace_back(L"LINKWELL_BARE_CONTACTS", std::to_wstring(contacts));
    m_environment.emplace_back(L"LINKWELL_BARE_LETTERS", std::to_wstring(letters));
}

Turn Turns::take(Party party, bool withLog)
{
    const std::filesystem::path log = m_folder.file(L"run.log");
    const std::filesystem::path times = m_folder.file(L"times.json");
    for (const std::wstring& old : {log.wstring(), log.wstring() + L".bak", times.wstring()})
        std::filesystem::remove(old);

    Reception reception;
    support::SequenceHost host(hostOf(reception));
    std::wstring arguments = withLog ? L"/log=" + log.wstring() : std::wstring();
    std::filesystem::path program = endtoend::agentProgram();
    if (party != Party::Agent)
    {
        program = endtoend::programFolder() / L"linkwell_floor.exe";
        arguments += L" /times=" + times.wstring() + (party == Party::FloorWithTexts ? L" /texts" : L"");
    }
    const double start = now();
    const endtoend::AgentProcess process(arguments, m_folder.file(L"errors.txt"), program);
    const std::array<HANDLE, 2> events = {reception.whole.get(), process.process()};
    if (WaitForMultipleObjects(2, events.data(), FALSE, mostMilliseconds) != WAIT_OBJECT_0)
        throw std::runtime_error(program.string() +
                                 " has sent nothing: " + support::readBytes(m_folder.file(L"errors.txt")));

    Turn turn;
    turn.toConnection = reception.connectedAt - start;
    turn.message = std::move(reception.message);
    if (party == Party::Agent)
    {
        turn.peak = peakOf(process.process());
        if (!withLog)
            return turn;
        const std::string text = beginningOf(log);
        fillParts(turn, reception, stampOf(text, "createSnapshot for"), stampOf(text, "Sending data:"));
        return turn;
    }
    if (WaitForSingleObject(process.process(), mostMilliseconds) != WAIT_OBJECT_0)
        throw std::runtime_error("the floor does not end");
    const auto measured = nlohmann::json::parse(support::readBytes(times));
    fillParts(turn, reception, measured.at("begin"), measured.at("sending"));
    turn.composing = measured.at("composing");
    turn.mailbox = measured.at("mailbox");
    turn.peak = measured.at("peak");
    return turn;
}

Round Turns::takeAll(unsigned run, bool withLog)
{
    Round round;
    for (const Party party : inTurns(run))
        (party == Party::Agent ? round.agent : round.floor) = take(party, withLog);
    round.floorWithTexts = take(Party::FloorWithTexts, withLog);
    if (round.agent.message != round.floor.message || round.floorWithTexts.message != round.floor.message)
        throw std::runtime_error("agent, floor and floor with texts have sent different messages");
    return round;
}
} // namespace bench
