#include "utilities/StopRequested.h"

namespace utilities
{
std::atomic<bool> stopRequested{false};

void requestStop() noexcept
{
    stopRequested.exchange(true);
}
} // namespace utilities
