# TAVRIK_SANITIZE names the sanitizers, as -fsanitize takes them. Everything in the build is instrumented alike, but for
# UndefinedBehaviorSanitizer, which test code goes without: it is a quarter of the compile time. Reports name functions
# and lines, which -g1 has. At -O0 Clang compiles in half the time of -O1; what the tests spend most time in, Botan and
# waiting, is not compiled here. Fuzzers that run for hours are worth -O1.
set(TAVRIK_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
set(TAVRIK_SANITIZE_OPTIMIZATION "-O0" CACHE STRING "Optimisation of a build with sanitizers")
if(TAVRIK_SANITIZE)
    add_compile_options(-fsanitize=${TAVRIK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        ${TAVRIK_SANITIZE_OPTIMIZATION} -g1)
    # The leak checker crashes over thread-local data that are made on demand.
    if(TAVRIK_SANITIZE MATCHES address)
        add_compile_options(-ftls-model=initial-exec)
    endif()
    # The front calls the library through records of its own, whose types have the same layout and other names.
    if(TAVRIK_SANITIZE MATCHES undefined AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options(-fno-sanitize=function)
    endif()
    add_link_options(-fsanitize=${TAVRIK_SANITIZE})
endif()

# The fuzzers of tests/fuzz find their way by what is counted in the code under test.
option(TAVRIK_FUZZ "Build the fuzzers, with Clang and AddressSanitizer" OFF)
if(TAVRIK_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
