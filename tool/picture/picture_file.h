#pragma once

#include <filesystem>
#include <vector>

#include "tool/picture/page.h"

namespace audiomatch {

/// The format that a file's name ends in, in small letters or capitals. Throws
/// UsageError for any other ending.
PictureFormat formatOfName(const std::filesystem::path& picture);

/// Throws FileError now rather than after the work when a picture can't be
/// written there, or when there is a file that isn't empty and no picture: a
/// recording, say, that took the picture's place on the command line.
void checkPictureFile(const std::filesystem::path& picture);

/// Writes a picture, whole or not at all. Throws FileError, also as
/// checkPictureFile does.
void writePicture(const std::filesystem::path& picture, const std::vector<unsigned char>& bytes);

}  // namespace audiomatch
