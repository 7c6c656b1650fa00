#include "sandbox/runtime/record/Journal.h"

#include <atomic>
#include <map>
#include <mutex>

namespace sandbox::journal
{
namespace
{
struct Book
{
    std::mutex mutex;
    std::uint64_t lastNumber = 0;
    std::map<std::uint64_t, JournalEntry> ended; // by the order in which they began
    std::uint64_t lost = 0;
};

[[nodiscard]] Book& book()
{
    static Book& s_book = *new Book; // never destroyed: clients may call as long as the process lives
    return s_book;
}

constinit std::atomic<bool> s_isOn{false};
constinit std::atomic<unsigned> s_threads{0};
constinit thread_local unsigned s_thread = 0;
} // namespace

void start()
{
    s_isOn = true;
}

void stop()
{
    s_isOn = false;
}

void clear()
{
    (void)read(true);
}

bool isOn() noexcept
{
    return s_isOn.load(std::memory_order_relaxed);
}

Reading read(bool clears)
{
    const std::lock_guard lock(book().mutex);
    Reading reading;
    reading.lost = book().lost;
    reading.calls.reserve(book().ended.size());
    for (const auto& [number, entry] : book().ended)
        reading.calls.push_back(entry);
    if (clears)
    {
        book().ended.clear();
        book().lost = 0;
    }
    return reading;
}

void countThread() noexcept
{
    if (s_thread == 0)
        s_thread = ++s_threads;
}

void Recording::begin(const char* call, Bytes on, Arguments arguments)
{
    m_entry.emplace(JournalEntry{call, std::move(on), std::move(arguments), S_OK, s_thread});
    const std::lock_guard lock(book().mutex);
    m_number = ++book().lastNumber;
}

HRESULT Recording::end(HRESULT result) noexcept
{
    if (!m_entry)
        return result;
    m_entry->result = result;
    const std::lock_guard lock(book().mutex);
    try
    {
        book().ended.emplace(m_number, std::move(*m_entry));
    }
    catch (const std::bad_alloc&)
    {
        ++book().lost;
        return result;
    }
    if (book().ended.size() > capacity)
    {
        book().ended.erase(book().ended.begin());
        ++book().lost;
    }
    return result;
}
} // namespace sandbox::journal
