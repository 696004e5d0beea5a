# Flags that every target of the project is built with.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 sees an overlap in every "literal" + std::string that it inlines (its bug 105651).
    add_compile_options(-Wno-restrict)
endif()
if(VELMORIN_WERROR)
    add_compile_options(-Werror)
endif()
if(VELMORIN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
