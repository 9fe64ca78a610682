# TAVRIK_PRECOMPILE compiles the headers that most files share once instead of in each file, with Clang: a third of the
# compile time. The presets that are built to be tested soon have it; the others, and clang-tidy, read each file as it
# stands, so that a file that lacks an include does not go unseen.
option(TAVRIK_PRECOMPILE "Compile the headers that most files share once, with Clang" OFF)
if(TAVRIK_PRECOMPILE)
    # Clang takes a precompiled header only into code of the same kind, and CMake asks for another kind in programs.
    add_compile_options(-fPIC)
endif()

set(tavrik_precompiled_headers
    <algorithm> <array> <atomic> <chrono> <condition_variable> <filesystem> <fstream> <functional> <iostream> <map>
    <memory> <mutex> <optional> <set> <sstream> <stdexcept> <string> <string_view> <system_error> <thread> <vector>
    <botan/auto_rng.h> <botan/rsa.h> <botan/x509cert.h> <nlohmann/json.hpp>)

# tavrik_precompile(name [HEADERS header...] [LIBRARIES target...]): precompiles the headers above and these, compiled as the
# libraries ask for, as the object library "name", for the targets that the calling folder and the folders below it have so
# far.
function(tavrik_precompile name)
    cmake_parse_arguments(precompile "" "" "HEADERS;LIBRARIES" ${ARGN})
    if(NOT TAVRIK_PRECOMPILE)
        return()
    endif()
    tavrik_targets_below(targets "${CMAKE_CURRENT_SOURCE_DIR}")
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "")
    add_library(${name} OBJECT "${source}")
    target_link_libraries(${name} PRIVATE PkgConfig::BOTAN ${precompile_LIBRARIES})
    target_precompile_headers(${name} PRIVATE ${tavrik_precompiled_headers} ${precompile_HEADERS})
    foreach(target IN LISTS targets)
        get_target_property(own ${target} PRECOMPILE_HEADERS)
        get_target_property(taken ${target} PRECOMPILE_HEADERS_REUSE_FROM)
        if(NOT own AND NOT taken)
            target_precompile_headers(${target} REUSE_FROM ${name})
            # clang-tidy looks for what the precompiled header includes.
            target_include_directories(${target} SYSTEM PRIVATE
                $<TARGET_PROPERTY:PkgConfig::BOTAN,INTERFACE_INCLUDE_DIRECTORIES>)
        endif()
    endforeach()
endfunction()

# The targets of a folder, and of those below it, that compile something.
function(tavrik_targets_below variable folder)
    get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
    set(found "")
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        get_target_property(sources ${target} SOURCES)
        if(type MATCHES "EXECUTABLE|LIBRARY" AND NOT type STREQUAL "INTERFACE_LIBRARY" AND sources)
            list(APPEND found ${target})
        endif()
    endforeach()
    get_property(folders DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
    foreach(below IN LISTS folders)
        tavrik_targets_below(more "${below}")
        list(APPEND found ${more})
    endforeach()
    set(${variable} ${found} PARENT_SCOPE)
endfunction()
