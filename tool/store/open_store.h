#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "tool/recognition/references.h"
#include "tool/store/reference_store.h"
#include "tool/store/store.h"

namespace audiomatch {

/// Whether a text names a Redis Cluster rather than a file: redis://HOST:PORT...
bool isRedis(std::string_view place) noexcept;

/// What is wrong with a text that is to name a place to keep things in, a folder or a Redis
/// Cluster; empty for nothing. No file is looked at.
std::string problemOfPlace(const std::string& place);

/// A place as messages name it: without a password.
std::string shownPlace(const std::string& place);

/// References by the name of a database's file or of a Redis Cluster. Throws FileError.
std::unique_ptr<const References> openReferences(const std::filesystem::path& place);

/// References to be added to, in a store's folder or a Redis Cluster. A folder that isn't there is
/// made, in one that is. Throws FileError, also for a folder of other things.
std::unique_ptr<ReferenceStore> openReferenceStore(const std::string& place);

/// What a server keeps, in a folder, in a Redis Cluster, or, with "none", in memory. Folders
/// are as openReferenceStore has them. Throws FileError.
///
/// @param own  the server's own references, which never change
std::unique_ptr<Store> openStore(const std::string& place, std::unique_ptr<const References> own,
                                 const Thresholds& thresholds);

}  // namespace audiomatch
