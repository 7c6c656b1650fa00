#include "tools/support/doctor/HostPipe.h"

#include <sddl.h>

#include "tools/Handle.h"

namespace diagnosis
{
namespace
{
constexpr DWORD waitForOther = 500; // milliseconds

[[nodiscard]] std::vector<BYTE> tokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind)
{
    DWORD size = 0;
    GetTokenInformation(token, kind, nullptr, 0, &size);
    std::vector<BYTE> bytes(size);
    if (size == 0 || !GetTokenInformation(token, kind, bytes.data(), size, &size))
        bytes.clear();
    return bytes;
}

[[nodiscard]] std::wstring textOf(PSID sid)
{
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text))
        return {};
    std::wstring copy = text;
    LocalFree(text);
    return copy;
}

[[nodiscard]] std::wstring accountOf(PSID sid)
{
    wchar_t name[256] = {};
    wchar_t domain[256] = {};
    DWORD nameSize = 256;
    DWORD domainSize = 256;
    SID_NAME_USE use{};
    if (!LookupAccountSidW(nullptr, sid, name, &nameSize, domain, &domainSize, &use))
        return textOf(sid);
    return std::wstring(domain) + L'\\' + name;
}

/// Whether this user may add files to the folder of a program.
[[nodiscard]] bool isFolderWritable(const std::wstring& image)
{
    const tools::OwnedHandle folder(CreateFileW(image.substr(0, image.find_last_of(L'\\') + 1).c_str(), FILE_ADD_FILE,
                                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return folder.get() != INVALID_HANDLE_VALUE;
}
} // namespace

HostPipe lookAtPipe(const std::wstring& name)
{
    const std::wstring path = L"\\\\.\\pipe\\" + name;
    HostPipe pipe;
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
    {
        pipe.error = GetLastError();
        return pipe;
    }
    const tools::OwnedHandle owner(handle);
    pipe.otherIsFree = WaitNamedPipeW(path.c_str(), waitForOther) != FALSE;
    ULONG processId = 0;
    if (GetNamedPipeServerProcessId(handle, &processId))
        pipe.server = factsOf(processId);
    return pipe;
}

ProcessFacts factsOf(DWORD processId)
{
    ProcessFacts facts;
    facts.id = processId;
    ProcessIdToSessionId(processId, &facts.session);
    const tools::OwnedHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (!process)
        return facts;
    std::vector<wchar_t> path(32768);
    DWORD size = static_cast<DWORD>(path.size());
    if (QueryFullProcessImageNameW(process.get(), 0, path.data(), &size))
    {
        facts.image.assign(path.data(), size);
        facts.imageIsWritable = isFolderWritable(facts.image);
    }

    HANDLE handle = nullptr;
    if (!OpenProcessToken(process.get(), TOKEN_QUERY, &handle))
        return facts;
    const tools::OwnedHandle token(handle);
    if (const auto bytes = tokenInformation(handle, TokenUser); !bytes.empty())
    {
        const PSID sid = reinterpret_cast<const TOKEN_USER*>(bytes.data())->User.Sid;
        facts.userSid = textOf(sid);
        facts.user = accountOf(sid);
    }
    if (const auto bytes = tokenInformation(handle, TokenIntegrityLevel); !bytes.empty())
    {
        const PSID sid = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(bytes.data())->Label.Sid;
        if (const UCHAR parts = *GetSidSubAuthorityCount(sid); parts != 0)
            facts.integrity = *GetSidSubAuthority(sid, parts - 1U);
    }
    return facts;
}

std::vector<std::string> judge(const HostPipe& pipe, const ProcessFacts& self)
{
    switch (pipe.error)
    {
    case ERROR_SUCCESS:
        break;
    case ERROR_FILE_NOT_FOUND:
        return {"pipe-missing"};
    case ERROR_PIPE_BUSY:
        return {"pipe-busy"};
    case ERROR_ACCESS_DENIED:
        return {"pipe-denied"};
    default:
        return {"pipe-refused"};
    }
    std::vector<std::string> codes;
    if (!pipe.otherIsFree)
        codes.emplace_back("pipe-single-instance");
    if (!pipe.server || pipe.server->userSid.empty())
    {
        codes.emplace_back("server-unknown");
        return codes;
    }
    if (pipe.server->userSid != self.userSid)
        codes.emplace_back("server-other-user");
    if (pipe.server->session != self.session)
        codes.emplace_back("server-other-session");
    if (pipe.server->integrity != self.integrity)
        codes.emplace_back("server-other-integrity");
    if (pipe.server->imageIsWritable)
        codes.emplace_back("server-image-writable");
    return codes;
}
} // namespace diagnosis
