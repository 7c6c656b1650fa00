#include "sandbox/mailbox/reading/JsonText.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
namespace
{
using Event = Json::parse_event_t;

constexpr bool parserThrows = true;
constexpr bool allowsComments = true;

/// Goes with the parser through objects and lists.
class PathFollower
{
public:
    /// To be called with each event of the parser, before `leave`.
    void enter(Event event, const Json& parsed)
    {
        if (event == Event::key)
            m_levels.back().key = parsed.get<std::string>();
    }
    /// To be called behind `enter`.
    void leave(Event event)
    {
        if (event == Event::object_start || event == Event::array_start)
        {
            m_levels.push_back({event == Event::array_start, 0, {}, {}});
            return;
        }
        if (event == Event::object_end || event == Event::array_end)
            m_levels.pop_back();
        if (event != Event::key && !m_levels.empty())
            ++m_levels.back().index;
    }

    /// In between: whether a member, an element or the whole begins with the event, and its path.
    [[nodiscard]] bool begins(Event event) const
    {
        const bool isValue = event == Event::value || event == Event::object_start || event == Event::array_start;
        return event == Event::key || (isValue && (m_levels.empty() || m_levels.back().isList));
    }
    [[nodiscard]] std::string path() const
    {
        std::string path;
        for (const Level& level : m_levels)
            path = level.isList ? elementPath(path, level.index) : memberPath(path, level.key);
        return path;
    }
    /// In between, at a key: false if its object has it already.
    [[nodiscard]] bool isNewKey() { return m_levels.back().keys.insert(m_levels.back().key).second; }

private:
    struct Level
    {
        bool isList;
        std::size_t index;
        std::string key;
        std::set<std::string> keys;
    };

    std::vector<Level> m_levels;
};

/// Counts what the parser takes.
class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, std::size_t& taken) : m_at(at), m_taken(&taken) {}
    reference operator*() const { return *m_at; }
    CountingIterator& operator++()
    {
        ++m_at;
        ++*m_taken;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return m_at == other.m_at; }

private:
    const char* m_at;
    std::size_t* m_taken;
};

/// Where the token begins that the parser has just taken.
/// @param taken  how much it took: up to the token's end, and behind a number one more.
[[nodiscard]] std::size_t beginOfToken(const std::string& text, std::size_t taken, Event event, const Json& parsed)
{
    std::size_t at = taken - 1;
    if (event == Event::object_start || event == Event::array_start)
        return at;
    if (parsed.is_string())
    {
        const auto isEscaped = [&](std::size_t quote)
        {
            const std::size_t before = text.find_last_not_of('\\', quote - 1);
            return (quote - before) % 2 == 0;
        };
        do
            at = text.rfind('"', at - 1);
        while (isEscaped(at));
        return at;
    }
    const auto isPart = [&](std::size_t index)
    {
        const char character = text[index];
        return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '+' || character == '-' ||
               character == '.';
    };
    if (!isPart(at))
        --at;
    while (at > 0 && isPart(at - 1))
        --at;
    return at;
}

/// The parser's words without its own preamble, which speaks of the library and repeats the position.
[[nodiscard]] std::string plainWords(const std::string& what)
{
    std::string words = what.substr(what.find("] ") + 2);
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

[[nodiscard]] std::string positionAt(const std::string& text, std::size_t end)
{
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t at = 0; at < std::min(end, text.size()); ++at)
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

/// Has the parser take the text again, up to its end or to where it is no JSON.
/// @param taken  counts how much that is.
void follow(const std::string& text, std::size_t& taken, const Json::parser_callback_t& look)
{
    std::size_t unused = 0;
    const CountingIterator begin(text.data(), taken);
    const CountingIterator end(text.data() + text.size(), unused);
    const Json again = Json::parse(begin, end, look, !parserThrows, allowsComments);
}
} // namespace

Json parseJson(const std::string& text)
{
    PathFollower follower;
    const auto refuseKeysGivenTwice = [&](int, Event event, Json& parsed)
    {
        follower.enter(event, parsed);
        if (event == Event::key && !follower.isNewKey())
            failAt(follower.path(), "this key is given twice");
        follower.leave(event);
        return true;
    };
    try
    {
        return Json::parse(text, refuseKeysGivenTwice, parserThrows, allowsComments);
    }
    catch (const Json::parse_error& error)
    {
        // The parser counts from 1 and names the byte at which it gave up, which may be one behind the end.
        throw MailboxError(positionAt(text, error.byte == 0 ? 0 : error.byte - 1) + ": " + plainWords(error.what()));
    }
    catch (const Json::out_of_range& error) // a number, and the parser doesn't say where
    {
        std::size_t taken = 0;
        follow(text, taken, nullptr);
        throw MailboxError(positionAt(text, beginOfToken(text, taken, Event::value, Json())) + ": " +
                           plainWords(error.what()));
    }
}

std::string positionOf(const std::string& text, const std::string& path)
{
    PathFollower follower;
    std::size_t taken = 0;
    std::size_t found = 0;
    const auto look = [&](int, Event event, Json& parsed)
    {
        follower.enter(event, parsed);
        if (follower.begins(event) && follower.path() == path)
            found = beginOfToken(text, taken, event, parsed);
        follower.leave(event);
        return true;
    };
    follow(text, taken, look);
    return positionAt(text, found);
}
} // namespace sandbox
