// Which of the page's lines a text is; the rest of the class is in Page.cpp.
#include <algorithm>

#include "tools/support/Page.h"

namespace diagnosis
{
namespace
{
constexpr std::size_t longestText = 4096; // bytes; the search of lines with several names takes the cube of them

[[nodiscard]] bool consistsOf(std::string_view text, std::string_view characters, std::size_t most)
{
    return !text.empty() && text.size() <= most && text.find_first_not_of(characters) == std::string_view::npos;
}

/// What stands for an identifier in a cleaned log.
[[nodiscard]] bool isTokenOfId(std::string_view text)
{
    return text.starts_with("id-") && consistsOf(text.substr(3), "ghjklmnpqrstvwxz", 12);
}

[[nodiscard]] bool fits(Hole hole, std::string_view text)
{
    constexpr std::string_view lower = "0123456789abcdef";
    constexpr std::string_view upper = "0123456789ABCDEF";
    if ((hole == Hole::Id || hole == Hole::Hash || hole == Hole::Pointer) && isTokenOfId(text))
        return true;
    switch (hole)
    {
    case Hole::Count:
        return consistsOf(text, "0123456789", 20);
    case Hole::Hex:
        return consistsOf(text, lower, 8);
    case Hole::Hash:
        return consistsOf(text, lower, 16);
    case Hole::Bool:
        return text == "true" || text == "false";
    case Hole::Id:
        return text.size() % 2 == 0 && text.find_first_not_of(upper) == std::string_view::npos;
    case Hole::Pointer:
        return text.size() == 16 && consistsOf(text, upper, 16);
    case Hole::None:
    case Hole::Name:
    case Hole::CommandLine:
    case Hole::Failure:
        break;
    }
    return true;
}

/// Whether the text fits the pieces from `piece` on; appends its parts. Each hole is as short as it can be.
bool matchFrom(const std::vector<Piece>& pieces, std::size_t piece, std::string_view text, std::vector<Part>& parts)
{
    const Piece& current = pieces[piece];
    if (!text.starts_with(current.words))
        return false;
    const std::string_view rest = text.substr(current.words.size());
    if (current.hole == Hole::None)
    {
        if (!rest.empty())
            return false;
        parts.push_back({Hole::None, text});
        return true;
    }
    const std::size_t before = parts.size();
    const std::string_view next = pieces[piece + 1].words;
    const bool last = next.empty() && pieces[piece + 1].hole == Hole::None;
    for (std::size_t end = last ? rest.size() : rest.find(next); end != std::string_view::npos && end <= rest.size();
         end = rest.find(next, end + 1))
    {
        parts.resize(before);
        parts.push_back({Hole::None, text.substr(0, current.words.size())});
        parts.push_back({current.hole, rest.substr(0, end)});
        if (fits(current.hole, rest.substr(0, end)) && matchFrom(pieces, piece + 1, rest.substr(end), parts))
            return true;
        if (last)
            break;
    }
    parts.resize(before);
    return false;
}
} // namespace

Match Page::match(std::string_view text) const
{
    Match result;
    if (text.empty() || text.size() > longestText)
        return result;
    const auto found = std::ranges::find_if(m_entries, [&](const Entry& entry)
                                            { return matchFrom(entry.pieces, 0, text, result.parts); });
    if (found == m_entries.end())
        return result;
    result.entry = &*found;
    const auto hole = std::ranges::find(result.parts, Hole::Failure, &Part::hole);
    if (hole == result.parts.end())
        return result;
    Match inner = match(hole->text);
    if (inner.entry == nullptr)
        return result;
    result.failure = inner.failure != nullptr ? inner.failure : inner.entry;
    const auto place = result.parts.erase(hole);
    result.parts.insert(place, inner.parts.begin(), inner.parts.end());
    return result;
}

const std::string& Page::whatEndedAt(std::string_view text) const
{
    std::vector<Part> parts;
    const auto found =
        std::ranges::find_if(m_lastLines, [&](const Entry& entry) { return matchFrom(entry.pieces, 0, text, parts); });
    return found == m_lastLines.end() ? m_otherLastLine : found->cause;
}
} // namespace diagnosis
