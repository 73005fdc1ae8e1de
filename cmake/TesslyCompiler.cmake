# Warnings and sanitizers for every target in the tree.
add_compile_options(-Wall -Wextra -Wno-missing-field-initializers)

if(TESSLY_SANITIZE)
  set(_san -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_compile_options(${_san})
  add_link_options(${_san})
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()
