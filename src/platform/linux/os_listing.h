// The listing of the system's properties for the head of the log.
#pragma once

#include <span>
#include <string_view>

// What a shell makes of the last assignment to PRETTY_NAME in the text of an os-release file: the value without its quotes
// and escapes, empty when there is none. A value that does not fit is cut. The result stands in `room`.
std::string_view PrettyName(std::string_view osRelease, std::span<char> room);

// Writes the listing to the descriptor (see Platform::OsListingCommand). Makes system calls only and allocates nothing:
// it runs in a child process, in which another thread of its parent may have held any lock.
void WriteOsListing(int descriptor, std::string_view language);
