# What every C++ target of the project is compiled with: link against
# `audiomatch_options`.
add_library(audiomatch_options INTERFACE)
target_compile_features(audiomatch_options INTERFACE cxx_std_20)
target_include_directories(audiomatch_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(audiomatch_options INTERFACE
  -Wall -Wextra -Wconversion -Wshadow
  # No fused multiply-add: the same bits on every machine.
  -ffp-contract=off
  # Roots set no errno, so that they vectorise. Their bits don't change.
  -fno-math-errno)
if(AUDIOMATCH_WERROR)
  target_compile_options(audiomatch_options INTERFACE -Werror)
endif()
if(AUDIOMATCH_COVERAGE)
  target_compile_options(audiomatch_options INTERFACE
    # Atomic: most counts are differences of others, wrong when a thread's is lost.
    -O1 -fprofile-instr-generate -fcoverage-mapping -fprofile-update=atomic)
  target_link_options(audiomatch_options INTERFACE -fprofile-instr-generate)
endif()
if(AUDIOMATCH_SANITIZE)
  target_compile_options(audiomatch_options INTERFACE
    -fsanitize=${AUDIOMATCH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(audiomatch_options INTERFACE -fsanitize=${AUDIOMATCH_SANITIZE})
endif()
