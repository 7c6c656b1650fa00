#include "tests/endtoend/sweep/LogParts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include "tests/support/LogFile.h"

namespace endtoend::sweep
{
namespace
{
constexpr std::string_view shutdown = "Shutdown...";
constexpr std::string_view lastOfWorker = "MAPI thread finished";

/// What the main thread writes from "Shutdown..." on.
bool isOfMainThread(const std::string& record)
{
    static constexpr std::array<std::string_view, 8> starts = {
        shutdown,
        "Closing MAPI session...",
        "Try to shutdown MAPI fast",
        "HRESULT logged: mapi::Session::shutdown",
        "HRESULT logged: mapi::Session::logoff",
        "Logoff...",
        "MAPI session closed",
        "Done",
    };
    return record == support::logFooter ||
           std::ranges::any_of(starts, [&record](std::string_view start) { return record.starts_with(start); });
}
} // namespace

LogDifference differenceOf(const Records& records, const Records& reference)
{
    // How many records the rests from these places on have in common.
    std::vector<std::vector<std::size_t>> common(records.size() + 1, std::vector<std::size_t>(reference.size() + 1));
    for (std::size_t at = records.size(); at-- > 0;)
    {
        for (std::size_t of = reference.size(); of-- > 0;)
            common[at][of] = records[at] == reference[of] ? common[at + 1][of + 1] + 1
                                                          : std::max(common[at + 1][of], common[at][of + 1]);
    }
    LogDifference difference;
    std::size_t at = 0;
    std::size_t of = 0;
    while (at < records.size() && of < reference.size())
    {
        if (records[at] == reference[of])
        {
            ++at;
            ++of;
        }
        else if (common[at + 1][of] >= common[at][of + 1])
            difference.extra.push_back(records[at++]);
        else
            difference.missing.push_back(reference[of++]);
    }
    difference.extra.insert(difference.extra.end(), records.begin() + static_cast<std::ptrdiff_t>(at), records.end());
    difference.missing.insert(difference.missing.end(), reference.begin() + static_cast<std::ptrdiff_t>(of),
                              reference.end());
    return difference;
}

std::pair<Records, Records> splitAtShutdown(const Records& records)
{
    auto at = std::ranges::find(records, shutdown);
    if (at == records.end())
        at = std::ranges::find(records, support::logFooter);
    return {Records(records.begin(), at), Records(at, records.end())};
}

bool isEndInOrder(const Records& records, bool workerEnded)
{
    Records main;
    bool isOver = workerEnded;
    for (const std::string& record : records)
    {
        if (isOfMainThread(record))
        {
            if (record == "Done" && !isOver)
                return false;
            main.push_back(record);
            continue;
        }
        if (isOver)
            return false;
        isOver = record == lastOfWorker;
    }
    const auto ways = std::erase_if(main,
                                    [](const std::string& record)
                                    {
                                        return record == "Logoff..." || record.starts_with("HRESULT logged: ") ||
                                               record.starts_with("Try to shutdown MAPI fast");
                                    });
    return ways != 0 && main == Records{std::string(shutdown), "Closing MAPI session...", "MAPI session closed", "Done",
                                        std::string(support::logFooter)};
}
} // namespace endtoend::sweep
