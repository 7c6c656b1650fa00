// linkwell_watcher [/log=FILE]: the agent's watching in the barest way, without any code of the agent: two threads, a pump of the
// same period, the same MAPI calls for a contact that has changed and for the contacts of a new folder, two records of the log,
// one exchange with the host. It knows no folders, and reports each contact that has changed. Ends by WM_QUIT to its main thread.
#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/floor/Output.h"
#include "bench/floor/Reading.h"
#include "mapiabi/MapiTags.h"

namespace bench
{
namespace
{
[[noreturn]] void fail(const std::exception& failure)
{
    std::fprintf(stderr, "linkwell_watcher: %s\n", failure.what());
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 1);
    std::abort();
}

class Watcher : public IMAPIAdviseSink
{
public:
    Watcher(const Runtime& runtime, Reader& reader, BareLog& log) : m_runtime(runtime), m_reader(reader), m_log(log) {}
    virtual ~Watcher() = default;

    // It outlives the process's use of it, so nobody counts.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) override
    {
        try
        {
            handle(count, notifications);
        }
        catch (const std::exception& failure)
        {
            fail(failure);
        }
        return S_OK;
    }

private:
    void handle(ULONG count, const NOTIFICATION* notifications)
    {
        Message message;
        message.bytes.assign(4, '\0');
        message.bytes +=
            notifications->info.obj.ulObjType == MAPI_FOLDER ? "2;add;contact;0;1" : "2;change;contact;0;1";
        for (ULONG index = 0; index < count; ++index)
            read(notifications[index].info.obj, message);
        setLength(message.bytes);
        m_log.write("Sending data:\n", std::string_view(message.bytes).substr(4));
        exchange(connect(), message.bytes);
    }

    void read(const OBJECT_NOTIFICATION& object, Message& message)
    {
        for (int question = 0; question < 2; ++question) // the agent's, in a set of one known folder
        {
            ULONG same = 0;
            check(m_reader.session().CompareEntryIDs(object.cbParentID, object.lpParentID, object.cbParentID,
                                                     object.lpParentID, 0, &same),
                  "CompareEntryIDs");
        }
        IMAPIProp* const named = open(object, IID_IMAPIProp);
        SPropTagArray* tags = nullptr;
        SPropValue* name = nullptr;
        check(named->GetPropList(MAPI_UNICODE, &tags), "GetPropList");
        check(m_runtime.getOneProp(named, PR_DISPLAY_NAME_W, &name), "HrGetOneProp");
        m_log.write("Notification 10 for a contact of type 5, EntryId hash = 7f37237dc92f23b5 "
                    "(00000000A1B2C3D4E5F60718293A4B5C6D7E8F90"
                    "0700A1B2C3D4E5F60718293A4B5C6D7E8F900000000000030000000000000001)");
        m_runtime.freeBuffer(name);
        m_runtime.freeBuffer(tags);
        named->Release();

        const bool isFolder = object.ulObjType == MAPI_FOLDER;
        IMAPIProp* const opened = open(object, isFolder ? IID_IMAPIFolder : IID_IMAPIProp);
        if (isFolder)
            m_reader.readContacts(static_cast<IMAPIFolder&>(*opened), message);
        else
            m_reader.readContact(*opened, message);
        opened->Release();
    }

    [[nodiscard]] IMAPIProp* open(const OBJECT_NOTIFICATION& object, const IID& iid)
    {
        ULONG type = 0;
        IMAPIProp* opened = nullptr;
        check(m_reader.store().OpenEntry(object.cbEntryID, object.lpEntryID, &iid, 0, &type,
                                         reinterpret_cast<IUnknown**>(&opened)),
              "OpenEntry");
        return opened;
    }

    const Runtime& m_runtime;
    Reader& m_reader;
    BareLog& m_log;
};

/// What the worker does until it is to stop.
void watch(const Runtime& runtime, Reader& reader, BareLog& log, const std::atomic<bool>& stop)
{
    try
    {
        check(runtime.initialize(nullptr), "MAPIInitialize");
        Watcher watcher(runtime, reader, log);
        IMAPIAdviseSink* wrapper = nullptr;
        check(runtime.thisThreadAdviseSink(&watcher, &wrapper), "HrThisThreadAdviseSink");
        ULONG_PTR connection = 0;
        check(reader.store().Advise(0, nullptr, fnevObjectCreated | fnevObjectModified, wrapper, &connection),
              "Advise");
        for (MSG message{}; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        {
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageW(&message);
        }
        check(reader.store().Unadvise(connection), "Unadvise");
        wrapper->Release();
        runtime.uninitialize();
    }
    catch (const std::exception& failure)
    {
        fail(failure);
    }
}
} // namespace
} // namespace bench

int main(int argumentCount, char** arguments)
{
    try
    {
        const std::string option = argumentCount > 1 ? arguments[1] : "";
        const bench::Runtime runtime = bench::Runtime::load();
        bench::Reader reader(runtime);
        bench::BareLog log(option.starts_with("/log=") ? option.substr(5) : "");
        std::atomic<bool> stop = false;
        std::thread worker(bench::watch, std::cref(runtime), std::ref(reader), std::ref(log), std::cref(stop));
        for (MSG message{}; GetMessageW(&message, nullptr, 0, 0) > 0;)
            DispatchMessageW(&message);
        stop = true;
        worker.join();
    }
    catch (const std::exception& failure)
    {
        bench::fail(failure);
    }
}
