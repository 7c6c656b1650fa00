#include "tools/support/Page.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace diagnosis
{
namespace
{
constexpr std::array<std::pair<std::string_view, Hole>, 9> holes{{{"<name>", Hole::Name},
                                                                  {"<command line>", Hole::CommandLine},
                                                                  {"<failure>", Hole::Failure},
                                                                  {"<count>", Hole::Count},
                                                                  {"<hex>", Hole::Hex},
                                                                  {"<bool>", Hole::Bool},
                                                                  {"<id>", Hole::Id},
                                                                  {"<hash>", Hole::Hash},
                                                                  {"<pointer>", Hole::Pointer}}};

[[nodiscard]] std::vector<Piece> piecesOf(std::string_view line)
{
    std::vector<Piece> pieces(1);
    while (!line.empty())
    {
        const auto hole =
            std::ranges::find_if(holes, [line](const auto& known) { return line.starts_with(known.first); });
        if (hole == holes.end())
        {
            pieces.back().words += line.front();
            line.remove_prefix(1);
            continue;
        }
        pieces.back().hole = hole->second;
        pieces.emplace_back();
        line.remove_prefix(hole->first.size());
    }
    return pieces;
}

[[nodiscard]] std::size_t wordCount(const Entry& entry)
{
    std::size_t count = 0;
    for (const Piece& piece : entry.pieces)
        count += piece.words.size();
    return count;
}

// ---- Markdown ------------------------------------------------------------------------------------------------------------

[[nodiscard]] std::string_view trimmed(std::string_view text)
{
    const auto begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

[[nodiscard]] std::vector<std::string_view> cellsOf(std::string_view row)
{
    std::vector<std::string_view> cells;
    row = row.substr(1, row.rfind('|') - 1);
    for (std::size_t bar = 0; bar != std::string_view::npos;)
    {
        bar = row.find(" | ");
        cells.push_back(trimmed(row.substr(0, bar)));
        if (bar != std::string_view::npos)
            row.remove_prefix(bar + 2);
    }
    return cells;
}

/// What stands between backticks, one or two.
[[nodiscard]] std::vector<std::string_view> codeIn(std::string_view cell)
{
    std::vector<std::string_view> code;
    for (auto begin = cell.find('`'); begin != std::string_view::npos; begin = cell.find('`'))
    {
        const std::string_view fence = cell.substr(begin).starts_with("``") ? "``" : "`";
        cell.remove_prefix(begin + fence.size());
        const auto end = cell.find(fence);
        code.push_back(fence.size() == 2 ? trimmed(cell.substr(0, end)) : cell.substr(0, end));
        cell.remove_prefix(std::min(cell.size(), end + fence.size()));
    }
    return code;
}

/// Without links and backticks, as a console shows it.
[[nodiscard]] std::string plain(std::string_view markdown)
{
    std::string text;
    for (std::size_t index = 0; index < markdown.size(); ++index)
    {
        const char character = markdown[index];
        if (character == ']' && markdown.substr(index).starts_with("]("))
            index = markdown.find(')', index);
        else if (character != '`' && character != '[')
            text += character;
    }
    return text;
}

/// As code hosts make the anchor of a heading.
[[nodiscard]] std::string anchorOf(std::string_view heading)
{
    std::string anchor;
    for (const char character : heading)
    {
        if (character >= 'A' && character <= 'Z')
            anchor += static_cast<char>(character - 'A' + 'a');
        else if (character == ' ')
            anchor += '-';
        else if ((character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') || character == '-')
            anchor += character;
    }
    return anchor;
}

/// The kind of the lines in a table with this first cell.
[[nodiscard]] Kind kindOf(std::string_view head)
{
    if (head == "Ordinary line")
        return Kind::Ordinary;
    if (head == "Harmless line")
        return Kind::Harmless;
    if (head == "Line")
        return Kind::Problem;
    if (head == "Last line")
        return Kind::LastLine;
    if (head == "Finding")
        return Kind::DoctorFinding;
    return Kind::Other;
}

// ---- The table ------------------------------------------------------------------------------------------------------------

[[nodiscard]] const Entry& entryOf(const std::vector<Entry>& entries, std::string_view line)
{
    const auto found = std::ranges::find(entries, line, &Entry::line);
    if (found == entries.end())
        throw std::logic_error("the page has no entry for: " + std::string(line));
    return *found;
}

[[nodiscard]] std::string_view resource()
{
    const HMODULE program = GetModuleHandleW(nullptr);
    const HRSRC place = FindResourceW(program, L"TROUBLESHOOTING", MAKEINTRESOURCEW(10)); // RT_RCDATA
    const HGLOBAL loaded = place != nullptr ? LoadResource(program, place) : nullptr;
    const void* const bytes = loaded != nullptr ? LockResource(loaded) : nullptr;
    if (bytes == nullptr)
        throw std::runtime_error("the page is missing in this program");
    return {static_cast<const char*>(bytes), SizeofResource(program, place)};
}
} // namespace

Page::Page(std::string_view markdown)
{
    std::string anchor;
    Kind kind = Kind::Other;
    bool inTable = false;
    while (!markdown.empty())
    {
        const auto end = std::min(markdown.find('\n'), markdown.size() - 1);
        std::string_view line = markdown.substr(0, end);
        markdown.remove_prefix(end + 1);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (line.starts_with("##"))
            anchor = anchorOf(trimmed(line.substr(line.find_first_not_of('#'))));
        if (!line.starts_with('|'))
        {
            inTable = false;
            continue;
        }
        const auto cells = cellsOf(line);
        if (!std::exchange(inTable, true))
            kind = kindOf(cells.front());
        if (kind == Kind::Other)
            continue;
        const auto lines = codeIn(cells.front());
        if (kind == Kind::LastLine && cells.front() == "any other")
            m_otherLastLine = plain(cells.at(1));
        auto& entries = kind == Kind::LastLine ? m_lastLines : kind == Kind::DoctorFinding ? m_findings : m_entries;
        for (const std::string_view code : lines)
            entries.push_back({std::string(code), piecesOf(code), kind, plain(cells.at(1)),
                               cells.size() > 2 ? plain(cells[2]) : std::string(), anchor});
    }
    if (m_entries.empty() || m_lastLines.empty() || m_otherLastLine.empty())
        throw std::runtime_error("the page lacks its tables");
    std::ranges::stable_sort(m_entries, std::ranges::greater(), wordCount);
}

const Page& Page::builtIn()
{
    static const Page page(resource());
    return page;
}

const Entry& Page::at(std::string_view line) const
{
    return entryOf(m_entries, line);
}

const Entry& Page::finding(std::string_view code) const
{
    return entryOf(m_findings, code);
}
} // namespace diagnosis
