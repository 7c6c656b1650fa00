// RecordingManager.h: the sync engine without a host.
#pragma once

#include <string>
#include <vector>

#include "agent/SyncManager.h"

namespace tests
{
/// Keeps messages in place of sending them.
class RecordingManager : public SyncManager
{
public:
    std::vector<std::wstring> m_messages;

protected:
    void send(const std::wstring& text) override { m_messages.push_back(text); }
};

} // namespace tests
