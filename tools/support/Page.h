// Page.h: docs/troubleshooting.md as a table: each text that the agent can log, with what it means. The page is built into
// the program as a resource, so what the tool knows and what users read can't differ.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace diagnosis
{
/// What stands in angle brackets in a line of the page.
enum class Hole
{
    None, // the words of the line themselves
    Name,
    CommandLine,
    Failure,
    Count,
    Hex,
    Bool,
    Id,
    Hash,
    Pointer
};

enum class Kind
{
    Ordinary,
    Harmless,
    Problem,
    LastLine,      // of a run that has no end
    DoctorFinding, // a code of the doctor's
    Other          // in a table of another sort
};

/// Words and a hole in turn; the last piece may have no hole.
struct Piece
{
    std::string words;
    Hole hole = Hole::None;
};

struct Entry
{
    std::string line; // as the page has it, with its angle brackets
    std::vector<Piece> pieces;
    Kind kind = Kind::Ordinary;
    std::string cause;
    std::string remedy; // of problems only
    std::string anchor; // of the section that it stands in
};

/// A part of a record: words of the page, or what stands in a hole.
struct Part
{
    Hole hole = Hole::None;
    std::string_view text;
};

/// A record, or a failure in it, that the page knows.
struct Match
{
    const Entry* entry = nullptr;
    const Entry* failure = nullptr; // what stands in its hole Failure, if the page knows that
    std::vector<Part> parts;        // the whole text, in order; those of a known failure too
};

/// Its reading is in Page.cpp, the search in PageMatching.cpp.
class Page
{
public:
    /// Reads the page's tables. Throws std::runtime_error when it has none.
    explicit Page(std::string_view markdown);
    /// The page that is built into this program; read once.
    [[nodiscard]] static const Page& builtIn();

    /// The entry of this line; throws std::logic_error when there is none.
    [[nodiscard]] const Entry& at(std::string_view line) const;
    /// The most particular entry that the whole text fits; `entry` is null when there is none. The parts refer into `text`.
    /// Long texts, which no line of the log's own is, fit nothing.
    [[nodiscard]] Match match(std::string_view text) const;
    /// The entry of a code of the doctor's; throws std::logic_error when there is none.
    [[nodiscard]] const Entry& finding(std::string_view code) const;
    /// What is to be thought of a run whose last record this is, and which has no end.
    [[nodiscard]] const std::string& whatEndedAt(std::string_view text) const;

private:
    std::vector<Entry> m_entries; // those with most words first
    std::vector<Entry> m_lastLines;
    std::vector<Entry> m_findings;
    std::string m_otherLastLine;
};
} // namespace diagnosis
