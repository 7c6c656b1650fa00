#include "tests/endtoend/trouble/LogModel.h"

#include <utility>

#include "tests/support/LogFile.h"

namespace endtoend::trouble
{
namespace
{
const std::string mark(25, '#');
}

std::string withoutStamps(std::string bytes)
{
    for (std::size_t place = 0; place + mark.size() <= bytes.size(); ++place)
    {
        const std::string_view here = std::string_view(bytes).substr(place, mark.size());
        if (here[2] == '.' && here[5] == '.' && support::hasLogStamp(here))
            bytes.replace(place, mark.size(), mark);
    }
    return bytes;
}

void LogModel::write(std::string_view text)
{
    if (!m_isOpen)
        return;
    m_file += m_owesBreak ? "\r\n" + mark : mark;
    for (const char each : text)
        m_file.append(each == '\n' ? "\r" : "").append(1, each);
    m_owesBreak = !text.ends_with('\n');
    if (m_file.size() < limit)
        return;

    m_file += "(continue to the next log file)";
    if (m_isMovable)
        m_backup = std::exchange(m_file, {});
    m_isOpen = m_isReopenable;
    if (!m_isOpen)
        return;
    m_file += "(continue logging)\r\n";
    m_owesBreak = false;
}
} // namespace endtoend::trouble
