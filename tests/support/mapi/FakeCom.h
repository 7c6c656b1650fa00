// FakeCom.h: what all fakes of MAPI interfaces share: counted life and QueryInterface.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

namespace support
{
/// Fakes that are alive in this process; every test ends with 0.
inline std::atomic<long> s_liveFakes{0};

/// A COM object that is made with one reference and deletes itself with the last.
/// @tparam Interface  the most derived interface of the fake.
/// @tparam Iids  what it answers to besides IID_IUnknown.
template <class Interface, const IID*... Iids>
class FakeCom : public Interface
{
public:
    FakeCom(const FakeCom&) = delete;
    FakeCom& operator=(const FakeCom&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        *object = nullptr;
        const auto planned =
            std::ranges::find_if(m_answers, [&iid](const Answer& answer) { return IsEqualIID(answer.iid, iid); });
        if (planned != m_answers.end())
        {
            if (planned->object != nullptr)
                planned->object->AddRef();
            *object = planned->object;
            return planned->result;
        }
        if (!IsEqualIID(iid, IID_IUnknown) && !(IsEqualIID(iid, *Iids) || ...))
            return E_NOINTERFACE;
        *object = static_cast<Interface*>(this);
        this->AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const long left = --m_references;
        if (left == 0)
            delete this;
        return static_cast<ULONG>(left);
    }

    /// References held at this moment.
    [[nodiscard]] long references() const noexcept { return m_references; }

    /// From now on QueryInterface for `iid` gives this result and this object, which is borrowed and may be null.
    void answerInterface(const IID& iid, HRESULT result, IUnknown* object = nullptr)
    {
        std::erase_if(m_answers, [&iid](const Answer& answer) { return IsEqualIID(answer.iid, iid); });
        m_answers.push_back({iid, result, object});
    }

protected:
    FakeCom() { ++s_liveFakes; }
    virtual ~FakeCom() { --s_liveFakes; } // only Release deletes

private:
    struct Answer
    {
        IID iid;
        HRESULT result;
        IUnknown* object;
    };
    std::vector<Answer> m_answers;
    std::atomic<long> m_references{1};
};
} // namespace support
