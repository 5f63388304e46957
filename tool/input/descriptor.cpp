#include "tool/input/descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace audiomatch {

Descriptor Descriptor::duplicate() const {
  Descriptor copy(fcntl(number_, F_DUPFD_CLOEXEC, 0));
  if (copy.get() < 0) throw std::system_error(errno, std::generic_category(), "dup");
  return copy;
}

SocketPair::SocketPair() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  reading = Descriptor(ends[0]);
  writing = Descriptor(ends[1]);
}

Descriptor memoryFile(std::string_view bytes) {
  Descriptor file(memfd_create("recording", MFD_CLOEXEC));
  while (file.get() >= 0 && !bytes.empty()) {
    const ssize_t written = write(file.get(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) break;
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  if (file.get() < 0 || !bytes.empty()) {
    throw std::system_error(errno, std::generic_category(), "memory file");
  }
  lseek(file.get(), 0, SEEK_SET);
  return file;
}

std::string firstBytes(const Descriptor& descriptor, std::size_t size) {
  std::string bytes(size, '\0');
  ssize_t came = recv(descriptor.get(), bytes.data(), size, MSG_PEEK | MSG_WAITALL);
  if (came < 0) came = pread(descriptor.get(), bytes.data(), size, 0);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(came, 0)));
  return bytes;
}

}  // namespace audiomatch
