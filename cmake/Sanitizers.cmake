# TAVRIK_SANITIZE names the sanitizers, as -fsanitize takes them. Everything in the build is instrumented alike. Its
# reports name functions and lines, which -g1 has; at -O1 it compiles in half to three quarters of the time.
set(TAVRIK_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
if(TAVRIK_SANITIZE)
    add_compile_options(-fsanitize=${TAVRIK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        -O1 -g1)
    # The leak checker crashes over thread-local data that are made on demand.
    if(TAVRIK_SANITIZE MATCHES address)
        add_compile_options(-ftls-model=initial-exec)
    endif()
    add_link_options(-fsanitize=${TAVRIK_SANITIZE})
endif()
