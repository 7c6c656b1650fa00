#include "sandbox/mailbox/reading/JsonText.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "sandbox/mailbox/model/MailboxError.h"
#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
namespace
{
/// Follows the parser through objects and lists, and refuses an object that has a key twice: the parser itself would
/// take the last one without a word.
class DuplicateKeyWatch
{
public:
    bool operator()(int, Json::parse_event_t event, Json& parsed)
    {
        switch (event)
        {
        case Json::parse_event_t::object_start:
        case Json::parse_event_t::array_start:
            m_levels.push_back({event == Json::parse_event_t::array_start, 0, {}, {}});
            break;
        case Json::parse_event_t::key:
            m_levels.back().key = parsed.get<std::string>();
            if (!m_levels.back().keys.insert(m_levels.back().key).second)
                failAt(path(), "this key is given twice");
            break;
        case Json::parse_event_t::object_end:
        case Json::parse_event_t::array_end:
            m_levels.pop_back();
            nextElement();
            break;
        case Json::parse_event_t::value:
            nextElement();
            break;
        }
        return true;
    }

private:
    struct Level
    {
        bool isList;
        std::size_t index;
        std::string key;
        std::set<std::string> keys;
    };

    void nextElement()
    {
        if (!m_levels.empty() && m_levels.back().isList)
            ++m_levels.back().index;
    }

    [[nodiscard]] std::string path() const
    {
        std::string path;
        for (const Level& level : m_levels)
            path = level.isList ? elementPath(path, level.index) : memberPath(path, level.key);
        return path;
    }

    std::vector<Level> m_levels;
};

/// The parser's words without its own preamble, which speaks of the library and repeats the place.
[[nodiscard]] std::string plainWords(const std::string& what)
{
    std::string words = what;
    if (const std::size_t column = words.find(", column "); column != std::string::npos)
    {
        if (const std::size_t end = words.find(": ", column); end != std::string::npos)
            words.erase(0, end + 2);
    }
    if (words.starts_with("syntax error while parsing "))
    {
        if (const std::size_t end = words.find(" - "); end != std::string::npos)
            words.erase(0, end + 3);
    }
    return toUtf8(toWide(words)); // they may quote what is no UTF-8
}

[[nodiscard]] std::string placeOf(const std::string& text, std::size_t byte)
{
    // The parser counts from 1 and names the byte at which it gave up, which may be one behind the end.
    const std::size_t end = std::min(byte == 0 ? 0 : byte - 1, text.size());
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t at = 0; at < end; ++at)
    {
        const auto character = static_cast<unsigned char>(text[at]);
        if (character == '\n')
        {
            ++line;
            column = 1;
        }
        else if ((character & 0xC0) != 0x80) // bytes that go on with a character make no column
        {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}
} // namespace

Json parseJson(const std::string& text)
{
    try
    {
        constexpr bool throws = true;
        constexpr bool allowsComments = true;
        return Json::parse(text, DuplicateKeyWatch(), throws, allowsComments);
    }
    catch (const Json::parse_error& error)
    {
        throw MailboxError(placeOf(text, error.byte) + ": " + plainWords(error.what()));
    }
}
} // namespace sandbox
