// Runtime.h: the state of the runtime in this process.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/runtime/Companion.h"

namespace sandbox
{
/// Initialised or not, and with which mailbox. Used by any thread.
class Runtime
{
public:
    /// The one of this process; never destroyed.
    [[nodiscard]] static Runtime& instance();

    /// The mailbox that the first initialisation reads; null if it can't be read. Read again after the last one ended.
    [[nodiscard]] std::shared_ptr<Mailbox> mailbox();
    /// Why there is no mailbox, for a person; empty if there is one.
    [[nodiscard]] std::string failure();

    /// What runs beside the runtime: `begin` is called during the first MAPIInitialize, `end` during the last
    /// MAPIUninitialize, one at a time and with no lock held. To be told before the first MAPIInitialize.
    void accompanyBy(Companion::Step begin, Companion::Step end) noexcept { m_companion.set(begin, end); }

    /// MAPIInitialize: counts one more. The mailbox must have been asked for before.
    void initialize();
    /// MAPIUninitialize; false if there was nothing to end.
    bool uninitialize();
    [[nodiscard]] bool isInitialized();

    /// Serves this mailbox from now on, to sessions that begin later, instead of that of the file; null goes back to the
    /// file.
    void give(std::shared_ptr<Mailbox> mailbox);

private:
    Runtime() = default;
    void load();
    void forgetFile();

    std::mutex m_mutex;
    std::int64_t m_initializations = 0;
    std::shared_ptr<Mailbox> m_given;
    std::shared_ptr<Mailbox> m_fromFile;
    bool m_hasRead = false; // a mailbox file, at some time
    std::string m_failure;
    Companion m_companion;
};

/// A line on standard error, UTF-8.
void complain(const std::string& text) noexcept;
} // namespace sandbox
