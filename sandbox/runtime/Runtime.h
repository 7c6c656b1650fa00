// Runtime.h: the state of the runtime in this process.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "sandbox/mailbox/model/Mailbox.h"

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

    /// MAPIInitialize: counts one more. The mailbox must have been asked for before. The thread that is the first gets the
    /// window of all notifications (Delivery::begin), and keeps it until the last one has ended, whichever thread that is.
    /// Throws MapiFailure or std::bad_alloc, and has counted nothing then.
    void initialize();
    /// MAPIUninitialize; false if there was nothing to end.
    bool uninitialize();
    [[nodiscard]] bool isInitialized();
    /// Forgets the mailbox of the file, unless the runtime is initialised. To be called behind the last MAPIUninitialize,
    /// when nothing uses the mailbox any more.
    void forgetUnusedFile();

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
};

/// A line on standard error, UTF-8.
void complain(const std::string& text) noexcept;
} // namespace sandbox
