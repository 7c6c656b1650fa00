#include <array>

#include "tools/hostcheck/Check.h"

namespace hostcheck
{
namespace
{
struct Message
{
    const char* what;
    const char* text;
};

/// Sends each on a connection of its own, and names the first that goes wrong.
template <std::size_t Count>
Outcome sendAll(Subject& subject, const std::array<Message, Count>& messages)
{
    for (const Message& message : messages)
    {
        try
        {
            subject.exchange(message.text);
        }
        catch (const Problem& problem)
        {
            return {Result::Wrong, std::string(message.what) + ": " + problem.what()};
        }
    }
    return {};
}

/// Contacts as they are usual, each some 150 bytes, up to this size.
[[nodiscard]] std::string largeText(std::size_t size)
{
    std::string text = "2;snapshot;contact;0;1";
    for (std::size_t number = 0; text.size() < size; ++number)
    {
        std::string id = std::to_string(number);
        id.insert(0, 16 - id.size(), '0');
        text += "\nContact " + id + ";Anna;;Contact " + id +
                ";Nordlicht AG;contact@example.com;+49 30 1111;;+49 170 2222;;" + id + ";00000000E5F60718";
    }
    return text;
}
} // namespace

Outcome checkOperations(Subject& subject)
{
    return sendAll<6>(
        subject,
        {{{"snapshot contact", "2;snapshot;contact;0;3\nOla Lind;Ola;;Lind;;;;;;;00000000A1B2C3D5;00000000E5F60718"},
          {"snapshot contact of the last store",
           "2;snapshot;contact;2;3\nJun Sato;;;;;;;;;;00000000A1B2C3D6;00000000E5F6071A"},
          {"add contact", "2;add;contact;0;1\nMia Roth;;;;;;;;;;00000000A1B2C3D7;00000000E5F60718"},
          {"change contact", "2;change;contact;0;1\nMia Roth;Mia;;Roth;;;;;;;00000000A1B2C3D7;00000000E5F6071A"},
          {"delete contact", "2;delete;contact;0;1\n;;;;;;;;;;00000000A1B2C3D7;"},
          {"delete folder", "2;delete;folder;0;1\n00000000E5F60718\n00000000E5F6071A"}}});
}

Outcome checkEmptyItems(Subject& subject)
{
    return sendAll<4>(subject,
                      {{{"a deletion of one empty line", "2;delete;contact;0;1\n"},
                        {"a deletion with an empty line", "2;delete;contact;0;1\n\n;;;;;;;;;;00000000A1B2C301;"},
                        {"a contact of which nothing is known", "2;add;contact;0;1\n;;;;;;;;;;;"},
                        {"an empty line in a snapshot", "2;snapshot;contact;0;1\n"}}});
}

Outcome checkBrokenLines(Subject& subject)
{
    return sendAll<4>(
        subject,
        {{{"semicolons in fields",
           "2;snapshot;contact;0;1\nGr\xC3\xBCn; M\xC3\xBCller; Partner;;;Gr\xC3\xBCn;Roth;Mia;;;;;;;"
           "00000000A1B2C301;00000000E5F60718"},
          {"line feeds in fields", "2;add;contact;0;1\nAnna\nBerg;Anna;;;Nordlicht AG\n\nBerlin;;;;;;00000000A1B2C302;"
                                   "00000000E5F60718"},
          {"both, with carriage returns", "2;change;contact;0;1\nHall 3\r\nStand; 12\r;;;;;\n;;;;;00000000A1B2C303;"
                                          "00000000E5F60718\nOla;;;;;;;;;;00000000A1B2C304;00000000E5F60718"},
          {"lines that make no contact",
           "2;snapshot;contact;0;1\nOla;;;;;;;;;;00000000A1B2C304;00000000E5F60718\nJun\n;;x"}}});
}

Outcome checkAnyText(Subject& subject)
{
    return sendAll<3>(
        subject, {{{"beyond 16 bits",
                    "2;snapshot;contact;0;1\n\xF0\xA0\xAE\xB7\xE7\x94\xB0 \xF0\x9F\x8C\x8D;;;;;;;;;;00000000A1B2C301;"
                    "00000000E5F60718"},
                   {"control characters and half a surrogate pair",
                    "2;snapshot;contact;0;1\n\x01\x7F\t\x0B\x0C\xEF\xBF\xBD;;;;;;;;;;"
                    "00000000A1B2C302;00000000E5F60718"},
                   {"U+FEFF, U+0085 and U+2028",
                    "2;snapshot;contact;0;1\n\xEF\xBB\xBFx;\xC2\x85\xE2\x80\xA8;;;;;;;;;00000000A1B2C303;"
                    "00000000E5F60718"}}});
}

Outcome checkUnknown(Subject& subject)
{
    return sendAll<3>(subject,
                      {{{"version 3", "3;snapshot;contact;0;1\nAnna;;;;;;;;;;00000000A1B2C301;00000000E5F60718"},
                        {"operation merge", "2;merge;contact;0;1\nAnna;;;;;;;;;;00000000A1B2C301;00000000E5F60718"},
                        {"kind calendar", "2;add;calendar;0;1\nAnna;;;;;;;;;;00000000A1B2C301;00000000E5F60718"}}});
}

Outcome checkLarge(Subject& subject)
{
    constexpr Milliseconds slow{60'000};
    constexpr Milliseconds look{100};
    constexpr Milliseconds grace{2000}; // between an answer and the end of the write that it is to
    const std::size_t megabytes = subject.options().largeMegabytes;
    const Milliseconds limit = 4 * subject.options().timeout;

    const auto client = subject.connect();
    const auto start = Clock::now();
    client->startRead();
    client->startWrite(framed(largeText(megabytes * 1024 * 1024)));
    std::string answer;
    auto answered = start;
    while (!client->isWritten(look))
    {
        if (answer.empty())
        {
            answer = client->read(Milliseconds{0}).value_or("");
            answered = Clock::now();
        }
        else if (since(answered) > grace)
            return {Result::Wrong, "it was answered before it had been read"};
        if (since(start) > limit)
            return {Result::Wrong, "it has not been read in " + std::to_string(limit.count()) + " ms"};
    }
    const Milliseconds written = since(start);
    while (answer.empty() && since(start) < limit)
        answer = client->read(look).value_or("");
    if (answer.empty())
        return {Result::Wrong, "it was read in " + std::to_string(written.count()) + " ms, and not answered in " +
                                   std::to_string(limit.count()) + " ms"};
    subject.takeAnswer(*client, answer);
    const Milliseconds time = since(start);
    return {time > slow ? Result::Slow : Result::Right, std::to_string(megabytes) + " MB: read in " +
                                                            std::to_string(written.count()) + " ms, answered after " +
                                                            std::to_string(time.count()) + " ms"};
}
} // namespace hostcheck
