// SchemaTexts.h: the published schemas as they were when the sandbox was built; the build makes SchemaTexts.cpp of them.
#pragma once

#include <string_view>

namespace sandbox
{
extern const std::string_view mailboxSchema;
extern const std::string_view requestsSchema;
} // namespace sandbox
