#include "utilities/Logger.h"

#include <algorithm>
#include <array>
#include <vector>

#include "utilities/ScopeGuard.h"
#include "utilities/Utf8Text.h"

namespace utilities
{
namespace
{
/// Appends a number in decimal, filled with zeros to `width`.
void appendNumber(std::wstring& text, unsigned number, int width)
{
    std::array<wchar_t, 10> digits;
    auto first = digits.end();
    for (; number != 0 || digits.end() - first < std::max(width, 1); number /= 10)
        *--first = static_cast<wchar_t>(L'0' + number % 10);
    text.append(first, digits.end());
}

/// One text in UTF-8, each line feed as carriage return and line feed. A record can be a whole snapshot, so it stands in
/// memory once.
[[nodiscard]] std::vector<char> bytesOfFile(std::initializer_list<std::wstring_view> parts)
{
    std::vector<Utf8Text> texts;
    texts.reserve(parts.size());
    std::size_t size = 0;
    for (const std::wstring_view part : parts)
        size += texts.emplace_back(part, LineEnds::OfFiles).size();
    std::vector<char> bytes(size);
    char* end = bytes.data();
    for (const Utf8Text& text : texts)
    {
        text.copyTo(end);
        end += text.size();
    }
    return bytes;
}
} // namespace

Logger& Logger::instance()
{
    static Logger s_instance;
    return s_instance;
}

Logger::~Logger()
{
    finish();
}

void Logger::init(const std::wstring& newPath)
{
    if (newPath != path)
        close();
    path = newPath;
    open();
    if (currentSize != 0 && currentSize != invalidSize)
    {
        // An empty line sets this run apart from the one before it.
        writeRaw({L"\n\n"});
        lastChar = 0;
    }
    writeBanner(L"Logging started ");
}

void Logger::write(std::wstring_view text, std::wstring_view rest)
{
    if (text.empty())
        return;

    const std::wstring stamp = timestamp();
    const wchar_t last = lastChar;
    const std::wstring_view owedBreak = last != 0 && last != L'\n' ? L"\n" : L"";
    writeRaw({owedBreak, stamp, text, rest});

    if (currentSize >= maxSize)
        rotate();
}

void Logger::finish()
{
    writeBanner(L"Logging finished");
    close();
}

void Logger::open()
{
    if (file != INVALID_HANDLE_VALUE)
    {
        write(L"Logger::init called for initialized log. Log file is already opened, ignore the call.");
        return;
    }

    const HANDLE opened = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
    {
        currentSize = 0;
        return;
    }
    SetFilePointer(opened, 0, nullptr, FILE_END);

    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) ||
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        currentSize = invalidSize;
    else
        currentSize = (std::uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
    file = opened; // last: the other thread's records go to the end, and are counted
}

void Logger::close() noexcept
{
    // Invalid first: the number of a closed handle may soon be that of another file.
    if (const HANDLE closing = file.exchange(INVALID_HANDLE_VALUE); closing != INVALID_HANDLE_VALUE)
        CloseHandle(closing);
    lastChar = 0;
}

void Logger::rotate()
{
    // The other thread that finds the file full meanwhile leaves it to this one and goes on.
    if (isRotating.exchange(true))
        return;
    const ScopeGuard rotated([this] { isRotating = false; });
    if (currentSize < maxSize) // the other one has just done it
        return;
    writeRaw({L"(continue to the next log file)"}); // directly behind the last record: settled behaviour 60
    if (!path.empty())
    {
        close();
        MoveFileExW(path.c_str(), (path + L".bak").c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
        open();
    }
    writeRaw({L"(continue logging)\n"});
}

void Logger::writeRaw(std::initializer_list<std::wstring_view> parts)
{
    lastChar = 0;
    const HANDLE target = file;
    if (target == INVALID_HANDLE_VALUE)
        return;
    for (const std::wstring_view part : parts)
        if (!part.empty())
            lastChar = part.back();

    const std::vector<char> bytes = bytesOfFile(parts);
    DWORD written = 0;
    WriteFile(target, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    currentSize += written;
}

void Logger::writeBanner(const std::wstring& text)
{
    write(text + L"  --------------------------------");
}

std::wstring Logger::timestamp()
{
    SYSTEMTIME now{};
    GetLocalTime(&now);

    std::wstring stamp;
    stamp.reserve(32);
    appendNumber(stamp, now.wDay, 2);
    stamp += L'.';
    appendNumber(stamp, now.wMonth, 2);
    stamp += L'.';
    appendNumber(stamp, now.wYear, 0);
    stamp += L' ';
    appendNumber(stamp, now.wHour, 2);
    stamp += L':';
    appendNumber(stamp, now.wMinute, 2);
    stamp += L':';
    appendNumber(stamp, now.wSecond, 2);
    stamp += L'.';
    appendNumber(stamp, now.wMilliseconds, 3);
    stamp += L"  ";
    return stamp;
}
} // namespace utilities
