#include "tools/support/LogLines.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "tools/Handle.h"
#include "tools/support/Utf8.h"

namespace diagnosis
{
namespace
{
constexpr std::size_t chunkSize = 64 * 1024;   // bytes read at a time
constexpr std::size_t longestPart = 16 * 1024; // bytes of a line that are given at once
constexpr std::string_view stampForm = "00.00.0000 00:00:00.000";

void appendUtf8(std::string& text, char32_t character)
{
    const auto byte = [&text](char32_t value)
    {
        text += static_cast<char>(value);
    };
    if (character < 0x80)
    {
        byte(character);
        return;
    }
    if (character < 0x800)
    {
        byte(0xC0 | (character >> 6));
    }
    else
    {
        if (character < 0x10000)
        {
            byte(0xE0 | (character >> 12));
        }
        else
        {
            byte(0xF0 | (character >> 18));
            byte(0x80 | ((character >> 12) & 0x3F));
        }
        byte(0x80 | ((character >> 6) & 0x3F));
    }
    byte(0x80 | (character & 0x3F));
}

using File = std::shared_ptr<tools::OwnedHandle::element_type>; // a source is copied

[[noreturn]] void failToOpen(const std::wstring& path, DWORD error)
{
    throw std::system_error(static_cast<int>(error), std::system_category(), utf8(path) + ": the log can't be opened");
}

/// Null when there is no such file.
[[nodiscard]] File openShared(const std::wstring& path)
{
    // Without FILE_SHARE_DELETE the agent could not move a full log away.
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file != INVALID_HANDLE_VALUE)
        return {file, tools::HandleCloser()};
    if (const DWORD error = GetLastError(); error != ERROR_FILE_NOT_FOUND)
        failToOpen(path, error);
    return {};
}

[[nodiscard]] bool isSame(const File& first, const File& second)
{
    BY_HANDLE_FILE_INFORMATION one{};
    BY_HANDLE_FILE_INFORMATION other{};
    return GetFileInformationByHandle(first.get(), &one) && GetFileInformationByHandle(second.get(), &other) &&
           one.dwVolumeSerialNumber == other.dwVolumeSerialNumber && one.nFileIndexHigh == other.nFileIndexHigh &&
           one.nFileIndexLow == other.nFileIndexLow;
}

[[nodiscard]] ByteSource sourceOf(File opened)
{
    return [file = std::move(opened)](char* bytes, std::size_t size)
    {
        DWORD count = 0;
        if (!ReadFile(file.get(), bytes, static_cast<DWORD>(size), &count, nullptr))
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "the log can't be read");
        return std::size_t{count};
    };
}
} // namespace

LineReader::LineReader(ByteSource source) : m_source(std::move(source)) {}

bool LineReader::next(LinePart& part)
{
    std::size_t searched = m_begin;
    for (;;)
    {
        const auto end = m_text.find('\n', searched);
        const bool found = end != std::string::npos && end - m_begin <= longestPart;
        if (!found && m_text.size() - m_begin <= longestPart)
        {
            searched = m_text.size() - m_begin;
            m_text.erase(0, std::exchange(m_begin, 0));
            if (fill())
                continue;
            if (m_text.empty())
                return false;
        }
        const std::size_t size = found ? end - m_begin : std::min(longestPart, m_text.size() - m_begin);
        part.begins = std::exchange(m_lineBegins, found);
        part.ends = found;
        part.text.assign(m_text, m_begin, size);
        m_begin += size + (found ? 1 : 0);
        while (found && part.text.ends_with('\r'))
            part.text.pop_back();
        return true;
    }
}

bool LineReader::fill()
{
    std::array<char, chunkSize> chunk;
    const std::size_t before = m_text.size();
    while (m_text.size() == before)
    {
        const std::size_t count = m_source(chunk.data(), chunk.size());
        if (count == 0)
            return false;
        m_carry.append(chunk.data(), count);
        if (!m_encoding)
            detectEncoding();
        if (*m_encoding == Encoding::Utf8)
            m_text += std::exchange(m_carry, {});
        else
            appendUtf16(std::exchange(m_carry, {}));
    }
    return true;
}

void LineReader::detectEncoding()
{
    const auto starts = [this](std::string_view mark)
    {
        const bool found = m_carry.starts_with(mark);
        if (found)
            m_carry.erase(0, mark.size());
        return found;
    };
    if (starts("\xFF\xFE") || (m_carry.size() > 1 && m_carry[0] != '\0' && m_carry[1] == '\0'))
        m_encoding = Encoding::Utf16Little;
    else if (starts("\xFE\xFF") || (m_carry.size() > 1 && m_carry[0] == '\0' && m_carry[1] != '\0'))
        m_encoding = Encoding::Utf16Big;
    else
        m_encoding = Encoding::Utf8;
    starts("\xEF\xBB\xBF");
}

void LineReader::appendUtf16(std::string_view bytes)
{
    const auto unitAt = [&](std::size_t at)
    {
        const std::size_t high = *m_encoding == Encoding::Utf16Big ? at : at + 1;
        const std::size_t low = *m_encoding == Encoding::Utf16Big ? at + 1 : at;
        return static_cast<char32_t>(static_cast<unsigned char>(bytes[high]) << 8 |
                                     static_cast<unsigned char>(bytes[low]));
    };
    std::size_t at = 0;
    while (at + 2 <= bytes.size())
    {
        const char32_t unit = unitAt(at);
        const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
        if (isHigh && at + 4 > bytes.size())
            break;
        const char32_t low = isHigh ? unitAt(at + 2) : 0;
        const bool isPair = low >= 0xDC00 && low < 0xE000;
        appendUtf8(m_text, isPair ? 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00) : unit);
        at += isPair ? 4 : 2;
    }
    m_carry.assign(bytes.substr(at));
}

std::vector<ByteSource> openLog(const std::wstring& path)
{
    File log = openShared(path);
    const File backup = openShared(path + L".bak");
    if (!log && !backup)
        failToOpen(path, ERROR_FILE_NOT_FOUND);
    if (log && backup && isSame(log, backup))
        log = openShared(path); // it was moved away in between
    std::vector<ByteSource> sources;
    for (const File& file : {backup, log})
    {
        if (file)
            sources.push_back(sourceOf(file));
    }
    return sources;
}

std::string_view stampOf(std::string_view line)
{
    if (line.size() < stampForm.size() + 2 || line.substr(stampForm.size(), 2) != "  ")
        return {};
    const bool fits =
        std::ranges::equal(line.substr(0, stampForm.size()), stampForm, [](char character, char form)
                           { return form == '0' ? character >= '0' && character <= '9' : character == form; });
    return fits ? line.substr(0, stampForm.size()) : std::string_view();
}

std::string_view withoutStamp(std::string_view line)
{
    return line.substr(stampForm.size() + 2);
}

std::string_view takeRecord(std::string_view& line)
{
    std::size_t end = std::min(line.size(), stampForm.size() + 2);
    while (end < line.size() && stampOf(line.substr(end)).empty())
        ++end;
    const std::string_view record = line.substr(0, end);
    line.remove_prefix(end);
    return record;
}

std::string_view takeRotation(std::string_view& line)
{
    std::string_view rest = line;
    for (bool found = true; found;)
    {
        found = false;
        for (const std::string_view words : {"(continue to the next log file)", "(continue logging)"})
        {
            if (rest.ends_with(words))
            {
                rest.remove_suffix(words.size());
                found = true;
            }
        }
    }
    const std::string_view rotation = line.substr(rest.size());
    line = rest;
    return rotation;
}
} // namespace diagnosis
