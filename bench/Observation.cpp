#include "bench/Observation.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include <nlohmann/json.hpp>

namespace bench
{
void observe(std::string_view figure, std::string_view of, double size, double value, std::string_view unit)
{
    const nlohmann::ordered_json line{{"figure", figure}, {"of", of}, {"size", size}, {"value", value}, {"unit", unit}};
    std::puts(line.dump().c_str());
    std::fflush(stdout);
}

unsigned runs()
{
    const char* const asked = std::getenv("LINKWELL_BENCH_RUNS");
    return asked != nullptr ? static_cast<unsigned>(std::strtoul(asked, nullptr, 10)) : 7;
}

bool isQuick()
{
    return std::getenv("LINKWELL_BENCH_QUICK") != nullptr;
}

int runBench(void (*work)())
{
    try
    {
        work();
        return 0;
    }
    catch (const std::exception& failure)
    {
        std::fprintf(stderr, "error: %s\n", failure.what());
        return 1;
    }
}
} // namespace bench
