#include "tools/hostcheck/Check.h"

namespace hostcheck
{
Outcome checkAnswers(Subject& subject)
{
    const FirstMessage& first = subject.firstMessage();
    if (first.pieces.empty())
        return {Result::Wrong, first.problem};
    return {Result::Right, std::to_string(first.time.count()) + " ms"};
}

Outcome checkAck(Subject& subject)
{
    const std::string answer = subject.firstMessage().answer();
    return {answer == "ack" ? Result::Right : Result::Wrong, "the answer is " + printable(answer)};
}

Outcome checkOneWrite(Subject& subject)
{
    // A read was waiting before the message was sent, so a piece is what one write has brought.
    const FirstMessage& first = subject.firstMessage();
    if (first.pieces.empty())
        return {Result::Wrong, first.problem};
    if (first.pieces.size() == 1)
        return {};
    std::string pieces;
    for (const std::string& piece : first.pieces)
        pieces.append(pieces.empty() ? "" : ", then ").append(printable(piece));
    return {Result::Wrong, "it came as " + pieces};
}

Outcome checkSpareInstance(Subject& subject)
{
    const FirstMessage& first = subject.firstMessage();
    const std::string time = std::to_string(first.spareTime.count()) + " ms";
    if (first.spareInTime)
        return {Result::Right, "after " + time};
    return {Result::Wrong,
            "none in " + time + ", the pipe's default time-out, and the agent doesn't read the answer then; " +
                (first.lateTime.count() == 0 ? "nor did one get free soon after"
                                             : "one was free after " + std::to_string(first.lateTime.count()) + " ms")};
}
} // namespace hostcheck
