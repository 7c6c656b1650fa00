#include "utilities/IPCClient.h"

#include <algorithm>
#include <array>
#include <vector>

#include "utilities/NamedPipe.h"
#include "utilities/Utf8Text.h"

namespace
{
constexpr const wchar_t* pipeName = L"CorvenaLinkwell"; // the same for everyone: settled behaviour 6
constexpr std::size_t lengthSize = 4;
constexpr std::array<BYTE, 3> acknowledgement = {'a', 'c', 'k'};

[[nodiscard]] std::vector<BYTE> makeRequest(const std::wstring& text)
{
    const utilities::Utf8Text utf8(text);
    std::vector<BYTE> request(lengthSize + utf8.size());
    for (std::size_t at = 0; at < lengthSize; ++at)
        request[at] = static_cast<BYTE>(utf8.size() >> (8 * (lengthSize - 1 - at)));
    utf8.copyTo(request.data() + lengthSize);
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
