#pragma once

namespace softcard {

// Where programs are looked for when PATH says nothing, or is not believed.
inline constexpr const char* systemPath = "/usr/bin:/bin";

} // namespace softcard
