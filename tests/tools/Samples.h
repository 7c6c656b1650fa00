// Samples.h: logs as the tests of linkwell-support write them.
#pragma once

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/LogFile.h"
#include "tools/support/LogRuns.h"

namespace diagnosis
{
/// Records of one log, a second apart, with stamps and line ends as the agent writes them. A record that begins with "| " is
/// a line without a stamp.
[[nodiscard]] inline std::string logOf(std::initializer_list<std::string_view> records)
{
    std::string text;
    int second = 0;
    for (const std::string_view record : records)
    {
        if (!text.empty())
            text += "\r\n";
        if (record.starts_with(support::unstamped))
        {
            text += record.substr(support::unstamped.size());
            continue;
        }
        const std::string number = std::to_string(second++);
        text += "05.03.2024 14:07:" + std::string(number.size() < 2 ? "0" : "") + number + ".042  ";
        text += record;
    }
    return text;
}

inline constexpr std::string_view started =
    "Started \"C:\\Program Files\\Linkwell\\LinkwellAgent.exe\" /log=C:\\Users\\Anna Berg\\agent.log";
inline constexpr std::string_view storeFound = "Message Store found: Mailbox - Anna Berg (Example Exchange), Default: "
                                               "true, Public: false, EntryId: 00000000A1B2C3";
inline constexpr std::string_view noPipe =
    "NamedPipe::NamedPipe: cannot create or open pipe: pipeName=CorvenaLinkwell, createNew=0, error=0x2";
inline constexpr std::string_view startRefused =
    "An exception has been caught in AsyncMapiHelper::run : Unable to send data through ipc channel";

/// The bytes of a text, in pieces of this size.
[[nodiscard]] inline ByteSource sourceOf(std::string bytesToGive, std::size_t pieces = 1000)
{
    return [text = std::move(bytesToGive), at = std::size_t{0}, pieces](char* bytes, std::size_t size) mutable
    {
        const std::size_t count = std::min({size, pieces, text.size() - at});
        std::memcpy(bytes, text.data() + at, count);
        at += count;
        return count;
    };
}

[[nodiscard]] inline std::vector<LinePart> partsOf(const std::string& text, std::size_t pieces = 1000)
{
    std::vector<LinePart> parts;
    LineReader reader(sourceOf(text, pieces));
    for (LinePart part; reader.next(part);)
        parts.push_back(part);
    return parts;
}

[[nodiscard]] inline std::vector<Run> runsOf(const std::string& log)
{
    std::vector<Run> runs;
    RunReader reader([&runs](const Run& run) { runs.push_back(run); });
    for (const LinePart& part : partsOf(log))
        reader.read(part);
    reader.finish();
    return runs;
}
} // namespace diagnosis
