#include "utilities/IPCClient.h"

#include <algorithm>
#include <array>
#include <vector>

#include "utilities/NamedPipe.h"
#include "utilities/Utf8Text.h"

namespace
{
constexpr const wchar_t* pipeName = L"CorvenaLinkwell"; // the same for everyone: settled behaviour 6
constexpr std::array<BYTE, 3> acknowledgement = {'a', 'c', 'k'};

[[nodiscard]] std::vector<BYTE> makeRequest(const std::wstring& text)
{
    utilities::Utf8Text utf8(text);
    const std::string_view bytes = utf8.bytes();

    std::vector<BYTE> request;
    request.reserve(4 + bytes.size());
    for (const int shift : {24, 16, 8, 0})
        request.push_back(static_cast<BYTE>((bytes.size() >> shift) & 0xFF));
    request.insert(request.end(), bytes.begin(), bytes.end());
    return request;
}
} // namespace

bool IPCClient::send(const std::wstring& text)
{
    utilities::NamedPipe pipe(pipeName);
    if (!pipe.isUsable())
        return false;
    if (text.empty())
        return true;
    return std::ranges::equal(pipe.send(makeRequest(text)), acknowledgement);
}
