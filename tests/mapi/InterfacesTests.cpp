// The slots and arguments of our interfaces beside the toolchain's. Both have the published names, so ours live in a
// namespace here.
#include <windows.h>
#include <wtypes.h>

#include <unknwn.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

namespace ours
{
#include "mapiabi/MapiInterfaces.h"
#include "mapiabi/MapiTypes.h"
} // namespace ours

#include "OurDeclarations.h"

#include <mapidefs.h>

#include <mapix.h>

namespace
{
/// Where a method stands in its vtable, and how its result and its arguments look from the caller's side.
struct Method
{
    std::size_t slot = 0;
    std::vector<std::string> shape; // the result's first
};
using Interface = std::map<std::string, Method>;

/// The size of a number; of a pointer also the size of the number that it points to, where the callee writes one.
/// Other pointers are alike: text is void* in ours and of one of two widths in the toolchain's.
template <class Type>
std::string shapeOf()
{
    if constexpr (std::is_pointer_v<Type>)
    {
        using Target = std::remove_pointer_t<Type>;
        if constexpr (std::is_arithmetic_v<Target>)
        {
            if (sizeof(Target) >= 4)
                return "pointer to " + std::to_string(sizeof(Target)) + " bytes";
        }
        return "pointer";
    }
    else
        return std::to_string(sizeof(Type)) + " bytes";
}

template <class Class, class Result, class... Arguments>
Method describe(Result (STDMETHODCALLTYPE Class::*method)(Arguments...))
{
    // GCC represents a pointer to a virtual method as 1 + its offset in the vtable.
    std::ptrdiff_t representation = 0;
    std::memcpy(&representation, &method, sizeof representation);
    EXPECT_EQ(representation % 8, 1) << "a method that is not virtual";
    return {static_cast<std::size_t>(representation) / 8, {shapeOf<Result>(), shapeOf<Arguments>()...}};
}

#define OURS(method) {#method, describe(&ours::INTERFACE_NAME::method)},
#define THEIRS(method) {#method, describe(&::INTERFACE_NAME::method)},

struct Pair
{
    std::string name;
    std::size_t slots; // all, those of the bases included
    Interface ours;
    Interface theirs;
};

std::vector<Pair> interfaces()
{
    return {
#define INTERFACE_NAME IMAPISession
        {"IMAPISession", 22, {OUR_METHODS_IMAPISession(OURS)}, {OUR_METHODS_IMAPISession(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMAPIProp
        {"IMAPIProp", 14, {OUR_METHODS_IMAPIProp(OURS)}, {OUR_METHODS_IMAPIProp(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMsgStore
        {"IMsgStore", 27, {OUR_METHODS_IMsgStore(OURS)}, {OUR_METHODS_IMsgStore(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMAPIContainer
        {"IMAPIContainer", 19, {OUR_METHODS_IMAPIContainer(OURS)}, {OUR_METHODS_IMAPIContainer(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMAPIFolder
        {"IMAPIFolder", 30, {OUR_METHODS_IMAPIFolder(OURS)}, {OUR_METHODS_IMAPIFolder(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMAPITable
        {"IMAPITable", 26, {OUR_METHODS_IMAPITable(OURS)}, {OUR_METHODS_IMAPITable(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMessage
        {"IMessage", 22, {OUR_METHODS_IMessage(OURS)}, {OUR_METHODS_IMessage(THEIRS)}},
#undef INTERFACE_NAME
#define INTERFACE_NAME IMAPIAdviseSink
        {"IMAPIAdviseSink", 4, {OUR_METHODS_IMAPIAdviseSink(OURS)}, {OUR_METHODS_IMAPIAdviseSink(THEIRS)}},
#undef INTERFACE_NAME
    };
}

/// The last slot plus one.
std::size_t slotCount(const Interface& methods)
{
    std::size_t count = 0;
    for (const auto& [name, method] : methods)
        count = std::max(count, method.slot + 1);
    return count;
}

TEST(InterfacesTest, SlotsEqualTheToolchains)
{
    for (const Pair& pair : interfaces())
    {
        EXPECT_EQ(slotCount(pair.ours), pair.slots) << pair.name;
        for (const auto& [name, method] : pair.ours)
            EXPECT_EQ(method.slot, pair.theirs.at(name).slot) << pair.name << "::" << name;
    }
}

TEST(InterfacesTest, IUnknownComesFirst)
{
    using Query = HRESULT (STDMETHODCALLTYPE IUnknown::*)(REFIID, void**);
    EXPECT_EQ(describe(static_cast<Query>(&IUnknown::QueryInterface)).slot, 0u);
    EXPECT_EQ(describe(&ours::IMAPIFolder::AddRef).slot, 1u);
    EXPECT_EQ(describe(&ours::IMAPIFolder::Release).slot, 2u);
    EXPECT_EQ(describe(&ours::IMAPIFolder::GetProps).slot, 5u);
    EXPECT_EQ(describe(&ours::IMAPIFolder::GetContentsTable).slot, 14u);
    EXPECT_EQ(describe(&ours::IMsgStore::GetProps).slot, 5u);
    EXPECT_EQ(describe(&ours::IMessage::GetProps).slot, 5u);
}

// The toolchain's headers are 32-bit ones in these places: window handles, connections, form tokens and bookmarks have
// 64 bits in the published x64 interface. Arguments count from 1.
TEST(InterfacesTest, ArgumentsDifferFromTheToolchainsInKnownPlacesOnly)
{
    std::vector<std::string> differences;
    for (const Pair& pair : interfaces())
    {
        for (const auto& [name, method] : pair.ours)
        {
            const auto& shape = pair.theirs.at(name).shape;
            ASSERT_EQ(method.shape.size(), shape.size()) << pair.name << "::" << name;
            for (std::size_t i = 0; i < shape.size(); ++i)
            {
                if (method.shape[i] != shape[i])
                    differences.push_back(pair.name + "::" + name + " " + std::to_string(i) + ": " + method.shape[i] +
                                          ", not " + shape[i]);
            }
        }
    }
    EXPECT_THAT(
        differences,
        testing::UnorderedElementsAre(
            "IMAPISession::Advise 5: pointer to 8 bytes, not pointer to 4 bytes",
            "IMAPISession::Unadvise 1: 8 bytes, not 4 bytes", "IMAPISession::ShowForm 5: 8 bytes, not 4 bytes",
            "IMAPISession::PrepareForm 3: pointer to 8 bytes, not pointer to 4 bytes",
            "IMAPIProp::CopyTo 4: 8 bytes, not 4 bytes", "IMAPIProp::CopyProps 2: 8 bytes, not 4 bytes",
            "IMsgStore::Advise 5: pointer to 8 bytes, not pointer to 4 bytes",
            "IMsgStore::Unadvise 1: 8 bytes, not 4 bytes", "IMAPIFolder::CopyMessages 4: 8 bytes, not 4 bytes",
            "IMAPIFolder::DeleteMessages 2: 8 bytes, not 4 bytes", "IMAPIFolder::CopyFolder 6: 8 bytes, not 4 bytes",
            "IMAPIFolder::DeleteFolder 3: 8 bytes, not 4 bytes", "IMAPIFolder::SetReadFlags 2: 8 bytes, not 4 bytes",
            "IMAPIFolder::EmptyFolder 1: 8 bytes, not 4 bytes",
            "IMAPITable::Advise 3: pointer to 8 bytes, not pointer to 4 bytes",
            "IMAPITable::Unadvise 1: 8 bytes, not 4 bytes", "IMAPITable::SeekRow 1: 8 bytes, not 4 bytes",
            "IMAPITable::FindRow 2: 8 bytes, not 4 bytes",
            "IMAPITable::CreateBookmark 1: pointer to 8 bytes, not pointer to 4 bytes",
            "IMAPITable::FreeBookmark 1: 8 bytes, not 4 bytes",
            "IMAPITable::SetCollapseState 4: pointer to 8 bytes, not pointer to 4 bytes",
            "IMessage::DeleteAttach 2: 8 bytes, not 4 bytes"));
}

// The toolchain has no IMAPIClientShutdown at all.
TEST(InterfacesTest, ClientShutdownHasThePublishedSlots)
{
#define INTERFACE_NAME IMAPIClientShutdown
    const Interface methods = {OUR_METHODS_IMAPIClientShutdown(OURS)};
#undef INTERFACE_NAME
    EXPECT_EQ(methods.size(), 3u);
    EXPECT_EQ(methods.at("QueryFastShutdown").slot, 3u);
    EXPECT_EQ(methods.at("NotifyProcessShutdown").slot, 4u);
    EXPECT_EQ(methods.at("DoFastShutdown").slot, 5u);
    for (const auto& [name, method] : methods)
        EXPECT_THAT(method.shape, testing::ElementsAre("4 bytes")) << name;
}
} // namespace
