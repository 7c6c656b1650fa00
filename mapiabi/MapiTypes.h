// MapiTypes.h: the published MAPI structures and constants that the agent uses.
//
// The MAPI headers that come with mingw-w64 date from the 32-bit era: bookmarks, connection numbers and window handles
// have 32 bits there and 64 in the published x64 interface. So the agent brings its own declarations. Names are the
// published ones; sizes and offsets are asserted at the end, for 32 bits too, where they are all that is there so far: the
// agent itself is an x64 program.
#pragma once

#include <windows.h>
#include <wtypes.h>

#include <cstddef>

// ---- Identifiers ---------------------------------------------------------------------------------------------------

/// The head of an entry identifier; its length always comes beside it. abFlags[0] is 0 for a long-term identifier.
struct ENTRYID
{
    BYTE abFlags[4];
    BYTE ab[1];
};

/// A provider's unique identifier; the layout of a GUID, compared by its bytes.
struct MAPIUID
{
    BYTE ab[16];
};

/// The name of a named property.
struct MAPINAMEID
{
    GUID* lpguid;
    ULONG ulKind; // MNID_ID or MNID_STRING
    union
    {
        LONG lID;
        WCHAR* lpwstrName;
    } Kind;
};

constexpr ULONG MNID_ID = 0;
constexpr ULONG MNID_STRING = 1;

// ---- Property tags and types ---------------------------------------------------------------------------------------

constexpr ULONG PT_UNSPECIFIED = 0;
constexpr ULONG PT_I2 = 2;
constexpr ULONG PT_LONG = 3;
constexpr ULONG PT_DOUBLE = 5;
constexpr ULONG PT_ERROR = 10;
constexpr ULONG PT_BOOLEAN = 11;
constexpr ULONG PT_OBJECT = 13;
constexpr ULONG PT_I8 = 20;
constexpr ULONG PT_STRING8 = 30;
constexpr ULONG PT_UNICODE = 31;
constexpr ULONG PT_SYSTIME = 64;
constexpr ULONG PT_CLSID = 72;
constexpr ULONG PT_BINARY = 258;
constexpr ULONG MV_FLAG = 0x1000;

/// The tag made of a 16-bit property identifier and a property type.
constexpr ULONG PROP_TAG(ULONG type, ULONG id) noexcept
{
    return (id << 16) | type;
}
/// The low 16 bits of a tag.
constexpr ULONG PROP_TYPE(ULONG tag) noexcept
{
    return tag & 0xFFFF;
}
/// The high 16 bits of a tag.
constexpr ULONG PROP_ID(ULONG tag) noexcept
{
    return tag >> 16;
}
/// The tag with its type replaced.
constexpr ULONG CHANGE_PROP_TYPE(ULONG tag, ULONG type) noexcept
{
    return (tag & 0xFFFF0000) | type;
}

// ---- Property values -----------------------------------------------------------------------------------------------

struct _SBinary
{
    ULONG cb;
    BYTE* lpb;
};
using SBinary = _SBinary;

/// An array of binary values; as a list of entry identifiers it is published as ENTRYLIST.
struct SBinaryArray
{
    ULONG cValues;
    SBinary* lpbin;
};
using ENTRYLIST = SBinaryArray;

struct SWStringArray
{
    ULONG cValues;
    WCHAR** lppszW;
};

struct SLongArray
{
    ULONG cValues;
    LONG* lpl;
};

/// A list of property tags: a count and that many tags behind it.
struct _SPropTagArray
{
    ULONG cValues;
    ULONG aulPropTag[1];
};
using SPropTagArray = _SPropTagArray;

/// One property with its value; the type in the tag says which member of the union holds.
struct _SPropValue
{
    ULONG ulPropTag;
    ULONG dwAlignPad;
    union
    {
        short i;
        LONG l;
        ULONG ul;
        float flt;
        double dbl;
        unsigned short b;
        FILETIME ft;
        LARGE_INTEGER li;
        char* lpszA;
        WCHAR* lpszW;
        SBinary bin;
        GUID* lpguid;
        SCODE err;
        LONG x;
        SLongArray MVl;
        SBinaryArray MVbin;
        SWStringArray MVszW;
    } Value;
};
using SPropValue = _SPropValue;

struct SPropProblem
{
    ULONG ulIndex;
    ULONG ulPropTag;
    SCODE scode;
};

struct SPropProblemArray
{
    ULONG cProblem;
    SPropProblem aProblem[1];
};

// ---- Tables --------------------------------------------------------------------------------------------------------

/// One row of a table. lpProps is a MAPI block of its own.
struct SRow
{
    ULONG ulAdrEntryPad;
    ULONG cValues;
    SPropValue* lpProps;
};

/// The rows of a table: a count and that many rows behind it. Freed by FreeProws.
struct SRowSet
{
    ULONG cRows;
    SRow aRow[1];
};

using BOOKMARK = ULONG_PTR;
constexpr BOOKMARK BOOKMARK_BEGINNING = 0;
constexpr BOOKMARK BOOKMARK_CURRENT = 1;
constexpr BOOKMARK BOOKMARK_END = 2;

constexpr ULONG TBL_NOADVANCE = 1; // IMAPITable::QueryRows
constexpr ULONG TBL_BATCH = 2;     // IMAPITable::SetColumns, Restrict, SortTable
constexpr ULONG DIR_BACKWARD = 1;  // IMAPITable::FindRow

struct SSortOrder
{
    ULONG ulPropTag;
    ULONG ulOrder;
};

struct SSortOrderSet
{
    ULONG cSorts;
    ULONG cCategories;
    ULONG cExpanded;
    SSortOrder aSort[1];
};

// ---- Restrictions --------------------------------------------------------------------------------------------------

constexpr ULONG RES_AND = 0;
constexpr ULONG RES_OR = 1;
constexpr ULONG RES_NOT = 2;
constexpr ULONG RES_PROPERTY = 4;
constexpr ULONG RES_SIZE = 7;
constexpr ULONG RES_EXIST = 8;

constexpr ULONG RELOP_EQ = 4;
constexpr ULONG RELOP_NE = 5;

struct _SRestriction;

struct _SAndRestriction
{
    ULONG cRes;
    _SRestriction* lpRes;
};

struct _SOrRestriction
{
    ULONG cRes;
    _SRestriction* lpRes;
};

struct _SNotRestriction
{
    ULONG ulReserved;
    _SRestriction* lpRes;
};

struct _SContentRestriction
{
    ULONG ulFuzzyLevel;
    ULONG ulPropTag;
    SPropValue* lpProp;
};

struct _SPropertyRestriction
{
    ULONG relop;
    ULONG ulPropTag;
    SPropValue* lpProp;
};

struct _SComparePropsRestriction
{
    ULONG relop;
    ULONG ulPropTag1;
    ULONG ulPropTag2;
};

struct _SBitMaskRestriction
{
    ULONG relBMR;
    ULONG ulPropTag;
    ULONG ulMask;
};

struct _SSizeRestriction
{
    ULONG relop;
    ULONG ulPropTag;
    ULONG cb;
};

struct _SExistRestriction
{
    ULONG ulReserved1;
    ULONG ulPropTag;
    ULONG ulReserved2;
};

struct _SSubRestriction
{
    ULONG ulSubObject;
    _SRestriction* lpRes;
};

struct _SCommentRestriction
{
    ULONG cValues;
    _SRestriction* lpRes;
    SPropValue* lpProp;
};

/// A node of a filter; `rt`, one of RES_*, says which member of the union holds.
struct _SRestriction
{
    ULONG rt;
    union
    {
        _SComparePropsRestriction resCompareProps;
        _SAndRestriction resAnd;
        _SOrRestriction resOr;
        _SNotRestriction resNot;
        _SContentRestriction resContent;
        _SPropertyRestriction resProperty;
        _SBitMaskRestriction resBitMask;
        _SSizeRestriction resSize;
        _SExistRestriction resExist;
        _SSubRestriction resSub;
        _SCommentRestriction resComment;
    } res;
};
using SRestriction = _SRestriction;

// ---- Notifications -------------------------------------------------------------------------------------------------

struct MAPIERROR
{
    ULONG ulVersion;
    WCHAR* lpszError;
    WCHAR* lpszComponent;
    ULONG ulLowLevelError;
    ULONG ulContext;
};

struct ERROR_NOTIFICATION
{
    ULONG cbEntryID;
    ENTRYID* lpEntryID;
    SCODE scode;
    ULONG ulFlags;
    MAPIERROR* lpMAPIError;
};

struct NEWMAIL_NOTIFICATION
{
    ULONG cbEntryID;
    ENTRYID* lpEntryID;
    ULONG cbParentID;
    ENTRYID* lpParentID;
    ULONG ulFlags;
    void* lpszMessageClass;
    ULONG ulMessageFlags;
};

/// What happened to an object. The old identifiers count for moved and copied objects only. Valid during OnNotify only.
struct OBJECT_NOTIFICATION
{
    ULONG cbEntryID;
    ENTRYID* lpEntryID;
    ULONG ulObjType;
    ULONG cbParentID;
    ENTRYID* lpParentID;
    ULONG cbOldID;
    ENTRYID* lpOldID;
    ULONG cbOldParentID;
    ENTRYID* lpOldParentID;
    SPropTagArray* lpPropTagArray;
};

struct TABLE_NOTIFICATION
{
    ULONG ulTableEvent;
    HRESULT hResult;
    SPropValue propIndex;
    SPropValue propPrior;
    SRow row;
    ULONG ulPad;
};

struct EXTENDED_NOTIFICATION
{
    ULONG ulEvent;
    ULONG cb;
    BYTE* pbEventParameters;
};

struct STATUS_OBJECT_NOTIFICATION
{
    ULONG cbEntryID;
    ENTRYID* lpEntryID;
    ULONG cValues;
    SPropValue* lpPropVals;
};

struct NOTIFICATION
{
    ULONG ulEventType; // one of fnev*
    ULONG ulAlignPad;
    union
    {
        ERROR_NOTIFICATION err;
        NEWMAIL_NOTIFICATION newmail;
        OBJECT_NOTIFICATION obj;
        TABLE_NOTIFICATION tab;
        EXTENDED_NOTIFICATION ext;
        STATUS_OBJECT_NOTIFICATION statobj;
    } info;
};

constexpr ULONG fnevCriticalError = 0x00000001;
constexpr ULONG fnevNewMail = 0x00000002;
constexpr ULONG fnevObjectCreated = 0x00000004;
constexpr ULONG fnevObjectDeleted = 0x00000008;
constexpr ULONG fnevObjectModified = 0x00000010;
constexpr ULONG fnevObjectMoved = 0x00000020;
constexpr ULONG fnevObjectCopied = 0x00000040;
constexpr ULONG fnevSearchComplete = 0x00000080;
constexpr ULONG fnevTableModified = 0x00000100;

// ---- Object types and flags ----------------------------------------------------------------------------------------

constexpr ULONG MAPI_STORE = 1;
constexpr ULONG MAPI_FOLDER = 3;
constexpr ULONG MAPI_MESSAGE = 5;
constexpr ULONG MAPI_MAILUSER = 6;
constexpr ULONG MAPI_DISTLIST = 8;
constexpr ULONG MAPI_SESSION = 11;

constexpr ULONG MAPI_UNICODE = 0x80000000;
constexpr ULONG MAPI_MODIFY = 0x00000001;
constexpr ULONG MAPI_CREATE = 0x00000002;
constexpr ULONG MAPI_DEFERRED_ERRORS = 0x00000008;
constexpr ULONG MAPI_BEST_ACCESS = 0x00000010;
constexpr ULONG CONVENIENT_DEPTH = 0x00000001; // IMAPIContainer::GetHierarchyTable
constexpr ULONG MAPI_ASSOCIATED = 0x00000040;  // IMAPIContainer::GetContentsTable

constexpr ULONG MAPI_LOGON_UI = 0x00000001; // MAPILogonEx, as the next three
constexpr ULONG MAPI_NEW_SESSION = 0x00000002;
constexpr ULONG MAPI_EXTENDED = 0x00000020;
constexpr ULONG MAPI_USE_DEFAULT = 0x00000040;

constexpr ULONG MDB_NO_DIALOG = 0x00000001; // IMAPISession::OpenMsgStore, as the next
constexpr ULONG MDB_WRITE = 0x00000004;

constexpr ULONG STORE_NOTIFY_OK = 0x00000100; // PR_STORE_SUPPORT_MASK
constexpr ULONG STORE_UNICODE_OK = 0x00040000;
constexpr ULONG STATUS_DEFAULT_STORE = 0x00000002; // PR_RESOURCE_FLAGS

constexpr ULONG FOLDER_ROOT = 0; // PR_FOLDER_TYPE
constexpr ULONG FOLDER_GENERIC = 1;

constexpr BYTE MAPI_SHORTTERM = 0x80; // ENTRYID::abFlags[0]

// ---- Results -------------------------------------------------------------------------------------------------------

/// A result from its published 32-bit pattern.
constexpr HRESULT mapiResult(unsigned long pattern) noexcept
{
    return static_cast<HRESULT>(pattern);
}

constexpr HRESULT MAPI_W_ERRORS_RETURNED = 0x00040380;
constexpr HRESULT MAPI_E_CALL_FAILED = mapiResult(0x80004005); // the same value as E_FAIL
constexpr HRESULT MAPI_E_INTERFACE_NOT_SUPPORTED = mapiResult(0x80004002);
constexpr HRESULT MAPI_E_NO_ACCESS = mapiResult(0x80070005);
constexpr HRESULT MAPI_E_NOT_ENOUGH_MEMORY = mapiResult(0x8007000E);
constexpr HRESULT MAPI_E_INVALID_PARAMETER = mapiResult(0x80070057);
constexpr HRESULT MAPI_E_NO_SUPPORT = mapiResult(0x80040102);
constexpr HRESULT MAPI_E_BAD_CHARWIDTH = mapiResult(0x80040103);
constexpr HRESULT MAPI_E_UNKNOWN_FLAGS = mapiResult(0x80040106);
constexpr HRESULT MAPI_E_INVALID_ENTRYID = mapiResult(0x80040107);
constexpr HRESULT MAPI_E_INVALID_OBJECT = mapiResult(0x80040108);
constexpr HRESULT MAPI_E_OBJECT_DELETED = mapiResult(0x8004010A);
constexpr HRESULT MAPI_E_NOT_ENOUGH_RESOURCES = mapiResult(0x8004010E);
constexpr HRESULT MAPI_E_NOT_FOUND = mapiResult(0x8004010F);
constexpr HRESULT MAPI_E_LOGON_FAILED = mapiResult(0x80040111);
constexpr HRESULT MAPI_E_TOO_COMPLEX = mapiResult(0x80040117);
constexpr HRESULT MAPI_E_END_OF_SESSION = mapiResult(0x80040200);
constexpr HRESULT MAPI_E_UNKNOWN_ENTRYID = mapiResult(0x80040201);
constexpr HRESULT MAPI_E_INVALID_BOOKMARK = mapiResult(0x80040405);
constexpr HRESULT MAPI_E_NOT_INITIALIZED = mapiResult(0x80040605);

// ---- Layout --------------------------------------------------------------------------------------------------------

namespace mapiabi
{
/// A published size or offset in bytes: where pointers have 32 bits, and where they have 64.
constexpr std::size_t published(std::size_t of32Bits, std::size_t of64Bits) noexcept
{
    if constexpr (sizeof(void*) == 4)
        return of32Bits;
    else
        return of64Bits;
}

static_assert(sizeof(ENTRYID) == 5 && alignof(ENTRYID) == 1);
static_assert(sizeof(MAPIUID) == 16);
static_assert(sizeof(MAPINAMEID) == published(12, 24) && offsetof(MAPINAMEID, ulKind) == published(4, 8) &&
              offsetof(MAPINAMEID, Kind) == published(8, 16));
static_assert(sizeof(SBinary) == published(8, 16) && offsetof(SBinary, lpb) == published(4, 8));
static_assert(sizeof(SBinaryArray) == published(8, 16) && offsetof(SBinaryArray, lpbin) == published(4, 8));
static_assert(sizeof(SPropTagArray) == 8 && offsetof(SPropTagArray, aulPropTag) == 4);
static_assert(sizeof(SPropValue) == published(16, 24) && offsetof(SPropValue, dwAlignPad) == 4 &&
              offsetof(SPropValue, Value) == 8);
static_assert(sizeof(SPropProblem) == 12 && sizeof(SPropProblemArray) == 16 &&
              offsetof(SPropProblemArray, aProblem) == 4);
static_assert(sizeof(SRow) == published(12, 16) && offsetof(SRow, cValues) == 4 && offsetof(SRow, lpProps) == 8);
static_assert(sizeof(SRowSet) == published(16, 24) && offsetof(SRowSet, aRow) == published(4, 8));
static_assert(sizeof(BOOKMARK) == published(4, 8));
static_assert(sizeof(SSortOrder) == 8 && sizeof(SSortOrderSet) == 20 && offsetof(SSortOrderSet, aSort) == 12);
static_assert(sizeof(SRestriction) == published(16, 32) && offsetof(SRestriction, res) == published(4, 8));
static_assert(sizeof(_SAndRestriction) == published(8, 16) && offsetof(_SAndRestriction, lpRes) == published(4, 8));
static_assert(sizeof(_SOrRestriction) == published(8, 16) && offsetof(_SOrRestriction, lpRes) == published(4, 8));
static_assert(sizeof(_SNotRestriction) == published(8, 16) && offsetof(_SNotRestriction, lpRes) == published(4, 8));
static_assert(sizeof(_SContentRestriction) == published(12, 16) && offsetof(_SContentRestriction, ulPropTag) == 4 &&
              offsetof(_SContentRestriction, lpProp) == 8);
static_assert(sizeof(_SPropertyRestriction) == published(12, 16) && offsetof(_SPropertyRestriction, ulPropTag) == 4 &&
              offsetof(_SPropertyRestriction, lpProp) == 8);
static_assert(sizeof(_SBitMaskRestriction) == 12 && sizeof(_SExistRestriction) == 12 &&
              offsetof(_SExistRestriction, ulPropTag) == 4);
static_assert(sizeof(_SSubRestriction) == published(8, 16) && sizeof(_SCommentRestriction) == published(12, 24) &&
              offsetof(_SCommentRestriction, lpRes) == published(4, 8) &&
              offsetof(_SCommentRestriction, lpProp) == published(8, 16));
static_assert(sizeof(MAPIERROR) == published(20, 32) && offsetof(MAPIERROR, lpszError) == published(4, 8) &&
              offsetof(MAPIERROR, lpszComponent) == published(8, 16) &&
              offsetof(MAPIERROR, ulLowLevelError) == published(12, 24));
static_assert(sizeof(ERROR_NOTIFICATION) == published(20, 32) &&
              offsetof(ERROR_NOTIFICATION, scode) == published(8, 16) &&
              offsetof(ERROR_NOTIFICATION, lpMAPIError) == published(16, 24));
static_assert(sizeof(NEWMAIL_NOTIFICATION) == published(28, 56) &&
              offsetof(NEWMAIL_NOTIFICATION, lpParentID) == published(12, 24) &&
              offsetof(NEWMAIL_NOTIFICATION, lpszMessageClass) == published(20, 40) &&
              offsetof(NEWMAIL_NOTIFICATION, ulMessageFlags) == published(24, 48));
static_assert(sizeof(OBJECT_NOTIFICATION) == published(40, 72) &&
              offsetof(OBJECT_NOTIFICATION, lpEntryID) == published(4, 8) &&
              offsetof(OBJECT_NOTIFICATION, ulObjType) == published(8, 16) &&
              offsetof(OBJECT_NOTIFICATION, cbParentID) == published(12, 20) &&
              offsetof(OBJECT_NOTIFICATION, lpParentID) == published(16, 24) &&
              offsetof(OBJECT_NOTIFICATION, cbOldID) == published(20, 32) &&
              offsetof(OBJECT_NOTIFICATION, lpOldID) == published(24, 40) &&
              offsetof(OBJECT_NOTIFICATION, cbOldParentID) == published(28, 48) &&
              offsetof(OBJECT_NOTIFICATION, lpOldParentID) == published(32, 56) &&
              offsetof(OBJECT_NOTIFICATION, lpPropTagArray) == published(36, 64));
static_assert(sizeof(TABLE_NOTIFICATION) == published(56, 80) && offsetof(TABLE_NOTIFICATION, propIndex) == 8 &&
              offsetof(TABLE_NOTIFICATION, propPrior) == published(24, 32) &&
              offsetof(TABLE_NOTIFICATION, row) == published(40, 56) &&
              offsetof(TABLE_NOTIFICATION, ulPad) == published(52, 72));
static_assert(sizeof(EXTENDED_NOTIFICATION) == published(12, 16) &&
              sizeof(STATUS_OBJECT_NOTIFICATION) == published(16, 32));
static_assert(sizeof(NOTIFICATION) == published(64, 88) && offsetof(NOTIFICATION, info) == 8);
} // namespace mapiabi
