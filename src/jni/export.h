#pragma once

#include <jni.h>

/// Declares an exported native of one of the Java classes: found by its name,
/// which follows the JNI naming rule. The second argument, the Java object or
/// class, is never used, so natives may be static or not.
#define AUDIO_EXPORT(Result, Class, method) \
  extern "C" JNIEXPORT Result JNICALL Java_com_vexa_norvu_kestr_audiomatch_##Class##_##method

/// Every class has the same switch for the process-wide logger.
#define AUDIO_EXPORT_VERBOSE(Class)                                                       \
  AUDIO_EXPORT(void, Class, nativeSetNativeVerbose)(JNIEnv*, jobject, jboolean verbose) { \
    audio::gLogger.setEnabled(verbose != JNI_FALSE);                                      \
  }
