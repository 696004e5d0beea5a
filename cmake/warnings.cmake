# Flags that every target of the project is built with.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion)
if(VELMORIN_WERROR)
    add_compile_options(-Werror)
endif()
if(VELMORIN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
