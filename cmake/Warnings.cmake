# The warnings that all our own code is compiled with; every one of them is an error.
add_library(tavrik_warnings INTERFACE)
target_compile_options(tavrik_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
