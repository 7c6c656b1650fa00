#include "tests/endtoend/GeneratedContacts.h"

#include <array>

#include "tests/endtoend/EntryIds.h"

namespace endtoend
{
namespace
{
constexpr std::array<const char*, 16> givenNames = {"Ada",     "Björn", "Chloé",   "Дарья", "Eleni",     "Farid",
                                                    "Γιώργος", "春子",  "İpek",    "João",  "Katarzyna", "Łukasz",
                                                    "Mei",     "Noor",  "Øystein", "소연"};
constexpr std::array<const char*, 16> surnames = {"Abara",  "Brandão", "Čapek",   "Díaz",     "Eriksen", "Fontaine",
                                                  "Grün",   "Horváth", "Ivanova", "김",       "Kovač",   "López",
                                                  "Müller", "Nguyễn",  "O'Shea",  "Papadakis"};

std::string digits(unsigned number, std::size_t width)
{
    const std::string text = std::to_string(number);
    return std::string(width - text.size(), '0') + text;
}
} // namespace

std::string generatedLine(unsigned index, unsigned seed, unsigned store, unsigned folder)
{
    const std::string given = givenNames[(index + seed) % 16];
    const std::string surname = surnames[(index / 16 + seed) % 16];
    const std::string number = digits(index + 1, 6);
    std::string line = given + " " + surname + " " + number + ";" + given + ";";
    if (index % 5 == 4)
        line += "Q.";
    line += ";" + surname + ";Example Trading " + std::to_string(index % 97) + ";";
    if (index % 10 != 9)
        line += "contact-" + number + "-" + std::to_string(seed) + "@example.com";
    line += ";+44 1632 960" + digits(index % 1000, 3) + ";";
    if (index % 2 == 0)
        line += "+44 1632 960" + digits((index + 500) % 1000, 3);
    line += ";+44 7700 900" + digits((index + seed) % 1000, 3) + ";";
    if (index % 8 == 0)
        line += "+44 1632 960" + digits((index + 250) % 1000, 3);
    return line + ";" + messageId(store, folder, index + 1) + ";" + folderId(store, folder);
}
} // namespace endtoend
