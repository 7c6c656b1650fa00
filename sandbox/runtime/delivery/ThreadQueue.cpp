#include "sandbox/runtime/delivery/ThreadQueue.h"

#include <map>
#include <utility>

#include "sandbox/runtime/record/MapiFailure.h"

namespace sandbox
{
namespace
{
constexpr const wchar_t* className = L"LinkwellSandboxNotify";

[[nodiscard]] UINT notifyMessage() noexcept
{
    static const UINT message = RegisterWindowMessageW(L"MAPI Notify window message");
    return message;
}

[[nodiscard]] HINSTANCE thisModule() noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&notifyMessage), &module);
    return module;
}

/// A message-only window of the class, which is registered unless it is already.
[[nodiscard]] HWND makeWindow(WNDPROC procedure)
{
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = thisModule();
    windowClass.lpszClassName = className;
    RegisterClassExW(&windowClass);
    return CreateWindowExW(0, className, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, windowClass.hInstance, nullptr);
}
} // namespace

/// The queues of the process by their threads. Its lock is also taken while a thread ends, with the loader's lock held, so
/// nothing is called under it that may load a module.
class ThreadQueue::Registry
{
public:
    /// Never destroyed: threads end as long as the process lives.
    static Registry& instance()
    {
        static Registry& s_registry = *new Registry;
        return s_registry;
    }

    /// Null if there is none.
    [[nodiscard]] std::shared_ptr<ThreadQueue> find(DWORD thread) const noexcept
    {
        const std::lock_guard lock(m_mutex);
        const auto place = m_queues.find(thread);
        return place != m_queues.end() ? place->second : nullptr;
    }
    void set(DWORD thread, std::shared_ptr<ThreadQueue> queue)
    {
        const std::lock_guard lock(m_mutex);
        m_queues[thread] = std::move(queue);
    }
    void remove(DWORD thread) noexcept
    {
        const std::lock_guard lock(m_mutex);
        m_queues.erase(thread);
    }
    [[nodiscard]] std::map<DWORD, std::shared_ptr<ThreadQueue>> takeAll() noexcept
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_queues, {});
    }

private:
    mutable std::mutex m_mutex;
    std::map<DWORD, std::shared_ptr<ThreadQueue>> m_queues;
};

std::shared_ptr<ThreadQueue> ThreadQueue::ofThisThread()
{
    Registry& registry = Registry::instance();
    const DWORD thread = GetCurrentThreadId();
    std::shared_ptr<ThreadQueue> queue = registry.find(thread);
    if (queue != nullptr && !queue->isGone())
        return queue;
    queue = std::make_shared<ThreadQueue>();
    registry.set(thread, queue);
    const HWND window = makeWindow(&ThreadQueue::handleMessage);
    if (window == nullptr)
    {
        registry.remove(thread);
        throw MapiFailure(MAPI_E_NOT_ENOUGH_RESOURCES);
    }
    const std::lock_guard lock(queue->m_mutex);
    queue->m_window = window;
    return queue;
}

void ThreadQueue::attach() noexcept
{
    const std::lock_guard lock(m_mutex);
    ++m_users;
}

void ThreadQueue::detach() noexcept
{
    std::deque<Task> dropped; // goes after the lock
    {
        const std::lock_guard lock(m_mutex);
        if (--m_users != 0)
            return;
        dropped.swap(m_tasks);
        if (m_window == nullptr)
            return;
        if (!isOfThisThread())
        {
            askForTurn(); // only its own thread can end a window
            return;
        }
    }
    end();
}

void ThreadQueue::post(Task task)
{
    const std::lock_guard lock(m_mutex);
    if (m_window == nullptr || m_users == 0)
        return;
    m_tasks.push_back(std::move(task));
    ++m_posted;
    askForTurn();
}

bool ThreadQueue::isThereForThisThread() noexcept
{
    return Registry::instance().find(GetCurrentThreadId()) != nullptr;
}

void ThreadQueue::doWaitingTasks() noexcept
{
    const std::shared_ptr<ThreadQueue> queue = Registry::instance().find(GetCurrentThreadId());
    if (queue == nullptr)
        return;
    std::uint64_t last = 0;
    {
        const std::lock_guard lock(queue->m_mutex);
        last = queue->m_posted;
    }
    // The message that stands for them stays in the thread's queue, and does nothing when it finds none.
    while (const Task task = queue->takeTaskUpTo(last))
        task();
}

bool ThreadQueue::isGone() const noexcept
{
    const std::lock_guard lock(m_mutex);
    return m_window == nullptr;
}

ChangeSignal& ThreadQueue::changes() noexcept
{
    static ChangeSignal& s_changes = *new ChangeSignal; // never destroyed, as the registry
    return s_changes;
}

void ThreadQueue::threadEnds() noexcept
{
    // The system destroys the window. The tasks stay until the last user goes: what they hold is not to be let go here,
    // with the loader's lock held.
    if (const std::shared_ptr<ThreadQueue> queue = Registry::instance().find(GetCurrentThreadId()))
    {
        Registry::instance().remove(GetCurrentThreadId());
        queue->becomeGone();
    }
}

void ThreadQueue::moduleEnds() noexcept
{
    for (const auto& [thread, queue] : Registry::instance().takeAll())
    {
        const HWND window = queue->m_window;
        if (window == nullptr)
            continue;
        SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&DefWindowProcW));
        if (queue->isOfThisThread())
            DestroyWindow(window);
    }
    UnregisterClassW(className, thisModule());
}

LRESULT CALLBACK ThreadQueue::handleMessage(HWND window, UINT message, WPARAM wide, LPARAM longer) noexcept
{
    if (message != notifyMessage())
        return DefWindowProcW(window, message, wide, longer);
    if (const std::shared_ptr<ThreadQueue> queue = Registry::instance().find(GetCurrentThreadId()))
        queue->takeTurn();
    return 0;
}

void ThreadQueue::takeTurn() noexcept
{
    Task task;
    {
        const std::lock_guard lock(m_mutex);
        m_asked = false;
        if (m_users != 0)
        {
            if (m_tasks.empty())
                return;
            task = std::move(m_tasks.front());
            m_tasks.pop_front();
            if (!m_tasks.empty())
                askForTurn();
        }
    }
    if (task)
        task();
    else
        end();
}

/// The next task, if it is among the first so many that came; else none.
ThreadQueue::Task ThreadQueue::takeTaskUpTo(std::uint64_t last) noexcept
{
    const std::lock_guard lock(m_mutex);
    if (m_tasks.empty() || m_posted - m_tasks.size() >= last)
        return nullptr;
    Task task = std::move(m_tasks.front());
    m_tasks.pop_front();
    return task;
}

/// With the lock held.
void ThreadQueue::askForTurn() noexcept
{
    if (m_asked)
        return;
    m_asked = PostMessageW(m_window, notifyMessage(), 0, 0) != FALSE;
    if (!m_asked && GetLastError() == ERROR_INVALID_WINDOW_HANDLE)
        m_window = nullptr; // the thread was ended by force
}

/// By its own thread, when there are no users.
void ThreadQueue::end() noexcept
{
    const std::shared_ptr<ThreadQueue> self = Registry::instance().find(m_thread); // so that it outlives the registry's
    HWND window = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        window = m_window;
    }
    Registry::instance().remove(m_thread);
    becomeGone();
    if (window != nullptr)
        DestroyWindow(window);
}

void ThreadQueue::becomeGone() noexcept
{
    {
        const std::lock_guard lock(m_mutex);
        m_window = nullptr;
    }
    changes().notify();
}
} // namespace sandbox
