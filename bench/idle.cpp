// What an agent costs that has nothing to do, beside the floor's watcher: a bare loop of the same period. Under Wine, where the
// kernel that Wine runs on says of each thread what it has taken and how often it has slept.
#include <windows.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/Edits.h"
#include "bench/Live.h"
#include "bench/Observation.h"

namespace bench
{
namespace
{
namespace fs = std::filesystem;

const fs::path processes = R"(Z:\proc)";

std::string textOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

/// The folder that Linux has for the process with this argument on its command line.
fs::path folderOf(const std::wstring& argument)
{
    const std::u8string text = fs::path(argument).u8string();
    for (const fs::directory_entry& entry : fs::directory_iterator(processes))
    {
        if (std::isdigit(static_cast<unsigned char>(entry.path().filename().string().front())) != 0 &&
            textOf(entry.path() / "cmdline").find(reinterpret_cast<const char*>(text.c_str())) != std::string::npos)
            return entry.path();
    }
    throw std::runtime_error("the process that is measured is not in " + processes.string());
}

/// What all threads of a process have taken so far.
struct Usage
{
    double processorTime = 0; // milliseconds
    double wakeUps = 0;       // how often a thread has gone to sleep by itself
};

Usage usageOf(const fs::path& process)
{
    Usage usage;
    for (const fs::directory_entry& thread : fs::directory_iterator(process / "task"))
    {
        usage.processorTime += std::stod(textOf(thread.path() / "schedstat")) / 1e6; // its first number, in nanoseconds
        const std::string status = textOf(thread.path() / "status");
        const std::string key = "\nvoluntary_ctxt_switches:";
        usage.wakeUps += std::stod(status.substr(status.find(key) + key.size()));
    }
    return usage;
}

void measure()
{
    if (!support::runsOnWine())
        throw std::runtime_error("idle is measured under Wine alone");
    const std::chrono::seconds time(isQuick() ? 2 : 5);
    TimingHost host;
    for (unsigned run = 0; run < runs(); ++run)
    {
        for (const Party party : inTurns(run))
        {
            LiveProcess process(host, party, Edits(500).mailbox());
            const fs::path folder = folderOf(process.logFile());
            const Usage before = usageOf(folder);
            const Clock::time_point start = Clock::now();
            std::this_thread::sleep_for(time);
            const Usage after = usageOf(folder);
            const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
            process.close();
            observe("idle time", nameOf(party), 1, (after.processorTime - before.processorTime) / seconds, "ms/s");
            observe("idle wake-ups", nameOf(party), 1, (after.wakeUps - before.wakeUps) / seconds, "1/s");
        }
    }
}
} // namespace
} // namespace bench

int main()
{
    return bench::runBench(bench::measure);
}
