// Bytes at random over the control pipe: both ends find the lines in them, however they come.
#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "sandbox/control/ControlClient.h"
#include "sandbox/control/ControlServer.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/support/fuzz/Mutation.h"

namespace
{
using support::Choices;

/// Bytes of every kind; some have no line feed at the end.
std::string randomBytes(Choices& choices, std::size_t most)
{
    std::string bytes(choices.below(most + 1), '\0');
    for (char& byte : bytes)
        byte = choices.chance(3) ? '\n' : static_cast<char>(choices.below(256));
    return bytes;
}

/// Writes in pieces that have nothing to do with lines. What the other end doesn't take is lost.
void writeInPieces(HANDLE pipe, std::string_view bytes, Choices& choices)
{
    const std::size_t longest = choices.oneOf<std::size_t>({3, 40, 1000});
    while (!bytes.empty())
    {
        const std::size_t size = std::min(bytes.size(), choices.between(1, longest));
        DWORD written = 0;
        if (!WriteFile(pipe, bytes.data(), static_cast<DWORD>(size), &written, nullptr))
            return;
        bytes.remove_prefix(size);
    }
}

std::string readAll(HANDLE pipe, std::size_t lines)
{
    std::string text;
    char chunk[4096];
    DWORD count = 0;
    while (static_cast<std::size_t>(std::ranges::count(text, '\n')) < lines &&
           ReadFile(pipe, chunk, sizeof(chunk), &count, nullptr))
        text.append(chunk, count);
    return text;
}

TEST(ControlFuzzTest, ServerAnswersEachLineInOrderHoweverTheBytesCome)
{
    const std::wstring name = support::uniqueName(L"LinkwellFuzz");
    const auto answer = [](std::string_view request)
    {
        return std::to_string(request.size()) + ':' + std::to_string(std::hash<std::string_view>()(request));
    };
    const sandbox::ControlServer server(name, [&](std::string_view request, HANDLE) { return answer(request); });
    const std::wstring path = L"\\\\.\\pipe\\" + name;
    support::fuzz(
        "control pipe, the sandbox's end",
        [&](Choices& choices)
        {
            const std::string bytes = randomBytes(choices, choices.oneOf<std::size_t>({10, 60, 300}));
            std::string expected;
            std::size_t lines = 0;
            for (std::size_t begin = 0, end = 0; (end = bytes.find('\n', begin)) != std::string::npos; begin = end + 1)
            {
                expected += answer(std::string_view(bytes).substr(begin, end - begin)) + '\n';
                ++lines;
            }
            ASSERT_TRUE(
                WaitNamedPipeW(path.c_str(), static_cast<DWORD>(std::chrono::milliseconds(support::deadline).count())));
            const support::Handle client = support::checkedFile(
                CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                "CreateFileW");
            writeInPieces(client.get(), bytes, choices);
            ASSERT_EQ(readAll(client.get(), lines), expected) << testing::PrintToString(bytes);
        });
}

/// What a client is to make of an answer; an exception's text in front of which stands "refused: ", or nothing for none.
std::optional<std::string> modelOfAnswer(const std::string& line)
{
    const nlohmann::json answer = nlohmann::json::parse(line, nullptr, false);
    if (!answer.is_object() || !answer.contains("ok") || !answer["ok"].is_boolean())
        return std::nullopt;
    if (answer["ok"] == true)
        return answer.dump();
    return "refused: " + (answer.contains("error") && answer["error"].is_string() ? answer["error"].get<std::string>()
                                                                                  : "the sandbox gives no reason");
}

TEST(ControlFuzzTest, ClientTakesAnAnswerARefusalOrNeither)
{
    const std::vector<std::string> answers = {R"({"ok":true})",
                                              R"({"ok":true,"items":[{"name":"N"}]})",
                                              R"({"ok":false,"error":"there is no store 'S'"})",
                                              R"({"ok":false})",
                                              "[]",
                                              ""};
    const std::vector<std::string> pieces = {"{",     "}",    "\"",      ":",  ",",  "true",
                                             "false", "null", "\"ok\":", "\n", "\r", "\xC3"};
    const std::wstring name = support::uniqueName(L"LinkwellFuzz");
    const std::wstring path = L"\\\\.\\pipe\\" + name;
    support::fuzz("control pipe, a client's end",
                  [&](Choices& choices)
                  {
                      std::string bytes = choices.oneOf(answers) + (choices.chance(80) ? "\n" : "");
                      if (choices.chance(70))
                          support::mutate(choices, bytes, pieces, 3);
                      SCOPED_TRACE(testing::PrintToString(bytes));
                      const std::size_t end = bytes.find('\n');

                      const support::Handle pipe = support::checkedFile(
                          CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr),
                          "CreateNamedPipeW");
                      const auto serving = std::async(std::launch::async,
                                                      [&]
                                                      {
                                                          ConnectNamedPipe(pipe.get(), nullptr);
                                                          (void)readAll(pipe.get(), 1);
                                                          writeInPieces(pipe.get(), bytes, choices);
                                                          if (end != std::string::npos)
                                                              (void)readAll(pipe.get(), 1); // until the client goes
                                                          DisconnectNamedPipe(pipe.get());
                                                      });
                      std::optional<std::string> taken;
                      try
                      {
                          taken = sandbox::ControlClient(name, support::deadline).request({{"do", "list"}}).dump();
                      }
                      catch (const sandbox::Refusal& refusal)
                      {
                          taken = std::string("refused: ") + refusal.what();
                      }
                      catch (const sandbox::NoAnswer&)
                      {
                      }
                      serving.wait();
                      ASSERT_EQ(taken, end == std::string::npos ? std::nullopt : modelOfAnswer(bytes.substr(0, end)));
                  });
}
} // namespace
