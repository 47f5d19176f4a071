# Flags shared by every Binwise target; applied through binwise_compile_options().

add_library(binwise_flags INTERFACE)
target_compile_options(binwise_flags INTERFACE
    -Wall -Wextra -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual)
target_compile_definitions(binwise_flags INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_CONTEXTLESS_CONNECT
    QT_NO_FOREACH)

if(BINWISE_WERROR)
    target_compile_options(binwise_flags INTERFACE -Werror)
endif()

if(BINWISE_SANITIZE)
    target_compile_options(binwise_flags INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(binwise_flags INTERFACE -fsanitize=address,undefined)
endif()
