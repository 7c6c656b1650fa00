// MapiTags.h: the published property tags, property sets and provider identifiers that the agent uses.
#pragma once

#include "mapiabi/MapiTypes.h"

#include <array>

// ---- Any object ----------------------------------------------------------------------------------------------------

constexpr ULONG PR_MESSAGE_CLASS_W = PROP_TAG(PT_UNICODE, 0x001A);
constexpr ULONG PR_PARENT_ENTRYID = PROP_TAG(PT_BINARY, 0x0E09);
constexpr ULONG PR_STORE_ENTRYID = PROP_TAG(PT_BINARY, 0x0FFB);
constexpr ULONG PR_OBJECT_TYPE = PROP_TAG(PT_LONG, 0x0FFE);
constexpr ULONG PR_ENTRYID = PROP_TAG(PT_BINARY, 0x0FFF);
constexpr ULONG PR_ATTR_HIDDEN = PROP_TAG(PT_BOOLEAN, 0x10F4);
constexpr ULONG PR_DISPLAY_NAME_W = PROP_TAG(PT_UNICODE, 0x3001);

// ---- Stores --------------------------------------------------------------------------------------------------------

constexpr ULONG PR_PROVIDER_DISPLAY_W = PROP_TAG(PT_UNICODE, 0x3006);
constexpr ULONG PR_DEFAULT_STORE = PROP_TAG(PT_BOOLEAN, 0x3400);
constexpr ULONG PR_MDB_PROVIDER = PROP_TAG(PT_BINARY, 0x3414);
constexpr ULONG PR_IPM_SUBTREE_ENTRYID = PROP_TAG(PT_BINARY, 0x35E0);

// ---- Folders -------------------------------------------------------------------------------------------------------

constexpr ULONG PR_CONTAINER_CLASS_W = PROP_TAG(PT_UNICODE, 0x3613);

// ---- Contacts ------------------------------------------------------------------------------------------------------

constexpr ULONG PR_SMTP_ADDRESS_W = PROP_TAG(PT_UNICODE, 0x39FE);
constexpr ULONG PR_GIVEN_NAME_W = PROP_TAG(PT_UNICODE, 0x3A06);
constexpr ULONG PR_BUSINESS_TELEPHONE_NUMBER_W = PROP_TAG(PT_UNICODE, 0x3A08);
constexpr ULONG PR_HOME_TELEPHONE_NUMBER_W = PROP_TAG(PT_UNICODE, 0x3A09);
constexpr ULONG PR_SURNAME_W = PROP_TAG(PT_UNICODE, 0x3A11);
constexpr ULONG PR_COMPANY_NAME_W = PROP_TAG(PT_UNICODE, 0x3A16);
constexpr ULONG PR_MOBILE_TELEPHONE_NUMBER_W = PROP_TAG(PT_UNICODE, 0x3A1C);
constexpr ULONG PR_BUSINESS_FAX_NUMBER_W = PROP_TAG(PT_UNICODE, 0x3A24);
constexpr ULONG PR_MIDDLE_NAME_W = PROP_TAG(PT_UNICODE, 0x3A44);

/// The property set of a contact's named properties, PSETID_Address.
constexpr GUID PSETID_Address = {0x00062004, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

constexpr LONG PidLidEmail1AddressType = 0x8082;
constexpr LONG PidLidEmail1EmailAddress = 0x8083;
constexpr LONG PidLidEmail1OriginalEntryId = 0x8085;

// ---- Providers -----------------------------------------------------------------------------------------------------

/// The value of PR_MDB_PROVIDER by which a public folders store is known.
constexpr std::array<BYTE, 16> pbExchangeProviderPublicGuid = {0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD,
                                                               0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A};
