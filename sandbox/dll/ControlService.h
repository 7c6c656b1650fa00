// ControlService.h: the control pipe of this process.
#pragma once

namespace sandbox::control
{
/// Serves the pipe that LINKWELL_SANDBOX_CONTROL names, if it names one, with `answerRequest`. If there can't be such a pipe
/// a line on standard error tells why. Not to be called during another call of either function, nor in DllMain.
void begin() noexcept;

/// Ends it, and waits for its thread. A client that ends the runtime in the middle of a notification that an edit has sent
/// it is on that thread; then the pipe stays as it is until the next end.
void end() noexcept;
} // namespace sandbox::control
