// Fuzz.h: a check of inputs at random, each drawn by a seed of its own, for as long as there is time.
#pragma once

#include <functional>

#include "tests/support/fuzz/Choices.h"

namespace support
{
/// Calls `check` with the choices of one seed after the other, from 1 on, for half a second, or for as many as
/// LINKWELL_FUZZ_SECONDS says. LINKWELL_SEED in the environment is another first seed, and without LINKWELL_FUZZ_SECONDS the
/// only one. Ends with the first case that fails by an assertion or a std::exception, and says how to repeat it: time decides
/// how many cases there are, and nothing else about them. Prints how many there were, which is a row of the table "fuzzing"
/// too (addFigures).
/// @param target  what is tried, in words for that table.
void fuzz(const char* target, const std::function<void(Choices&)>& check);

/// For whoever reports that the test has crashed or hangs: how to repeat the case that runs, on standard error; nothing
/// when there is none. Any thread.
void printFuzzedSeed() noexcept;
} // namespace support
