// JsonLines.h: what happens to a host as lines of JSON, as the command of hosts/node writes them with --json and --record.
#pragma once

#include <cstdint>
#include <string>

#include "../LinkwellHost.h"

/// Each is one object, and ends in a line feed.
[[nodiscard]] std::string listeningLine(const std::string& pipe);
[[nodiscard]] std::string messageLine(const linkwell::Message& message);
[[nodiscard]] std::string errorLine(const linkwell::Error& error);
[[nodiscard]] std::string closedLine(std::uint64_t answered);
