#include "tests/support/LogFile.h"

#include <array>
#include <regex>
#include <stdexcept>

#include "utilities/Logger.h"

namespace support
{
namespace
{
constexpr std::size_t stampSize = 25; // "05.03.2024 14:07:09.042  "

std::string withoutStamp(std::string_view line)
{
    if (line.empty())
        return {};
    if (hasLogStamp(line))
        return std::string(line.substr(stampSize));
    return std::string(unstamped) + std::string(line);
}
} // namespace

bool hasLogStamp(std::string_view text)
{
    static const std::regex s_stamp(R"((0[1-9]|[12]\d|3[01])\.(0[1-9]|1[0-2])\.2\d{3} )"
                                    R"(([01]\d|2[0-3]):[0-5]\d:[0-5]\d\.\d{3}  )");
    const std::string start(text.substr(0, stampSize));
    return std::regex_match(start, s_stamp);
}

std::vector<std::string> logLines(std::string_view bytes)
{
    std::vector<std::string> lines;
    while (true)
    {
        const auto end = bytes.find_first_of("\r\n");
        if (end == std::string_view::npos)
            break;
        if (bytes.substr(end, 2) != "\r\n")
            throw std::runtime_error("a line end that is not CR LF, behind: " + std::string(bytes.substr(0, end)));
        lines.push_back(withoutStamp(bytes.substr(0, end)));
        bytes.remove_prefix(end + 2);
    }
    if (!bytes.empty())
        lines.push_back(withoutStamp(bytes));
    return lines;
}

std::vector<std::string> readLogLines(const std::filesystem::path& file)
{
    return logLines(readBytes(file));
}

ScopedLog::ScopedLog()
{
    utilities::Logger::instance().init(m_file);
}

ScopedLog::~ScopedLog()
{
    utilities::Logger::instance().finish();
}

std::vector<std::string> ScopedLog::lines() const
{
    auto lines = readLogLines(m_file);
    if (lines.empty() || lines.front() != logHeader)
        throw std::runtime_error("the log does not begin with its header");
    lines.erase(lines.begin());
    return lines;
}
} // namespace support
