// Our constants beside the toolchain's. Both have the published names, and the toolchain's are macros: so ours live in a
// namespace here, and what is wanted of them is taken before the toolchain's headers come in.
#include <windows.h>
#include <wtypes.h>

#include <unknwn.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include <gmock/gmock.h>

namespace ours
{
#include "mapiabi/MapiInterfaces.h"
#include "mapiabi/MapiTags.h"
#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/SandboxTags.h"
} // namespace ours

#include "OurDeclarations.h"

namespace
{
using Constants = std::map<std::string, std::uint64_t>;

// Results are signed, and both sides may have other types of integers: the pattern of 32 bits counts.
template <class Number>
std::uint64_t pattern(Number number)
{
    return static_cast<std::uint32_t>(number);
}

#define ENTRY(name) {#name, pattern(ours::name)},
const Constants ourConstants = {OUR_CONSTANTS(ENTRY)};
#undef ENTRY

constexpr ULONG ourTag(ULONG type, ULONG id)
{
    return ours::PROP_TAG(type, id);
}
constexpr ULONG ourType(ULONG tag)
{
    return ours::PROP_TYPE(tag);
}
constexpr ULONG ourId(ULONG tag)
{
    return ours::PROP_ID(tag);
}
constexpr ULONG ourChangedType(ULONG tag, ULONG type)
{
    return ours::CHANGE_PROP_TYPE(tag, type);
}
} // namespace

#define INITGUID
#define USES_IID_IMAPISession
#define USES_IID_IMAPITable
#define USES_IID_IMAPIAdviseSink
#define USES_IID_IMAPIProp
#define USES_IID_IMsgStore
#define USES_IID_IMailUser
#define USES_IID_IMessage
#define USES_IID_IMAPIContainer
#define USES_IID_IMAPIFolder
#include <initguid.h>
#include <mapidefs.h>

#include <mapicode.h>
#include <mapiguid.h>
#include <mapitags.h>
#include <mapiutil.h>
#include <mapix.h>

namespace
{
// The toolchain's value of each name of ours. A name that is no macro of the toolchain's is left out.
#define TEXT_OF(tokens) #tokens
#define IS_MACRO(name, expanded) (std::strcmp(name, TEXT_OF(expanded)) != 0)
template <class Number>
void add(Constants& constants, const char* name, bool isMacro, Number number)
{
    if (isMacro)
        constants.emplace(name, pattern(number));
}

Constants toolchainConstants()
{
    using namespace ours;        // for the names that the toolchain lacks
    using BOOKMARK = ::BOOKMARK; // the toolchain's macros mention it
    Constants constants;
#define ENTRY(name) add(constants, #name, IS_MACRO(#name, name), name);
    OUR_CONSTANTS(ENTRY)
#undef ENTRY
    return constants;
}

// Names that the toolchain's headers lack, with their published values.
const Constants lackingInToolchain = {
    {"PR_ATTR_HIDDEN", 0x10F4000B},       {"PR_SMTP_ADDRESS_W", 0x39FE001F},       {"PidLidEmail1AddressType", 0x8082},
    {"PidLidEmail1EmailAddress", 0x8083}, {"PidLidEmail1OriginalEntryId", 0x8085}, {"STORE_UNICODE_OK", 0x00040000},
};

TEST(ConstantsTest, EqualTheToolchains)
{
    const Constants theirs = toolchainConstants();
    ASSERT_GT(theirs.size(), 100u);
    for (const auto& [name, value] : theirs)
        EXPECT_EQ(ourConstants.at(name), value) << name;
}

TEST(ConstantsTest, AreKnownWhereTheToolchainLacksThem)
{
    const Constants theirs = toolchainConstants();
    Constants lacking;
    for (const auto& entry : ourConstants)
    {
        if (!theirs.contains(entry.first))
            lacking.insert(entry);
    }
    EXPECT_EQ(lacking, lackingInToolchain);
}

TEST(ConstantsTest, TagsAreMadeAndTakenApartAsByTheToolchain)
{
    for (const ULONG id : {0x0FFFul, 0x3001ul, 0x8000ul, 0xFFFEul})
    {
        for (const ULONG type : {0x0000ul, 0x001Ful, 0x0102ul, 0x101Ful})
        {
            const ULONG tag = PROP_TAG(type, id);
            EXPECT_EQ(ourTag(type, id), tag);
            EXPECT_EQ(ourType(tag), PROP_TYPE(tag));
            EXPECT_EQ(ourId(tag), PROP_ID(tag));
            EXPECT_EQ(ourChangedType(tag, 0x0003), CHANGE_PROP_TYPE(tag, 0x0003));
        }
    }
}

// Ours by name; the toolchain's where it has them, and the published identifier where it does not.
const std::map<std::string, GUID> expectedIds = {
    {"IID_IMAPISession", ::IID_IMAPISession},
    {"IID_IMAPITable", ::IID_IMAPITable},
    {"IID_IMAPIAdviseSink", ::IID_IMAPIAdviseSink},
    {"IID_IMAPIProp", ::IID_IMAPIProp},
    {"IID_IMsgStore", ::IID_IMsgStore},
    {"IID_IMessage", ::IID_IMessage},
    {"IID_IMailUser", ::IID_IMailUser},
    {"IID_IMAPIContainer", ::IID_IMAPIContainer},
    {"IID_IMAPIFolder", ::IID_IMAPIFolder},
    {"IID_IMAPIClientShutdown", {0x00020397, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}}},
};

TEST(ConstantsTest, InterfaceIdsEqualTheToolchains)
{
    std::size_t count = 0;
#define ENTRY(name)                                                                                                    \
    ++count;                                                                                                           \
    EXPECT_TRUE(IsEqualGUID(ours::name, expectedIds.at(#name))) << #name;
    OUR_INTERFACE_IDS(ENTRY)
#undef ENTRY
    EXPECT_EQ(count, expectedIds.size());
}

TEST(ConstantsTest, OtherIdentifiersAreThePublishedOnes)
{
    const GUID address = {0x00062004, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    EXPECT_TRUE(IsEqualGUID(ours::PSETID_Address, address));
    EXPECT_THAT(ours::pbExchangeProviderPublicGuid,
                testing::ElementsAre(0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD, 0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F,
                                     0xC4, 0x5A));
}
} // namespace
