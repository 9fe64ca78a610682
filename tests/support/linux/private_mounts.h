// File systems that only the calling process sees. They need root, or a system that lets users have their
// own.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace blackbox {

// Why this system lets the process have none, in the line by which ./check knows a test that was skipped. Empty where it does.
std::string WhyNoPrivateMounts();

// From now on what is mounted is the process's own. For a child process without threads. Throws
// std::system_error, as the others do.
void EnterPrivateMounts();

// A file system in memory with room for so many bytes.
void MountMemory(const std::filesystem::path& folder, size_t size);

// /dev with the devices that everyone needs and nothing else; it is put together in the empty folder first.
void ReplaceDevices(const std::filesystem::path& folder);

} // namespace blackbox
