// main.cpp of sandboxctl: sends a running sandbox one request, and prints its answer. docs/sandbox-control.md lists the
// verbs and the exit statuses.
#include <windows.h>

#include <exception>
#include <string>
#include <vector>

#include "sandbox/control/ControlClient.h"
#include "sandbox/control/LinePipe.h"
#include "sandbox/ctl/AnswerText.h"
#include "sandbox/ctl/CommandLine.h"
#include "sandbox/ctl/Streams.h"

namespace
{
using namespace sandboxctl;

Status fail(Status status, const std::string& reason)
{
    writeTo(STD_ERROR_HANDLE, "sandboxctl: " + reason + '\n');
    return status;
}

Status run(const Command& command, const std::wstring& pipe)
{
    try
    {
        sandbox::ControlClient client(pipe, command.patience);
        const std::string line = client.exchange(command.request.dump());
        if (command.raw)
            writeTo(STD_OUTPUT_HANDLE, line + '\n');
        const nlohmann::json answer = sandbox::readAnswer(line);
        if (!command.raw)
            writeTo(STD_OUTPUT_HANDLE, answerText(command.request, answer));
        return Status::Done;
    }
    catch (const sandbox::Refusal& refusal)
    {
        return fail(Status::Refused, refusal.what());
    }
    catch (const nlohmann::json::exception& error)
    {
        return fail(Status::NoAnswer, std::string("this answer is not understood: ") + error.what());
    }
    catch (const std::exception& error)
    {
        return fail(Status::NoAnswer, "no sandbox answers at " + toUtf8(sandbox::pipePath(pipe)) + ": " + error.what());
    }
}

Status runCommandLine(std::vector<std::string> words)
{
    const CommandLine line = readCommandLine(std::move(words));
    if (line.status != Status::Done)
        return fail(line.status,
                    line.text + "\nsandboxctl --help lists the verbs; sandboxctl VERB --help says what one takes.");
    if (!line.command)
    {
        writeTo(STD_OUTPUT_HANDLE, line.text);
        return Status::Done;
    }
    if (line.command->pipe)
        return run(*line.command, toWide(*line.command->pipe));
    if (const auto pipe = sandbox::controlPipeName())
        return run(*line.command, *pipe);
    return fail(Status::BadCommandLine, "which sandbox? Neither --pipe nor LINKWELL_SANDBOX_CONTROL names a pipe");
}
} // namespace

extern "C" int wmain(int count, wchar_t** arguments)
{
    std::vector<std::string> words;
    for (int index = 1; index < count; ++index)
        words.push_back(toUtf8(arguments[index]));
    return static_cast<int>(runCommandLine(std::move(words)));
}
