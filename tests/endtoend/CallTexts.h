// CallTexts.h: single MAPI calls as the text that `Calls` has, with the tags and columns that the agent passes. Their order stands
// in ExpectedCalls.cpp.
#pragma once

#include <string>
#include <string_view>

namespace endtoend::calltext
{
// What is asked for, by its tag.
inline constexpr std::string_view entryIdTag = "0xFFF0102";
inline constexpr std::string_view storeIdTag = "0xFFB0102";
inline constexpr std::string_view parentIdTag = "0xE090102";
inline constexpr std::string_view ipmSubtreeTag = "0x35E00102";
inline constexpr std::string_view providerTag = "0x34140102";
inline constexpr std::string_view nameTag = "0x3001001F";
inline constexpr std::string_view classTag = "0x3613001F";
inline constexpr std::string_view typeTag = "0xFFE0003";

/// Display name, first, middle and last name, company, e-mail address, telephones (business, mobile, home), fax, identifier
/// and parent.
inline constexpr std::string_view contactTags = R"(["0x3001001F","0x3A06001F","0x3A44001F","0x3A11001F","0x3A16001F",)"
                                                R"("0x39FE001F","0x3A08001F","0x3A1C001F","0x3A09001F","0x3A24001F",)"
                                                R"("0xFFF0102","0xE090102"])";
/// The type, the address and the original identifier of the first e-mail slot, by name and as the store numbers them.
inline constexpr std::string_view addressNames =
    R"([{"lID":"0x8082","lpguid":"{00062004-0000-0000-C000-000000000046}"},)"
    R"({"lID":"0x8083","lpguid":"{00062004-0000-0000-C000-000000000046}"},)"
    R"({"lID":"0x8085","lpguid":"{00062004-0000-0000-C000-000000000046}"}])";
inline constexpr std::string_view addressTags = R"(["0x8040001F","0x8041001F","0x80420102"])";

inline constexpr std::string_view storeColumns = R"(["0xFFF0102","0x3001001F","0x3400000B","0x34140102","0x3006001F"])";
inline constexpr std::string_view folderColumns = R"(["0xFFF0102","0x3001001F","0xFFE0003"])";
inline constexpr std::string_view messageColumns = R"(["0xFFF0102"])";
/// Without the hidden attribute, or with a false one.
inline constexpr std::string_view visible =
    R"({"lpRes":[{"lpRes":{"rt":"RES_EXIST","ulPropTag":"0x10F4000B"},"rt":"RES_NOT"},)"
    R"({"lpProp":{"Value":false,"ulPropTag":"0x10F4000B"},"relop":"RELOP_EQ","rt":"RES_PROPERTY",)"
    R"("ulPropTag":"0x10F4000B"}],"rt":"RES_OR"})";

inline constexpr std::string_view success = "0x0";

/// A call of an object, or of a function or the session if there is no identifier.
[[nodiscard]] inline std::string called(std::string_view call, const std::string& id, const std::string& arguments,
                                        std::string_view result = success)
{
    return std::string(call) + (id.empty() ? "" : " on " + id) + "(" + arguments + ") -> " + std::string(result);
}

[[nodiscard]] inline std::string read(std::string_view tag)
{
    return called("HrGetOneProp", "", "ulPropTag=" + std::string(tag));
}

[[nodiscard]] inline std::string listed(const std::string& id)
{
    return called("IMAPIProp::GetPropList", id, "ulFlags=0x80000000");
}

[[nodiscard]] inline std::string compared(const std::string& first, const std::string& second)
{
    return called("IMAPISession::CompareEntryIDs", "",
                  "lpEntryID1=" + first + ", lpEntryID2=" + second + ", ulFlags=0x0");
}

[[nodiscard]] inline std::string openedFrom(const std::string& folder, const std::string& id,
                                            std::string_view interfaceAndFlags)
{
    return called("IMAPIContainer::OpenEntry", folder,
                  "lpEntryID=" + id + ", lpInterface=" + std::string(interfaceAndFlags));
}
} // namespace endtoend::calltext
