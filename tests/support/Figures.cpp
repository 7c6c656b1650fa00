#include "tests/support/Figures.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "tests/support/Platform.h"

namespace support
{
unsigned long long amountOf(const std::string& variable, unsigned long long otherwise)
{
    const std::wstring value = environmentValue({variable.begin(), variable.end()});
    if (value.empty())
        return otherwise;
    const std::string text(value.begin(), value.end());
    const char* const last = text.data() + text.size();
    unsigned long long amount = 0;
    if (const auto [end, error] = std::from_chars(text.data(), last, amount); error != std::errc() || end != last)
        throw std::runtime_error(variable + " is no number: " + text);
    return amount;
}

void addFigures(std::string_view table, std::initializer_list<std::pair<std::string, Figure>> row)
{
    const std::filesystem::path file = environmentValue(L"LINKWELL_FIGURES");
    if (file.empty())
        return;
    std::string line = R"({"table":")" + std::string(table) + R"(","row":{)";
    for (const auto& [column, figure] : row)
    {
        const auto* const text = std::get_if<std::string>(&figure);
        line += (line.ends_with('{') ? "\"" : ",\"") + column +
                "\":" + (text != nullptr ? '"' + *text + '"' : std::to_string(std::get<unsigned long long>(figure)));
    }
    std::ofstream stream(file, std::ios::binary | std::ios::app);
    stream << line + "}}\n" << std::flush; // one write, as other programs write rows too
    if (!stream)
        throw std::runtime_error("can't write " + file.string());
}
} // namespace support
