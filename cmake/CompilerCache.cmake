# What was compiled before, in any folder, comes from ccache. Not for coverage, whose objects name
# the folder that they were compiled in.
find_program(CCACHE ccache)
if(CCACHE AND NOT AUDIOMATCH_COVERAGE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()
