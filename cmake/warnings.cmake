# Flags that every target of the project is built with.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 sees an overlap or an overflow in every "literal" + std::string that it inlines (its bug 105651).
    add_compile_options(-Wno-restrict -Wno-stringop-overflow -Wno-array-bounds)
endif()
if(VELMORIN_WERROR)
    add_compile_options(-Werror)
endif()
if(VELMORIN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# Flash is small on a controller, so sections that nothing refers to go.
add_compile_options(-ffunction-sections -fdata-sections)
add_link_options(-Wl,--gc-sections)

# What is shipped: buffers and stack checked, addresses random, relocations read-only. A static program has no
# relocations left, and is at fixed addresses.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
    add_link_options(-Wl,-z,relro,-z,now)
    if(NOT CMAKE_CROSSCOMPILING)
        include(CheckPIESupported)
        check_pie_supported()
        set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    endif()
endif()
