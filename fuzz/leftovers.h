#pragma once

#include <fcntl.h>
#include <unistd.h>

/// Read by the leak checker, hence for one file of a program: libsndfile's
/// decoders leave memory behind when a file is damaged. A reader of ours that
/// isn't closed shows by its descriptor.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libsndfile.so\nleak:libvorbis.so\nleak:libFLAC.so\nleak:libmpg123.so\n"
         "leak:libopus.so\nleak:libogg.so\n";
}

namespace audiofuzz {

/// The number that a file opened now would get: the same before and after a run
/// that closes what it opens.
inline int nextDescriptor() {
  const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(next);
  return next;
}

}  // namespace audiofuzz
