# TAVRIK_COVERAGE counts which lines and branches run, for `./check coverage`. Without optimisation each line has code of
# its own; the counters are shared among threads.
option(TAVRIK_COVERAGE "Count which lines and branches run" OFF)
if(TAVRIK_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
