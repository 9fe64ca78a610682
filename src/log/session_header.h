// The block of text at the head of each log session and of each new log file.
#pragma once

#include "src/platform/log_system.h"

#include <functional>

// Sends the block piece by piece: versions, host, operating system, the date and the titles of the columns.
// It runs a command of the system for a second at most. What goes wrong on the way shows in the text alone.
void WriteSessionHeader(const LogSystem& system, const std::function<void(const char* text)>& send);
