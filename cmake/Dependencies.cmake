# kissfft and libresample, as imported targets. Debian ships both; elsewhere
# (Android) the two cache variables name folders that hold include/ and lib/.
set(KISSFFT_ROOT "" CACHE PATH "Where kissfft (float) is installed, if not in the system")
set(LIBRESAMPLE_ROOT "" CACHE PATH "Where libresample is installed, if not in the system")

# Looked for by hand: libresample's pkg-config file names no library.
function(audiomatch_library target root header library)
  find_path(${target}_INCLUDE ${header} HINTS ${root}/include PATH_SUFFIXES kissfft
    REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  find_library(${target}_LIBRARY ${library} HINTS ${root}/lib REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${${target}_INCLUDE})
  target_link_libraries(${target} INTERFACE ${${target}_LIBRARY})
endfunction()

audiomatch_library(audiomatch_kissfft "${KISSFFT_ROOT}" kiss_fft.h kissfft-float)
target_compile_definitions(audiomatch_kissfft INTERFACE kiss_fft_scalar=float)
audiomatch_library(audiomatch_resample "${LIBRESAMPLE_ROOT}" libresample.h resample)

# The JDK's jni.h; the NDK has it on its own path.
if(NOT ANDROID)
  find_program(JAVAC javac HINTS $ENV{JAVA_HOME}/bin REQUIRED)
  file(REAL_PATH ${JAVAC} javac_path)
  cmake_path(GET javac_path PARENT_PATH javac_folder)
  find_path(JNI_INCLUDE jni.h HINTS ${javac_folder}/../include REQUIRED NO_DEFAULT_PATH)
  set(JNI_INCLUDE_DIRS ${JNI_INCLUDE} ${JNI_INCLUDE}/linux)
endif()
