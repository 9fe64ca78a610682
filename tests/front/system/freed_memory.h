// Memory that has been given back.
#pragma once

namespace front_test {

// From now on it is overwritten, where the C library can do so: on Linux.
void OverwriteFreedMemory();

} // namespace front_test
