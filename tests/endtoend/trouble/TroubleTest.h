// TroubleTest.h: an agent whose one contact is edited while its machine is in trouble: messages and log must be as they are
// said to be then.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/endtoend/LiveTest.h"
#include "tests/endtoend/trouble/LogModel.h"

namespace endtoend::trouble
{
class TroubleTest : public LiveTest
{
protected:
    /// Starts the agent with this log, and takes over what stands in it then.
    void start(const std::wstring& log);

    /// Edits the contact this many times, each time with a text of so many characters. The message of each must reach the
    /// host, whole, before the next is made; and so the records of it are in the model.
    void edit(unsigned count, std::size_t size);

    /// The log and its backup must be those of the model. No record is on its way any more.
    void expectLogOfModel() const;
    /// The bytes of the log, without its stamps.
    [[nodiscard]] std::string logBytes() const;
    [[nodiscard]] std::wstring backupFile() const { return logFile() + L".bak"; }

    /// Closes the window; the agent must end with 0 and hold nothing, and have sent nothing else. Prints what has been done,
    /// and adds it to the table of troubles.
    void close(const std::string& trouble, const std::string& log);
    /// The same when it has been closed.
    void finishAndReport(const std::string& trouble, const std::string& log);

    LogModel m_model;
    unsigned m_edits = 0;
};
} // namespace endtoend::trouble
