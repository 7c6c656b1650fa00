#include "tools/support/Clean.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/Handle.h"
#include "tools/support/Page.h"
#include "tools/support/Utf8.h"

namespace diagnosis
{
namespace
{
constexpr std::size_t bufferSize = 64 * 1024;
constexpr std::string_view fillers = " \"\\/=:";
constexpr std::array<std::string_view, 21> harmlessWords{
    "log",       "users",        "program", "files",  "(x86)",  "programdata", "windows",  "appdata",
    "local",     "locallow",     "roaming", "temp",   "tmp",    "documents",   "linkwell", "linkwellagent.exe",
    "agent.log", "linkwell.log", "logs",    "public", "desktop"};

[[nodiscard]] char lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

[[nodiscard]] bool isHarmless(std::string_view word)
{
    const auto isThis = [word](std::string_view known)
    {
        return std::ranges::equal(word, known, {}, lower);
    };
    return std::ranges::any_of(harmlessWords, isThis);
}

[[nodiscard]] bool isNumber(std::string_view text)
{
    return !text.empty() && text.size() <= 4 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

template <class Function>
void forEachField(std::string_view text, char separator, Function function)
{
    for (std::size_t end = 0; end != std::string_view::npos;)
    {
        end = text.find(separator);
        function(text.substr(0, end), end != std::string_view::npos);
        if (end != std::string_view::npos)
            text.remove_prefix(end + 1);
    }
}

/// "2;<operation>;<kind>;<index>;<total>"
[[nodiscard]] bool isMessageHeader(std::string_view line)
{
    std::vector<std::string_view> fields;
    forEachField(line, ';', [&fields](std::string_view field, bool) { fields.push_back(field); });
    const auto isOneOf = [](std::string_view field, std::initializer_list<std::string_view> words)
    {
        return std::ranges::find(words, field) != words.end();
    };
    return fields.size() == 5 && fields[0] == "2" && isOneOf(fields[1], {"snapshot", "add", "change", "delete"}) &&
           isOneOf(fields[2], {"contact", "folder"}) && isNumber(fields[3]) && isNumber(fields[4]);
}

[[nodiscard]] bool isId(std::string_view field)
{
    return field.size() >= 10 && field.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}
} // namespace

std::string Cleaner::clean(const LinePart& part)
{
    std::string_view text = part.text;
    const std::string_view rotation = takeRotation(text);
    if (!part.begins || stampOf(text).empty())
        return cleanContinuation(text).append(rotation);
    std::string cleaned;
    while (!text.empty())
    {
        const std::string_view record = takeRecord(text);
        const std::string_view recordText = withoutStamp(record);
        cleaned.append(stampOf(record)).append("  ").append(cleanRecord(recordText));
        m_place = recordText == "Sending data:" ? Place::Message : Place::Record;
    }
    return cleaned.append(rotation);
}

std::string Cleaner::cleanRecord(std::string_view text) const
{
    const Match match = Page::builtIn().match(text);
    if (match.entry == nullptr)
        return personal(text);
    std::string cleaned;
    for (const Part& part : match.parts)
    {
        switch (part.hole)
        {
        case Hole::Name:
        case Hole::Failure: // one that the page does not know
            cleaned += part.text == "(cannot resolve)" ? std::string(part.text) : personal(part.text);
            break;
        case Hole::CommandLine:
            cleaned += cleanCommandLine(part.text);
            break;
        case Hole::Id:
        case Hole::Hash:
        case Hole::Pointer:
            cleaned += id(part.text);
            break;
        case Hole::None:
        case Hole::Count:
        case Hole::Hex:
        case Hole::Bool:
            cleaned += part.text;
            break;
        }
    }
    return cleaned;
}

std::string Cleaner::cleanContinuation(std::string_view text)
{
    if (m_place == Place::Record) // NewValue is the one further line that the agent writes; others are of names
        return text.starts_with("NewValue: ") ? cleanRecord(text) : personal(text);
    const bool isHeader = std::exchange(m_place, Place::Items) == Place::Message && isMessageHeader(text);
    return isHeader ? std::string(text) : cleanItem(text);
}

std::string Cleaner::cleanItem(std::string_view line) const
{
    std::string cleaned;
    forEachField(line, ';',
                 [&](std::string_view field, bool more)
                 {
                     cleaned += isId(field) ? id(field) : personal(field);
                     if (more)
                         cleaned += ';';
                 });
    return cleaned;
}

std::string Cleaner::cleanCommandLine(std::string_view text) const
{
    std::string cleaned;
    while (!text.empty())
    {
        const std::string_view word = text.substr(0, text.find_first_of(fillers));
        const bool isDrive = word.size() == 1 && lower(word.front()) >= 'a' && lower(word.front()) <= 'z' &&
                             text.substr(1).starts_with(":\\");
        cleaned += isDrive || isHarmless(word) ? std::string(word) : personal(word);
        text.remove_prefix(word.size());
        if (!text.empty())
            cleaned += text.front();
        text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    }
    return cleaned;
}

// ---- The copy --------------------------------------------------------------------------------------------------------------

namespace
{
/// A new file that is deleted when it is closed, by the end of the process too, unless it has been kept.
class NewFile
{
public:
    explicit NewFile(const std::wstring& path)
        : m_path(path),
          m_file(CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                             FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (m_file.get() == INVALID_HANDLE_VALUE)
            fail(GetLastError() == ERROR_FILE_EXISTS ? "the copy is there already, and is not overwritten"
                                                     : "the copy can't be made");
        setDeletion(TRUE);
    }

    void writeLine(const std::string& line)
    {
        m_buffer.append(line).append("\r\n");
        if (m_buffer.size() >= bufferSize)
            flush();
    }

    void keep()
    {
        flush();
        setDeletion(FALSE);
    }

private:
    [[noreturn]] void fail(const char* what) const
    {
        const auto error = static_cast<int>(GetLastError());
        throw std::system_error(error, std::system_category(), utf8(m_path) + ": " + what);
    }
    void setDeletion(BOOL deleted)
    {
        FILE_DISPOSITION_INFO disposition{};
        disposition.DeleteFile = static_cast<BOOLEAN>(deleted);
        if (!SetFileInformationByHandle(m_file.get(), FileDispositionInfo, &disposition, sizeof(disposition)))
            fail("the copy can't be made");
    }
    void flush()
    {
        DWORD written = 0;
        if (!WriteFile(m_file.get(), m_buffer.data(), static_cast<DWORD>(m_buffer.size()), &written, nullptr) ||
            written != m_buffer.size())
            fail("the copy can't be written");
        m_buffer.clear();
    }

    std::wstring m_path;
    tools::OwnedHandle m_file;
    std::string m_buffer;
};
} // namespace

void cleanLog(const std::wstring& log, const std::wstring& copy)
{
    cleanSources(openLog(log), copy);
}

void cleanSources(const std::vector<ByteSource>& sources, const std::wstring& copy)
{
    Cleaner cleaner;
    NewFile file(copy);
    for (const ByteSource& source : sources)
    {
        LineReader reader(source);
        for (LinePart part; reader.next(part);)
            file.writeLine(cleaner.clean(part));
    }
    file.keep();
}
} // namespace diagnosis
