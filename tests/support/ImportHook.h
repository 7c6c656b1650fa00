// ImportHook.h: a failure, or a look at the arguments, at a platform call that can't be made to fail otherwise.
//
// The code under test is linked into the test program, so its platform calls go through the program's import table.
// Calls by other modules, and functions found by GetProcAddress, are not touched. Compilers take an import's address for
// constant, so a function that has called an import may go on calling what stood there: hook in the test, and let code
// that was compiled apart from it make the calls.
#pragma once

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>

namespace support
{
namespace impl
{
/// A text as a template argument.
template <std::size_t size>
struct FixedText
{
    char characters[size];
    constexpr FixedText(const char (&text)[size]) { std::copy_n(text, size, characters); }
};

/// Replaces a function in the import table of the test program; gives what stood there. Throws when it isn't imported.
void* replaceImport(const char* name, void* replacement);
} // namespace impl

/// Made by `hookImport`; puts the import table right again when it is destroyed. At most one for a function at a time.
template <impl::FixedText name, class Result, class... Arguments>
class ImportHook
{
public:
    using Function = Result WINAPI(Arguments...);
    using Replacement = std::function<Result(Function* original, Arguments... arguments)>;

    explicit ImportHook(Replacement replacement)
    {
        s_replacement = std::move(replacement);
        s_count = 0;
        s_original = reinterpret_cast<Function*>(
            impl::replaceImport(name.characters, reinterpret_cast<void*>(&ImportHook::called)));
    }
    ~ImportHook() { impl::replaceImport(name.characters, reinterpret_cast<void*>(s_original)); }
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;

    /// Calls so far, on all threads.
    [[nodiscard]] unsigned count() const noexcept { return s_count; }

private:
    static Result WINAPI called(Arguments... arguments)
    {
        ++s_count;
        return s_replacement(s_original, arguments...);
    }

    inline static Replacement s_replacement;
    inline static Function* s_original = nullptr;
    inline static std::atomic<unsigned> s_count{0};
};

/// Has `replacement` called in place of a platform function, on whatever thread calls it. It gets the true function
/// first, then the arguments, and the last error that it leaves is what the caller sees:
///
///     const auto hook = hookImport<"CloseHandle">(CloseHandle, [&](auto original, HANDLE handle) {
///         closed.push_back(handle);
///         return original(handle);
///     });
template <impl::FixedText name, class Result, class... Arguments, class Replacement>
[[nodiscard]] ImportHook<name, Result, Arguments...> hookImport(Result(WINAPI*)(Arguments...), Replacement replacement)
{
    return ImportHook<name, Result, Arguments...>(std::move(replacement));
}

/// What `hookImport` gives, for members: Hook<"CloseHandle", decltype(CloseHandle)>.
template <impl::FixedText name, class Function>
using Hook = decltype(hookImport<name>(std::declval<Function*>(), nullptr));

/// Counts the calls of a platform function and changes nothing.
template <impl::FixedText name, class Result, class... Arguments>
[[nodiscard]] ImportHook<name, Result, Arguments...> countImport(Result(WINAPI*)(Arguments...))
{
    return ImportHook<name, Result, Arguments...>([](auto original, Arguments... arguments)
                                                  { return original(arguments...); });
}
} // namespace support
