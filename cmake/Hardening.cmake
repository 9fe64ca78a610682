# What makes an error in the code harder to use against the host, for everything that is built: the libraries, the
# programs, and the tests with them, but for _FORTIFY_SOURCE, which needs an optimisation that test code goes without.
# The sanitizers find the same errors and more, and stand in the way of some of it, so their builds have none of it.
# tests/package holds the packages to it; SECURITY.md says what each system has.
option(TAVRIK_HARDENING "Build with the protections that distributions build with" ON)
if(NOT TAVRIK_HARDENING OR TAVRIK_SANITIZE)
    return()
endif()

# Programs that are loaded anywhere in memory, as the libraries are.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

add_compile_options(-fstack-protector-strong)
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
add_compile_options($<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
if(WIN32)
    # The compiler's own library has what the C library has elsewhere; it comes with the option.
    add_link_options(-fstack-protector-strong -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
else()
    add_compile_options(-fstack-clash-protection -fcf-protection)
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack,-z,text)
endif()
