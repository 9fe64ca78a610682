// The configuration file, config.json.
#pragma once

#include "src/log/log_settings.h"

#include <string>
#include <vector>

// Reads `directory` + "config.json" into the settings and the flag, each of which may be null and is then not
// read. `directory` ends in its separator. Keys that are missing leave what is there, and so does what comes
// behind a fault. Nothing is thrown: what went wrong, if anything, is put into `report`.
void LoadConfiguration(LogSettings* settings, bool* pinPadEnabled, const char16_t* directory,
                       std::string& report);

// The same for a text that stands in the file at that path.
void ApplyConfiguration(const char* text, const std::string& path, LogSettings* settings, bool* pinPadEnabled,
                        std::string& report);

// The bytes of the file and a zero byte; nothing, with a report, when it cannot be opened. A file of 8192
// bytes or more is read all the same, with a report.
std::vector<char> ReadConfigurationFile(const char16_t* directory, std::string& report);
