# Compile options that every target of this project shares.
#
# The mix is bit-exact arithmetic on doubles: a compiler that fuses a multiply and an add on its own, or
# reorders sums, changes the output. Fused operations are only ever asked for by name.
add_library(ringmix_options INTERFACE)
target_compile_features(ringmix_options INTERFACE cxx_std_20)
target_compile_options(ringmix_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -ffp-contract=off -fno-fast-math)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(ringmix_options INTERFACE
    -Wno-restrict -Wno-maybe-uninitialized)  # false alarms on std::string, GCC bugs 105329 and 105562
endif()
if(RINGMIX_WERROR)
  target_compile_options(ringmix_options INTERFACE -Werror)
endif()
if(RINGMIX_SANITIZE)
  target_compile_options(ringmix_options INTERFACE
    -fsanitize=${RINGMIX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(ringmix_options INTERFACE -fsanitize=${RINGMIX_SANITIZE})
endif()
