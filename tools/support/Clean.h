// Clean.h: a log without what is personal. What is not known to be harmless is replaced: the words of the page, numbers in
// their places and time stamps stay, and nothing else does.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/support/LogLines.h"
#include "tools/support/Tokens.h"

namespace diagnosis
{
/// Cleans the lines of one log in order, those of its backup first.
class Cleaner
{
public:
    /// The line as it goes into the copy, without a line end.
    [[nodiscard]] std::string clean(const LinePart& part);

private:
    enum class Place
    {
        Record,  // or the further lines of one
        Message, // its header comes next
        Items
    };

    [[nodiscard]] std::string cleanRecord(std::string_view text) const;
    [[nodiscard]] std::string cleanContinuation(std::string_view text);
    [[nodiscard]] std::string cleanItem(std::string_view line) const;
    [[nodiscard]] std::string cleanCommandLine(std::string_view text) const;
    [[nodiscard]] std::string id(std::string_view text) const { return m_tokens.token("id", text); }
    [[nodiscard]] std::string personal(std::string_view text) const { return m_tokens.token("text", text); }

    Tokens m_tokens;
    Place m_place = Place::Record;
};

/// Writes the cleaned copy of a log and its backup. Throws std::exception when the log can't be read, or the copy is there
/// already or can't be written; no copy is left then, nor when the process is ended.
void cleanLog(const std::wstring& log, const std::wstring& copy);
/// The same of the files of a log that have been opened.
void cleanSources(const std::vector<ByteSource>& sources, const std::wstring& copy);
} // namespace diagnosis
