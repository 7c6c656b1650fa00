// Lines.h: a contact's line, of what MAPI gives for it.
#pragma once

#include <array>
#include <string>

#include "mapiabi/MapiTags.h"

namespace bench
{
/// The properties that a line is made of, but for the e-mail address, in the order in which they are asked for.
inline constexpr std::array<ULONG, 12> contactTags = {PR_DISPLAY_NAME_W,
                                                      PR_GIVEN_NAME_W,
                                                      PR_MIDDLE_NAME_W,
                                                      PR_SURNAME_W,
                                                      PR_COMPANY_NAME_W,
                                                      PR_SMTP_ADDRESS_W,
                                                      PR_BUSINESS_TELEPHONE_NUMBER_W,
                                                      PR_MOBILE_TELEPHONE_NUMBER_W,
                                                      PR_HOME_TELEPHONE_NUMBER_W,
                                                      PR_BUSINESS_FAX_NUMBER_W,
                                                      PR_ENTRYID,
                                                      PR_PARENT_ENTRYID};

/// Appends the line in UTF-8. Its texts are converted once and at once, its identifiers not at all.
/// @param values  of `contactTags`.
void appendLine(std::string& bytes, const SPropValue* values, const SPropValue& address);

/// The line in UTF-16, made of a record that has each property as a text of its own; in memory that is taken once.
[[nodiscard]] std::wstring lineOf(const SPropValue* values, const SPropValue& address);
} // namespace bench
