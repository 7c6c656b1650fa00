// The known folders at random, with aliases, with comparisons that fail, and with comparisons inside which batches are
// handled that change the set: each comparison must be the one that the published search makes next, and each outcome its.
#include "agent/KnownFolders.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "agent/mapi/MapiSession.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/support/mapi/MapiMocks.h"
#include "utilities/Exception.h"

namespace
{
using support::Choices;
using testing::_;
using Member = KnownFolders::Member;

/// The set by its rules: its members in order, and how often their places have changed.
struct Model
{
    std::vector<Member> members;
    std::size_t changes = 0;
};

/// One search, word by word: down a tree whose root is the member in the middle, the smaller ones to the left of it; then the
/// test of the last member at which it went left. Begins anew when places have changed.
class Search
{
public:
    Search(const Model& model, EntryId key) : m_model(model), m_key(std::move(key)) { begin(); }

    struct Comparison
    {
        EntryId first;
        EntryId second;
    };

    /// What is compared next; none at the end of the search.
    [[nodiscard]] std::optional<Comparison> next()
    {
        if (m_changes != m_model.changes)
            begin();
        if (m_low != m_high)
            return Comparison{*m_model.members[node()], m_key};
        if (m_bound && !m_isFound)
            return Comparison{m_key, *m_model.members[*m_bound]};
        return std::nullopt;
    }

    /// Whether MAPI has called the two of that comparison the same.
    void answer(bool isSame)
    {
        const Comparison compared = *next();
        const bool isLess = !isSame && std::ranges::lexicographical_compare(compared.first, compared.second);
        if (m_low == m_high)
        {
            m_isFound = !isLess;
        }
        else if (isLess)
        {
            m_low = node() + 1;
        }
        else
        {
            m_bound = node();
            m_high = node();
        }
    }

    [[nodiscard]] const EntryId& key() const noexcept { return m_key; }
    [[nodiscard]] bool isFound() const { return m_isFound.value_or(false); }
    /// Where the key is, or would be put.
    [[nodiscard]] std::size_t place() const { return m_bound.value_or(m_model.members.size()); }

private:
    void begin()
    {
        m_changes = m_model.changes;
        m_low = 0;
        m_high = m_model.members.size();
        m_bound.reset();
        m_isFound.reset();
    }
    [[nodiscard]] std::size_t node() const { return m_low + (m_high - m_low) / 2; }

    const Model& m_model;
    EntryId m_key;
    std::size_t m_changes = 0;
    std::size_t m_low = 0;
    std::size_t m_high = 0;
    std::optional<std::size_t> m_bound;
    std::optional<bool> m_isFound;
};

void require(bool condition, const char* otherwise)
{
    if (!condition)
        throw std::logic_error(otherwise);
}

/// One set, and the model of it.
class Case
{
public:
    explicit Case(Choices& choices) : m_choices(choices), m_isLarge(choices.below(300) == 0)
    {
        static const std::vector<BYTE> s_bytes = {0x00, 0x01, 0x7F, 0x80, 0xFF};
        m_failing = choices.oneOf<unsigned>({0, 0, 10, 100});
        m_delivering = choices.oneOf<unsigned>({0, 5, 20});
        const std::size_t shortest = m_isLarge ? 4 : 1;
        const std::size_t folders = m_isLarge ? 10'000 : choices.between(1, 20);
        for (std::size_t count = m_isLarge ? 1'200 : choices.between(1, 40); count > 0; --count)
        {
            EntryId id;
            for (std::size_t size = choices.chance(3) ? 0 : choices.between(shortest, shortest + 2); size > 0; --size)
                id.push_back(choices.oneOf(s_bytes));
            m_ids.push_back(id);
            m_folderOf.emplace(id, choices.below(folders));
        }
    }

    void run()
    {
        for (int round = 0; m_isLarge && round < 2; ++round) // makes it so large, and finds each again
        {
            for (const EntryId& id : m_ids)
                insert(id);
        }
        for (std::size_t steps = m_choices.below(60); steps > 0; --steps)
        {
            m_nested = 8;
            doSomething();
        }
    }

    /// As the session is asked. It must be what the innermost search compares next.
    HRESULT compare(const EntryId& first, const EntryId& second, ULONG* result)
    {
        require(!m_searches.empty(), "a comparison that nobody has asked for");
        Search& search = *m_searches.back();
        skipComparisonsWithoutMapi(search);
        const std::optional<Search::Comparison> expected = search.next();
        require(expected && expected->first == first && expected->second == second, "another comparison is due");
        const std::size_t changes = m_model.changes;
        if (m_nested != 0 && m_choices.chance(m_delivering))
        {
            --m_nested;
            doSomething();
        }
        const bool isSame = m_folderOf.at(first) == m_folderOf.at(second);
        const bool fails = m_choices.chance(m_failing);
        *result = isSame ? 1 : m_choices.oneOf<ULONG>({0, 0, 2}); // 1 alone means the same
        if (m_model.changes == changes)                           // otherwise the answer is for nothing
            search.answer(isSame && !fails);
        return fails ? m_choices.oneOf<HRESULT>({MAPI_E_CALL_FAILED, MAPI_E_NOT_FOUND, MAPI_W_ERRORS_RETURNED}) : S_OK;
    }

private:
    void doSomething()
    {
        const std::size_t kind = m_choices.below(20);
        if (kind < 9)
            insert(m_choices.oneOf(m_ids));
        else if (kind < 15)
            look(m_choices.oneOf(m_ids));
        else if (kind < 18)
            erase();
        else if (kind < 19)
            insertWithoutSession(m_choices.oneOf(m_ids));
        else if (m_choices.chance(30))
            clear();
        expectSameMembers();
    }

    void look(const EntryId& id)
    {
        bool isFound = false;
        const bool isExpected = search(id, [&](const EntryId& sought) { isFound = m_folders.contains(sought); });
        require(isFound == isExpected, "the search has found what it should not, or the other way round");
    }

    /// Does what searches, beside the model's search, which must end with it; gives what that says.
    template <class Action>
    bool search(const EntryId& id, Action action, std::size_t* place = nullptr)
    {
        Search search(m_model, id);
        m_searches.push_back(&search);
        action(id);
        m_searches.pop_back();
        skipComparisonsWithoutMapi(search);
        require(!search.next(), "the search ends too early");
        if (place != nullptr)
            *place = search.place();
        return search.isFound();
    }

    void insert(const EntryId& id)
    {
        std::size_t place = 0;
        const bool isFound = search(id, [this](const EntryId& inserted) { m_folders.insert(inserted); }, &place);
        const std::vector<Member> members = m_folders.members();
        require(place < members.size(), "nothing was inserted");
        const Member& member = members[place];
        require(std::ranges::find(m_seen, member) == m_seen.end(), "no other member was made");
        m_seen.push_back(member);
        if (isFound)
        {
            require(*member == *m_model.members[place], "the folder has another identifier");
            m_model.members[place] = member;
            return;
        }
        require(*member == id, "the folder has another identifier than it was given");
        m_model.members.insert(m_model.members.begin() + static_cast<std::ptrdiff_t>(place), member);
        ++m_model.changes;
    }

    void insertWithoutSession(const EntryId& id)
    {
        if (m_model.members.empty()) // it compares nothing
            return;
        const IMAPISessionPtr session = std::exchange(mapi::Session::s_session, nullptr);
        bool isThrown = false;
        try
        {
            m_folders.insert(id);
        }
        catch (const utilities::exception&)
        {
            isThrown = true;
        }
        mapi::Session::s_session = session;
        require(isThrown, "nothing is thrown without a session");
    }

    void erase()
    {
        if (m_seen.empty())
            return;
        const Member member = m_choices.oneOf(m_seen);
        const auto found = std::ranges::find(m_model.members, member);
        require(m_folders.erase(member) == (found != m_model.members.end()), "erase() errs");
        if (found == m_model.members.end())
            return;
        m_model.members.erase(found);
        ++m_model.changes;
    }

    void clear()
    {
        m_folders.clear();
        m_model.members.clear();
        ++m_model.changes;
    }

    void expectSameMembers() const
    {
        require(m_folders.members() == m_model.members && m_folders.empty() == m_model.members.empty(),
                "the members are others");
    }

    /// MAPI isn't asked about an empty identifier, which is the same as none.
    static void skipComparisonsWithoutMapi(Search& search)
    {
        for (auto compared = search.next(); compared && (compared->first.empty() || compared->second.empty());
             compared = search.next())
            search.answer(false);
    }

    Choices& m_choices;
    bool m_isLarge; // more members than the set keeps in one block
    std::vector<EntryId> m_ids;
    std::map<EntryId, std::size_t> m_folderOf; // the identifiers of one folder are aliases
    unsigned m_failing = 0;                    // of a hundred comparisons
    unsigned m_delivering = 0;                 // likewise
    std::size_t m_nested = 0;                  // that may still be done inside comparisons
    KnownFolders m_folders;
    Model m_model;
    std::vector<Member> m_seen; // all that there have been
    std::vector<Search*> m_searches;
};

TEST(KnownFoldersFuzzTest, SearchesAsItsRulesSayWhateverMapiAnswersAndDelivers)
{
    const tests::Mocked<tests::MockSession> session;
    Case* current = nullptr;
    ON_CALL(*session, CompareEntryIDs(_, _, _, _, _, _))
        .WillByDefault(
            [&current](ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG, ULONG* result)
            { return current->compare(mapi::makeEntryId(size1, id1), mapi::makeEntryId(size2, id2), result); });
    mapi::Session::s_session = session.pointer();
    support::fuzz("known folders",
                  [&current](Choices& choices)
                  {
                      Case one(choices);
                      current = &one;
                      one.run();
                  });
    mapi::Session::s_session = nullptr;
}
} // namespace
