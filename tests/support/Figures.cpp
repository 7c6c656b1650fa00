#include "tests/support/Figures.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/support/Platform.h"

namespace support
{
unsigned long long amountOf(const char* variable, unsigned long long otherwise)
{
    const char* const text = std::getenv(variable);
    if (text == nullptr || *text == '\0')
        return otherwise;
    char* end = nullptr;
    const unsigned long long amount = std::strtoull(text, &end, 10);
    if (*end != '\0')
        throw std::runtime_error(std::string(variable) + " is no number: " + text);
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
