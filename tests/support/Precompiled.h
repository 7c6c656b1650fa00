// Precompiled.h: what nearly every test includes, read by the compiler once for all of them. No source relies on it:
// each includes what it uses.
#include <windows.h>

#include <comdef.h>

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
