// Observation.h: the lines that the programs of this folder print, and how much they are to do.
#pragma once

#include <cstddef>
#include <string_view>

namespace bench
{
/// Prints one observation as a line of JSON to standard output, at once.
/// @param figure  what is measured, such as "snapshot"; scripts/lib/bench/figures.js has them all.
/// @param of      who did it: "agent", "floor", ...
/// @param size    of what was to be done, such as a number of contacts.
void observe(std::string_view figure, std::string_view of, double size, double value, std::string_view unit);

/// How often everything is done: LINKWELL_BENCH_RUNS, or 7.
[[nodiscard]] unsigned runs();

/// Whether LINKWELL_BENCH_QUICK asks for small amounts.
[[nodiscard]] bool isQuick();

/// Runs `work`, and gives the exit status of a program; a failure is a line on standard error.
int runBench(void (*work)());
} // namespace bench
