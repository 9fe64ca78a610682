// What the system tells of a thread of this process.
#pragma once

#include <cstdint>

namespace front_test {

// What the system knows the calling thread by.
uint32_t OwnThread();

// Whether the thread seems to wait at this moment, in a lock or for a condition for instance. Several looks must say so
// before it is sure.
bool Sleeps(uint32_t thread);

} // namespace front_test
