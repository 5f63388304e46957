# How the Java classes, the examples and the tests are compiled: for Java 8, without a warning.

find_package(Java 1.8 COMPONENTS Runtime Development REQUIRED)
include(UseJava)

# Java 8 itself has no --release and needs none. The lint of options only says that 8 is old.
set(CMAKE_JAVA_COMPILE_FLAGS -Xlint:all,-options -Werror -encoding UTF-8)
if(Java_VERSION VERSION_GREATER_EQUAL 9)
  list(APPEND CMAKE_JAVA_COMPILE_FLAGS --release 8)
endif()
