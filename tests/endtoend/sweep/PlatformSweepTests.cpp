// Each call that the agent makes to Windows for log, pipe, window, registry, modules, memory and threads fails once, in each way
// that it has; and so does each allocation of the C++ runtime.
#include <algorithm>
#include <memory>

#include "tests/endtoend/sweep/PlatformJudge.h"
#include "tests/endtoend/sweep/PlatformRun.h"
#include "tests/endtoend/sweep/Sweep.h"

namespace endtoend::sweep
{
namespace
{
using platformfaults::Function;
using platformfaults::functions;

/// Of a function that is called as long as the agent waits, so many calls fail.
constexpr std::uint32_t mostCallsInLoop = 40;

class PlatformSweepTest : public PlatformRunTest
{
protected:
    /// Adds the failures of all functions for which `isMeant` holds.
    template <class Condition>
    void addPoints(Sweep& sweep, Door door, Condition isMeant)
    {
        const PlatformRun reference = runWith({}, door);
        ASSERT_EQ(reference.left.exitValue, 0U);
        ASSERT_FALSE(reference.isLogBroken);
        ASSERT_EQ(reference.exception, 0U);
        const auto judge = std::make_shared<PlatformJudge>(reference.left);
        for (std::size_t at = 0; at < functions.size(); ++at)
        {
            const Function& function = functions.at(at);
            if (!isMeant(function))
                continue;
            const bool isLoop = function.area == Function::Area::Window || function.area == Function::Area::Thread;
            const std::uint32_t calls = std::min(reference.calls.at(at), isLoop ? mostCallsInLoop : UINT32_MAX);
            for (FaultPoint point{at, 0, 1}; point.kind < function.kinds.size(); ++point.kind)
            {
                if (function.kinds.at(point.kind).name == nullptr)
                    break;
                for (point.call = 1; point.call <= calls; ++point.call)
                    sweep.add(std::string(function.name) + ' ' + std::to_string(point.call) + doorName(door),
                              function.kinds.at(point.kind).name,
                              [this, judge, point, door] { return judge->verdict(point, runWith(point, door)); });
            }
        }
    }

    static std::string doorName(Door door)
    {
        return door == Door::Window ? "" : door == Door::Thread ? " (thread)" : " (accelerator)";
    }
};

TEST_F(PlatformSweepTest, EndsAsItShouldWhicheverCallToWindowsFails)
{
    Sweep sweep("fault sweep: calls to Windows", 30);
    addPoints(sweep, Door::Window, [](const Function& function) { return function.area != Function::Area::Memory; });
    for (const Door door : {Door::Thread, Door::Accelerator})
        addPoints(sweep, door, [](const Function& function) { return function.area == Function::Area::Window; });
    sweep.run();
}

TEST_F(PlatformSweepTest, EndsAsItShouldWhicheverAllocationFails)
{
    Sweep sweep("fault sweep: memory", 20);
    addPoints(sweep, Door::Window, [](const Function& function) { return function.area == Function::Area::Memory; });
    sweep.run();
}
} // namespace
} // namespace endtoend::sweep
