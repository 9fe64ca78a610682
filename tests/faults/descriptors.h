// A process that can open nothing more.
#pragma once

namespace faults {

void LimitDescriptors();   // from now on there is no free descriptor
void ReleaseDescriptors(); // as many as at first
} // namespace faults
