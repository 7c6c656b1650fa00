#include "sandbox/mailbox/reading/PublishedNames.h"

#include <array>
#include <charconv>
#include <span>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Bytes.h"
#include "sandbox/mailbox/model/SandboxTags.h"

namespace sandbox
{
namespace
{
struct NamedTag
{
    std::string_view name; // without _W
    ULONG tag;
};

constexpr NamedTag text(std::string_view name, ULONG id)
{
    return {name, PROP_TAG(PT_UNICODE, id)};
}
constexpr NamedTag number(std::string_view name, ULONG id)
{
    return {name, PROP_TAG(PT_LONG, id)};
}
constexpr NamedTag binary(std::string_view name, ULONG id)
{
    return {name, PROP_TAG(PT_BINARY, id)};
}
constexpr NamedTag boolean(std::string_view name, ULONG id)
{
    return {name, PROP_TAG(PT_BOOLEAN, id)};
}
constexpr NamedTag time(std::string_view name, ULONG id)
{
    return {name, PROP_TAG(PT_SYSTIME, id)};
}

constexpr NamedTag publishedProperties[] = {
    // any object
    text("PR_MESSAGE_CLASS", 0x001A),
    text("PR_SUBJECT", 0x0037),
    number("PR_MESSAGE_FLAGS", 0x0E07),
    number("PR_MESSAGE_SIZE", 0x0E08),
    binary("PR_PARENT_ENTRYID", 0x0E09),
    text("PR_NORMALIZED_SUBJECT", 0x0E1D),
    number("PR_ACCESS", 0x0FF4),
    binary("PR_INSTANCE_KEY", 0x0FF6),
    number("PR_ACCESS_LEVEL", 0x0FF7),
    binary("PR_MAPPING_SIGNATURE", 0x0FF8),
    binary("PR_RECORD_KEY", 0x0FF9),
    binary("PR_STORE_RECORD_KEY", 0x0FFA),
    binary("PR_STORE_ENTRYID", 0x0FFB),
    number("PR_OBJECT_TYPE", 0x0FFE),
    binary("PR_ENTRYID", 0x0FFF),
    text("PR_BODY", 0x1000),
    boolean("PR_ATTR_HIDDEN", 0x10F4),
    text("PR_DISPLAY_NAME", 0x3001),
    text("PR_ADDRTYPE", 0x3002),
    text("PR_EMAIL_ADDRESS", 0x3003),
    text("PR_COMMENT", 0x3004),
    number("PR_DEPTH", 0x3005),
    time("PR_CREATION_TIME", 0x3007),
    time("PR_LAST_MODIFICATION_TIME", 0x3008),
    binary("PR_SEARCH_KEY", 0x300B),
    number("PR_DISPLAY_TYPE", 0x3900),
    // stores
    text("PR_PROVIDER_DISPLAY", 0x3006),
    number("PR_RESOURCE_FLAGS", 0x3009),
    binary("PR_PROVIDER_UID", 0x300C),
    boolean("PR_DEFAULT_STORE", 0x3400),
    number("PR_STORE_SUPPORT_MASK", 0x340D),
    number("PR_STORE_STATE", 0x340E),
    binary("PR_MDB_PROVIDER", 0x3414),
    number("PR_VALID_FOLDER_MASK", 0x35DF),
    binary("PR_IPM_SUBTREE_ENTRYID", 0x35E0),
    binary("PR_IPM_OUTBOX_ENTRYID", 0x35E2),
    binary("PR_IPM_WASTEBASKET_ENTRYID", 0x35E3),
    binary("PR_IPM_SENTMAIL_ENTRYID", 0x35E4),
    text("PR_PROFILE_NAME", 0x3D12),
    number("PR_RESOURCE_TYPE", 0x3E03),
    // folders
    number("PR_FOLDER_TYPE", 0x3601),
    number("PR_CONTENT_COUNT", 0x3602),
    number("PR_CONTENT_UNREAD", 0x3603),
    boolean("PR_SUBFOLDERS", 0x360A),
    text("PR_CONTAINER_CLASS", 0x3613),
    number("PR_ASSOC_CONTENT_COUNT", 0x3617),
    binary("PR_IPM_CONTACT_ENTRYID", 0x36D1),
    // contacts
    text("PR_SMTP_ADDRESS", 0x39FE),
    text("PR_ACCOUNT", 0x3A00),
    text("PR_CALLBACK_TELEPHONE_NUMBER", 0x3A02),
    text("PR_GENERATION", 0x3A05),
    text("PR_GIVEN_NAME", 0x3A06),
    text("PR_BUSINESS_TELEPHONE_NUMBER", 0x3A08),
    text("PR_HOME_TELEPHONE_NUMBER", 0x3A09),
    text("PR_INITIALS", 0x3A0A),
    text("PR_SURNAME", 0x3A11),
    text("PR_COMPANY_NAME", 0x3A16),
    text("PR_TITLE", 0x3A17),
    text("PR_DEPARTMENT_NAME", 0x3A18),
    text("PR_OFFICE_LOCATION", 0x3A19),
    text("PR_PRIMARY_TELEPHONE_NUMBER", 0x3A1A),
    text("PR_BUSINESS2_TELEPHONE_NUMBER", 0x3A1B),
    text("PR_MOBILE_TELEPHONE_NUMBER", 0x3A1C),
    text("PR_RADIO_TELEPHONE_NUMBER", 0x3A1D),
    text("PR_CAR_TELEPHONE_NUMBER", 0x3A1E),
    text("PR_OTHER_TELEPHONE_NUMBER", 0x3A1F),
    text("PR_TRANSMITABLE_DISPLAY_NAME", 0x3A20),
    text("PR_PAGER_TELEPHONE_NUMBER", 0x3A21),
    text("PR_PRIMARY_FAX_NUMBER", 0x3A23),
    text("PR_BUSINESS_FAX_NUMBER", 0x3A24),
    text("PR_HOME_FAX_NUMBER", 0x3A25),
    text("PR_COUNTRY", 0x3A26),
    text("PR_LOCALITY", 0x3A27),
    text("PR_STATE_OR_PROVINCE", 0x3A28),
    text("PR_STREET_ADDRESS", 0x3A29),
    text("PR_POSTAL_CODE", 0x3A2A),
    text("PR_POST_OFFICE_BOX", 0x3A2B),
    text("PR_TELEX_NUMBER", 0x3A2C),
    text("PR_ISDN_NUMBER", 0x3A2D),
    text("PR_ASSISTANT_TELEPHONE_NUMBER", 0x3A2E),
    text("PR_HOME2_TELEPHONE_NUMBER", 0x3A2F),
    text("PR_ASSISTANT", 0x3A30),
    time("PR_WEDDING_ANNIVERSARY", 0x3A41),
    time("PR_BIRTHDAY", 0x3A42),
    text("PR_MIDDLE_NAME", 0x3A44),
    text("PR_DISPLAY_NAME_PREFIX", 0x3A45),
    text("PR_PROFESSION", 0x3A46),
    text("PR_SPOUSE_NAME", 0x3A48),
    text("PR_TTYTDD_PHONE_NUMBER", 0x3A4B),
    {"PR_GENDER", PROP_TAG(PT_I2, 0x3A4D)},
    text("PR_MANAGER_NAME", 0x3A4E),
    text("PR_NICKNAME", 0x3A4F),
    text("PR_PERSONAL_HOME_PAGE", 0x3A50),
    text("PR_BUSINESS_HOME_PAGE", 0x3A51),
    text("PR_COMPANY_MAIN_PHONE_NUMBER", 0x3A57),
    text("PR_HOME_ADDRESS_CITY", 0x3A59),
    text("PR_HOME_ADDRESS_COUNTRY", 0x3A5A),
    text("PR_HOME_ADDRESS_POSTAL_CODE", 0x3A5B),
    text("PR_HOME_ADDRESS_STATE_OR_PROVINCE", 0x3A5C),
    text("PR_HOME_ADDRESS_STREET", 0x3A5D),
    text("PR_HOME_ADDRESS_POST_OFFICE_BOX", 0x3A5E),
    text("PR_OTHER_ADDRESS_CITY", 0x3A5F),
    text("PR_OTHER_ADDRESS_COUNTRY", 0x3A60),
    text("PR_OTHER_ADDRESS_POSTAL_CODE", 0x3A61),
    text("PR_OTHER_ADDRESS_STATE_OR_PROVINCE", 0x3A62),
    text("PR_OTHER_ADDRESS_STREET", 0x3A63),
    text("PR_OTHER_ADDRESS_POST_OFFICE_BOX", 0x3A64),
};

struct NamedLid
{
    std::string_view name;
    LONG number; // within PSETID_Address
    ULONG type;
};

constexpr NamedLid publishedNamedProperties[] = {
    {"PidLidFileUnder", 0x8005, PT_UNICODE},
    {"PidLidWorkAddressStreet", 0x8045, PT_UNICODE},
    {"PidLidWorkAddressCity", 0x8046, PT_UNICODE},
    {"PidLidWorkAddressState", 0x8047, PT_UNICODE},
    {"PidLidWorkAddressPostalCode", 0x8048, PT_UNICODE},
    {"PidLidWorkAddressCountry", 0x8049, PT_UNICODE},
    {"PidLidWorkAddressPostOfficeBox", 0x804A, PT_UNICODE},
    {"PidLidInstantMessagingAddress", 0x8062, PT_UNICODE},
    {"PidLidEmail1DisplayName", 0x8080, PT_UNICODE},
    {"PidLidEmail1AddressType", 0x8082, PT_UNICODE},
    {"PidLidEmail1EmailAddress", 0x8083, PT_UNICODE},
    {"PidLidEmail1OriginalDisplayName", 0x8084, PT_UNICODE},
    {"PidLidEmail1OriginalEntryId", 0x8085, PT_BINARY},
    {"PidLidEmail2DisplayName", 0x8090, PT_UNICODE},
    {"PidLidEmail2AddressType", 0x8092, PT_UNICODE},
    {"PidLidEmail2EmailAddress", 0x8093, PT_UNICODE},
    {"PidLidEmail2OriginalDisplayName", 0x8094, PT_UNICODE},
    {"PidLidEmail2OriginalEntryId", 0x8095, PT_BINARY},
    {"PidLidEmail3DisplayName", 0x80A0, PT_UNICODE},
    {"PidLidEmail3AddressType", 0x80A2, PT_UNICODE},
    {"PidLidEmail3EmailAddress", 0x80A3, PT_UNICODE},
    {"PidLidEmail3OriginalDisplayName", 0x80A4, PT_UNICODE},
    {"PidLidEmail3OriginalEntryId", 0x80A5, PT_BINARY},
};

struct NamedSet
{
    std::string_view name;
    std::uint32_t number; // the first field of {xxxxxxxx-0000-0000-C000-000000000046}
};

constexpr NamedSet publishedSets[] = {
    {"PSETID_Appointment", 0x00062002}, {"PSETID_Task", 0x00062003}, {"PSETID_Address", 0x00062004},
    {"PSETID_Common", 0x00062008},      {"PS_MAPI", 0x00020328},     {"PS_PUBLIC_STRINGS", 0x00020329},
};

struct NamedResult
{
    std::string_view name;
    ULONG pattern;
};

constexpr NamedResult publishedResults[] = {
    {"S_OK", 0x00000000},
    {"S_FALSE", 0x00000001},
    {"MAPI_W_NO_SERVICE", 0x00040203},
    {"MAPI_W_ERRORS_RETURNED", 0x00040380},
    {"MAPI_W_POSITION_CHANGED", 0x00040481},
    {"MAPI_W_APPROX_COUNT", 0x00040482},
    {"MAPI_W_CANCEL_MESSAGE", 0x00040580},
    {"MAPI_W_PARTIAL_COMPLETION", 0x00040680},
    {"E_FAIL", 0x80004005},
    {"E_NOINTERFACE", 0x80004002},
    {"E_INVALIDARG", 0x80070057},
    {"E_OUTOFMEMORY", 0x8007000E},
    {"MAPI_E_CALL_FAILED", 0x80004005},
    {"MAPI_E_INTERFACE_NOT_SUPPORTED", 0x80004002},
    {"MAPI_E_INVALID_PARAMETER", 0x80070057},
    {"MAPI_E_NOT_ENOUGH_MEMORY", 0x8007000E},
    {"MAPI_E_NO_ACCESS", 0x80070005},
    {"MAPI_E_NO_SUPPORT", 0x80040102},
    {"MAPI_E_BAD_CHARWIDTH", 0x80040103},
    {"MAPI_E_UNKNOWN_FLAGS", 0x80040106},
    {"MAPI_E_INVALID_ENTRYID", 0x80040107},
    {"MAPI_E_INVALID_OBJECT", 0x80040108},
    {"MAPI_E_OBJECT_CHANGED", 0x80040109},
    {"MAPI_E_OBJECT_DELETED", 0x8004010A},
    {"MAPI_E_BUSY", 0x8004010B},
    {"MAPI_E_NOT_ENOUGH_DISK", 0x8004010D},
    {"MAPI_E_NOT_ENOUGH_RESOURCES", 0x8004010E},
    {"MAPI_E_NOT_FOUND", 0x8004010F},
    {"MAPI_E_VERSION", 0x80040110},
    {"MAPI_E_LOGON_FAILED", 0x80040111},
    {"MAPI_E_SESSION_LIMIT", 0x80040112},
    {"MAPI_E_USER_CANCEL", 0x80040113},
    {"MAPI_E_UNABLE_TO_ABORT", 0x80040114},
    {"MAPI_E_NETWORK_ERROR", 0x80040115},
    {"MAPI_E_DISK_ERROR", 0x80040116},
    {"MAPI_E_TOO_COMPLEX", 0x80040117},
    {"MAPI_E_BAD_COLUMN", 0x80040118},
    {"MAPI_E_EXTENDED_ERROR", 0x80040119},
    {"MAPI_E_COMPUTED", 0x8004011A},
    {"MAPI_E_CORRUPT_DATA", 0x8004011B},
    {"MAPI_E_UNCONFIGURED", 0x8004011C},
    {"MAPI_E_FAILONEPROVIDER", 0x8004011D},
    {"MAPI_E_END_OF_SESSION", 0x80040200},
    {"MAPI_E_UNKNOWN_ENTRYID", 0x80040201},
    {"MAPI_E_MISSING_REQUIRED_COLUMN", 0x80040202},
    {"MAPI_E_BAD_VALUE", 0x80040301},
    {"MAPI_E_INVALID_TYPE", 0x80040302},
    {"MAPI_E_UNEXPECTED_TYPE", 0x80040304},
    {"MAPI_E_TOO_BIG", 0x80040305},
    {"MAPI_E_UNEXPECTED_ID", 0x80040307},
    {"MAPI_E_UNABLE_TO_COMPLETE", 0x80040400},
    {"MAPI_E_TIMEOUT", 0x80040401},
    {"MAPI_E_TABLE_EMPTY", 0x80040402},
    {"MAPI_E_TABLE_TOO_BIG", 0x80040403},
    {"MAPI_E_INVALID_BOOKMARK", 0x80040405},
    {"MAPI_E_CANCEL", 0x80040501},
    {"MAPI_E_CORRUPT_STORE", 0x80040600},
    {"MAPI_E_COLLISION", 0x80040604},
    {"MAPI_E_NOT_INITIALIZED", 0x80040605},
    {"MAPI_E_HAS_FOLDERS", 0x80040609},
    {"MAPI_E_HAS_MESSAGES", 0x8004060A},
    {"MAPI_E_FOLDER_CYCLE", 0x8004060B},
    {"MAPI_E_AMBIGUOUS_RECIP", 0x80040700},
};

template <class Entry, std::size_t Count>
[[nodiscard]] const Entry* findByName(const Entry (&entries)[Count], std::string_view name) noexcept
{
    for (const Entry& entry : entries)
    {
        if (entry.name == name)
            return &entry;
    }
    return nullptr;
}
} // namespace

std::optional<ULONG> propertyTagOf(std::string_view name)
{
    constexpr std::string_view wideSuffix = "_W";
    if (const NamedTag* plain = findByName(publishedProperties, name))
        return plain->tag;
    if (!name.ends_with(wideSuffix))
        return std::nullopt;
    const NamedTag* wide = findByName(publishedProperties, name.substr(0, name.size() - wideSuffix.size()));
    return wide != nullptr && PROP_TYPE(wide->tag) == PT_UNICODE ? std::optional(wide->tag) : std::nullopt;
}

std::optional<KnownNamedProperty> namedPropertyOf(std::string_view name)
{
    const NamedLid* entry = findByName(publishedNamedProperties, name);
    if (entry == nullptr)
        return std::nullopt;
    return KnownNamedProperty{{PSETID_Address, entry->number}, entry->type};
}

std::optional<GUID> propertySetOf(std::string_view written)
{
    if (const NamedSet* entry = findByName(publishedSets, written))
        return GUID{entry->number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    return guidOf(written);
}

std::optional<GUID> guidOf(std::string_view written)
{
    constexpr std::size_t length = 38;
    if (written.size() != length || written.front() != '{' || written.back() != '}' || written[9] != '-' ||
        written[14] != '-' || written[19] != '-' || written[24] != '-' || written.find(' ') != std::string_view::npos)
        return std::nullopt;
    std::string digits;
    for (const std::size_t place : {1U, 10U, 15U, 20U, 25U})
        digits += written.substr(place, written.find_first_of("-}", place) - place);
    const std::optional<Bytes> bytes = fromHex(digits);
    if (!bytes || bytes->size() != sizeof(GUID))
        return std::nullopt;
    const Bytes& b = *bytes;
    GUID guid{};
    guid.Data1 = static_cast<ULONG>((b[0] << 24) | (b[1] << 16) | (b[2] << 8) | b[3]);
    guid.Data2 = static_cast<unsigned short>((b[4] << 8) | b[5]);
    guid.Data3 = static_cast<unsigned short>((b[6] << 8) | b[7]);
    for (std::size_t at = 0; at < 8; ++at)
        guid.Data4[at] = b[8 + at];
    return guid;
}

std::optional<HRESULT> resultOf(std::string_view written)
{
    if (const NamedResult* entry = findByName(publishedResults, written))
        return mapiResult(entry->pattern);
    const std::optional<ULONG> pattern = hexNumberOf(written);
    return pattern ? std::optional(mapiResult(*pattern)) : std::nullopt;
}

std::optional<ULONG> hexNumberOf(std::string_view written)
{
    if (!written.starts_with("0x") && !written.starts_with("0X"))
        return std::nullopt;
    const std::string_view digits = written.substr(2);
    ULONG value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    const bool whole =
        !digits.empty() && digits.size() <= 8 && error == std::errc() && end == digits.data() + digits.size();
    return whole ? std::optional(value) : std::nullopt;
}
} // namespace sandbox
