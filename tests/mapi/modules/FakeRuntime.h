// FakeRuntime.h: what the fake MAPI runtime shares with the tests of the runtime loader.
#pragma once

#include <array>
#include <cstdint>

/// Exported by the fake runtime as `fakeRuntimeCall`: the last call of an entry point, and what it answers.
struct FakeRuntimeCall
{
    const char* name = nullptr;
    std::array<std::uint64_t, 5> arguments{};
    std::uint32_t result = 0; // what the next call returns, where it returns anything
};
