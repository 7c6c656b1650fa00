// Records of the log, with and without a file, beside bare writes of the same text.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Live.h"
#include "bench/Observation.h"
#include "bench/floor/Output.h"
#include "tests/support/LogFile.h"
#include "utilities/Logger.h"

namespace bench
{
namespace
{
// A record of a notification.
constexpr std::wstring_view wideText = L"Notification 10 for Zo\u00EB \u00C5ngstr\u00F6m of type 5, EntryId hash = "
                                       L"7f37237dc92f23b5 (00000000A1B2C3D4E5F60718293A4B5C6D7E8F90"
                                       L"0700A1B2C3D4E5F60718293A4B5C6D7E8F900000000000030000000000000001)";
constexpr std::string_view text = "Notification 10 for Zo\u00EB \u00C5ngstr\u00F6m of type 5, EntryId hash = "
                                  "7f37237dc92f23b5 (00000000A1B2C3D4E5F60718293A4B5C6D7E8F90"
                                  "0700A1B2C3D4E5F60718293A4B5C6D7E8F900000000000030000000000000001)";

template <class Action>
void measure(const char* figure, Party party, std::size_t count, Action action)
{
    const Clock::time_point start = Clock::now();
    for (std::size_t number = 0; number < count; ++number)
        action();
    observe(figure, nameOf(party), static_cast<double>(count), Milliseconds(Clock::now() - start).count(), "ms");
}

void expectRecords(const std::wstring& file, std::size_t count)
{
    const std::vector<std::string> lines = support::readLogLines(file);
    const auto found = static_cast<std::size_t>(std::ranges::count(lines, text));
    if (found != count)
        throw std::runtime_error("a log has " + std::to_string(found) + " of " + std::to_string(count) + " records");
}

void measureAgent(const support::TempFolder& folder, std::size_t withFile, std::size_t withoutFile)
{
    const std::wstring file = folder.file(L"agent.log");
    utilities::Logger& logger = utilities::Logger::instance();
    logger.init(file);
    measure("log records", Party::Agent, withFile, [&] { logger.write(wideText); });
    logger.finish();
    measure("log records without a file", Party::Agent, withoutFile, [&] { logger.write(wideText); });
    expectRecords(file, withFile);
}

/// Converts the text each time, as the agent has to.
void measureFloor(const support::TempFolder& folder, std::size_t withFile, std::size_t withoutFile)
{
    const std::wstring file = folder.file(L"floor.log");
    const auto write = [](BareLog& log)
    {
        char bytes[512];
        const int size = WideCharToMultiByte(CP_UTF8, 0, wideText.data(), static_cast<int>(wideText.size()), bytes,
                                             sizeof(bytes), nullptr, nullptr);
        log.write(std::string_view(bytes, static_cast<std::size_t>(size)));
    };
    {
        BareLog log(std::filesystem::path(file).string());
        measure("log records", Party::Floor, withFile, [&] { write(log); });
    }
    expectRecords(file, withFile);
    BareLog none("");
    measure("log records without a file", Party::Floor, withoutFile, [&] { none.write(text); });
}

void measureAll()
{
    // As many as stay below the size at which the agent begins a new file.
    const std::size_t withFile = isQuick() ? 500 : 4'000;
    const std::size_t withoutFile = isQuick() ? 20'000 : 200'000;
    for (unsigned run = 0; run < runs(); ++run)
    {
        const support::TempFolder folder;
        for (const Party party : inTurns(run))
            (party == Party::Agent ? measureAgent : measureFloor)(folder, withFile, withoutFile);
    }
}
} // namespace
} // namespace bench

int main()
{
    return bench::runBench(bench::measureAll);
}
