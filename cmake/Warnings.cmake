# Flags that every target of ours is built with.
add_library(halvo_warnings INTERFACE)
target_compile_options(halvo_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor -Wold-style-cast
  -Woverloaded-virtual -Wno-missing-field-initializers)

add_library(halvo_sanitizers INTERFACE)
if(HALVO_SANITIZERS)
  target_compile_options(halvo_sanitizers INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(halvo_sanitizers INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(halvo_sanitizers INTERFACE _GLIBCXX_ASSERTIONS)
endif()

# Test code is compiled often and run for seconds: what the compiler saves outweighs what the processor spends.
add_library(halvo_test_flags INTERFACE)
target_compile_options(halvo_test_flags INTERFACE -O0)
target_link_libraries(halvo_test_flags INTERFACE halvo_warnings halvo_sanitizers)
