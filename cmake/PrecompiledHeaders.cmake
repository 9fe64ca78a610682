# Headers of others that most files of a target include, compiled once. Not in the default build, where each file must
# name what it uses, and whose commands clang-tidy reads.
option(TAVRIK_PRECOMPILE "Precompile the headers of other libraries" OFF)

set(standard_headers
    <algorithm> <array> <atomic> <chrono> <cstdint> <filesystem> <fstream> <functional> <map> <memory> <mutex> <optional>
    <span> <sstream> <string> <string_view> <thread> <vector>)

# tavrik_precompile(target headers...): those, and the standard library's.
function(tavrik_precompile target)
    if(TAVRIK_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${standard_headers} ${ARGN})
    endif()
endfunction()
