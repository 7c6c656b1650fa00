// A DLL that is loaded into an agent before the first instruction of its main function, counts the agent's calls by the table of
// imports, and has one of them fail. Calls of the sandbox, of Windows' own modules and of this DLL are not touched.
#include <windows.h>

#include <shellapi.h>

#include <cstdlib>
#include <cstring>
#include <process.h>
#include <stdexcept>
#include <type_traits>

#include "tests/endtoend/sweep/FaultTable.h"
#include "tests/support/ImportHook.h"

namespace
{
using namespace platformfaults;

Section* s_section = nullptr;

/// Counts a call, and gives the way in which it has to fail; null when it has not.
const Kind* failureOf(std::size_t function)
{
    const std::uint32_t number = ++s_section->calls[function];
    if (s_section->function != function || s_section->call != number)
        return nullptr;
    s_section->failedThread = GetCurrentThreadId();
    return &functions[function].kinds[s_section->kind];
}

consteval std::size_t indexOf(std::string_view name)
{
    for (std::size_t index = 0; index < functions.size(); ++index)
        if (functions[index].name == name)
            return index;
    throw std::logic_error("a function that is not in the table");
}

template <class Result>
Result answer(const Kind& kind)
{
    SetLastError(kind.error);
    if constexpr (std::is_pointer_v<Result>)
        return reinterpret_cast<Result>(kind.result);
    else
        return static_cast<Result>(kind.result);
}

template <class Original, class... Arguments>
auto fail(const Kind& kind, Original original, Arguments... arguments)
{
    using Result = decltype(original(arguments...));
    if (kind.effect == Effect::Done)
        original(arguments...);
    return answer<Result>(kind);
}

BOOL failWrite(const Kind& kind, decltype(&WriteFile) original, HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
               LPOVERLAPPED overlapped)
{
    if (kind.effect == Effect::Cut)
        original(file, data, size / 2, written, overlapped);
    return answer<BOOL>(kind);
}

BOOL failRead(const Kind& kind, decltype(&ReadFile) original, HANDLE file, LPVOID data, DWORD, LPDWORD read,
              LPOVERLAPPED overlapped)
{
    if (kind.effect == Effect::Cut)
        original(file, data, 1, read, overlapped);
    return answer<BOOL>(kind);
}

BOOL failAttributes(const Kind& kind, decltype(&GetFileAttributesExW) original, LPCWSTR path,
                    GET_FILEEX_INFO_LEVELS level, LPVOID data)
{
    if (kind.effect == Effect::Directory && original(path, level, data))
        static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->dwFileAttributes |= FILE_ATTRIBUTE_DIRECTORY;
    return answer<BOOL>(kind);
}

LSTATUS failQuery(const Kind& kind, decltype(&RegQueryValueExW) original, HKEY key, LPCWSTR name, LPDWORD reserved,
                  LPDWORD type, LPBYTE data, LPDWORD size)
{
    if (kind.effect == Effect::Nothing)
        return answer<LSTATUS>(kind);
    const DWORD room = *size;
    const LSTATUS status = original(key, name, reserved, type, data, size);
    if (status != ERROR_SUCCESS)
        return status;
    if (kind.effect == Effect::WrongType)
        *type = REG_BINARY;
    if (kind.effect == Effect::Unterminated)
    {
        *size -= static_cast<DWORD>(sizeof(wchar_t));
        std::memset(data + *size, 0xCD, room - *size);
    }
    return status;
}

template <support::impl::FixedText name, class Function, class Failure>
void hook(Function* function, Failure failure)
{
    const auto replacement = [failure, index = indexOf(name.characters)](auto original, auto... arguments)
    {
        const Kind* const kind = failureOf(index);
        return kind == nullptr ? original(arguments...) : failure(*kind, original, arguments...);
    };
    try
    {
        // Stays to the end of the process.
        (void)new auto(support::hookImport<name>(function, replacement));
    }
    catch (const std::logic_error&)
    {
        // What this agent does not import, it does not call.
    }
}

template <support::impl::FixedText name, class Function>
void hook(Function* function)
{
    hook<name>(function,
               [](const Kind& kind, auto original, auto... arguments) { return fail(kind, original, arguments...); });
}

void hookAll()
{
    hook<"CreateFileW">(CreateFileW);
    hook<"WriteFile">(WriteFile, failWrite);
    hook<"ReadFile">(ReadFile, failRead);
    hook<"WaitNamedPipeW">(WaitNamedPipeW);
    hook<"SetFilePointer">(SetFilePointer);
    hook<"GetFileAttributesExW">(GetFileAttributesExW, failAttributes);
    hook<"MoveFileExW">(MoveFileExW);

    hook<"RegisterClassExW">(RegisterClassExW);
    hook<"UnregisterClassW">(UnregisterClassW);
    hook<"CreateWindowExW">(CreateWindowExW);
    hook<"IsWindow">(IsWindow);
    hook<"DestroyWindow">(DestroyWindow);
    hook<"UpdateWindow">(UpdateWindow);
    hook<"LoadIconW">(LoadIconW);
    hook<"LoadCursorW">(LoadCursorW);
    hook<"LoadAcceleratorsW">(LoadAcceleratorsW);
    hook<"GetMessageW">(GetMessageW);
    hook<"PeekMessageW">(PeekMessageW);
    hook<"PostThreadMessageW">(PostThreadMessageW);
    hook<"TranslateAcceleratorW">(TranslateAcceleratorW);
    hook<"TranslateMessage">(TranslateMessage);

    hook<"RegOpenKeyExW">(RegOpenKeyExW);
    hook<"RegQueryValueExW">(RegQueryValueExW, failQuery);
    hook<"RegQueryValueExA">(RegQueryValueExA);
    hook<"LoadLibraryW">(LoadLibraryW);
    hook<"GetModuleHandleExW">(GetModuleHandleExW);
    hook<"GetProcAddress">(GetProcAddress);
    hook<"ExpandEnvironmentStringsW">(ExpandEnvironmentStringsW);

    hook<"malloc">(std::malloc);
    hook<"calloc">(std::calloc);
    hook<"realloc">(std::realloc);
    hook<"CommandLineToArgvW">(CommandLineToArgvW);
    hook<"LocalFree">(LocalFree);

    hook<"_beginthreadex">(_beginthreadex);
    hook<"CreateEventA">(CreateEventA);
    hook<"CreateSemaphoreA">(CreateSemaphoreA);
    hook<"SetEvent">(SetEvent);
    hook<"CloseHandle">(CloseHandle);
    hook<"ResetEvent">(ResetEvent);
    hook<"ReleaseSemaphore">(ReleaseSemaphore);
    hook<"WaitForSingleObject">(WaitForSingleObject);
    hook<"WaitForMultipleObjects">(WaitForMultipleObjects);
    hook<"DuplicateHandle">(DuplicateHandle);
    hook<"GetHandleInformation">(GetHandleInformation);
    hook<"ResumeThread">(ResumeThread);
    hook<"SetThreadPriority">(SetThreadPriority);
    hook<"GetThreadPriority">(GetThreadPriority);
    hook<"TlsAlloc">(TlsAlloc);
    hook<"TlsSetValue">(TlsSetValue);
}

/// Whether it comes of what the program has done wrong. The others are words of a language or of a debugger.
bool isFault(DWORD code)
{
    return (code & 0xF0000000) == 0xC0000000;
}

LONG CALLBACK noteFault(EXCEPTION_POINTERS* thrown)
{
    std::uint32_t none = 0;
    if (const DWORD code = thrown->ExceptionRecord->ExceptionCode; isFault(code))
        s_section->exception.compare_exchange_strong(none, code);
    return EXCEPTION_CONTINUE_SEARCH;
}

Section* openSection()
{
    wchar_t name[MAX_PATH] = {};
    if (GetEnvironmentVariableW(sectionVariable, name, MAX_PATH) == 0)
        return nullptr;
    const HANDLE mapping = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name);
    return static_cast<Section*>(mapping != nullptr ? MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Section))
                                                    : nullptr);
}
} // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason != DLL_PROCESS_ATTACH)
        return TRUE;
    s_section = openSection();
    if (s_section == nullptr)
        return FALSE;
    s_section->mainThread = GetCurrentThreadId();
    AddVectoredExceptionHandler(1, noteFault);
    hookAll();
    s_section->isAttached = 1;
    return TRUE;
}
