// Figures.h: how much a test does, and what it has counted.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace support
{
/// An amount that the environment of the test may name, as docs/testing.md says. Throws when that is no number.
[[nodiscard]] unsigned long long amountOf(const std::string& variable, unsigned long long otherwise);

using Figure = std::variant<unsigned long long, std::string>;

/// A row of a table of docs/testing.md: the columns in order, each with what stands there. Written as a line to the file that
/// LINKWELL_FIGURES names, if it names one; the texts need no escape in JSON.
void addFigures(std::string_view table, std::initializer_list<std::pair<std::string, Figure>> row);
} // namespace support
