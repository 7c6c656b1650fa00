#include "tests/hosts/HostTest.h"

namespace hosts
{
std::string framed(std::string_view text)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>((text.size() >> shift) & 0xFF);
    return bytes.append(text);
}

Client::Client(const std::wstring& pipe)
{
    const auto open = [&]
    {
        return CreateFileW(pipe.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    };
    HANDLE handle = open();
    while (handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_PIPE_BUSY && WaitNamedPipeW(pipe.c_str(), 30'000))
        handle = open();
    m_pipe = support::checkedFile(handle, "CreateFileW");
}

bool Client::write(std::string_view bytes)
{
    DWORD count = 0;
    return WriteFile(m_pipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) != FALSE;
}

std::string Client::read(std::size_t size)
{
    std::string bytes(size, '\0');
    std::size_t received = 0;
    for (DWORD count = 1; received < size && count > 0; received += count)
    {
        if (!ReadFile(m_pipe.get(), &bytes[received], static_cast<DWORD>(size - received), &count, nullptr))
            count = 0;
    }
    bytes.resize(received);
    return bytes;
}

bool Event::wait() const
{
    const auto limit = std::chrono::milliseconds(support::deadline).count();
    return WaitForSingleObject(m_event.get(), static_cast<DWORD>(limit)) == WAIT_OBJECT_0;
}

linkwell::HostOptions HostTest::optionsOfTests()
{
    linkwell::HostOptions options;
    options.pipe = L"\\\\.\\pipe\\" + support::uniqueName(L"LinkwellHostTest");
    options.idleTimeout = std::chrono::minutes(2); // longer than a test may take
    return options;
}

void HostTest::startHost()
{
    m_host.emplace(
        [this](linkwell::Message message)
        {
            std::unique_lock lock(m_mutex);
            m_messages.push_back(message);
            m_changed.notify_all();
            lock.unlock();
            if (m_onMessage)
                m_onMessage(message);
        },
        [this](const linkwell::Error& error)
        {
            std::unique_lock lock(m_mutex);
            m_errors.push_back(error);
            m_changed.notify_all();
            lock.unlock();
            if (m_onError)
                m_onError();
        },
        m_options);
    m_host->start();
}

Client HostTest::startHostAndHoldHandler()
{
    const auto begun = std::make_shared<Event>(); // the handler outlives this call
    m_onMessage = [this, begun](const linkwell::Message&)
    {
        begun->set();
        EXPECT_TRUE(m_release.wait());
    };
    startHost();
    Client client = connect();
    EXPECT_TRUE(client.write(framed(contactText)));
    EXPECT_TRUE(begun->wait());
    return client;
}

std::string HostTest::exchange(std::string_view text) const
{
    Client client = connect();
    client.write(framed(text));
    return client.read(3);
}

std::vector<linkwell::Message> HostTest::messages() const
{
    const std::lock_guard lock(m_mutex);
    return m_messages;
}

std::vector<linkwell::Error> HostTest::errors() const
{
    const std::lock_guard lock(m_mutex);
    return m_errors;
}

std::vector<std::string> HostTest::codes() const
{
    std::vector<std::string> names;
    for (const linkwell::Error& error : errors())
        names.emplace_back(nameOf(error.code));
    return names;
}

bool HostTest::waitForErrors(std::size_t count) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, support::deadline, [&] { return m_errors.size() >= count; });
}
} // namespace hosts
