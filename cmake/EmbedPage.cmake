# Writes the files of the service's page as C++:
#   cmake -DOUTPUT=FILE -DFOLDER=FOLDER "-DFILES=index.html page.css ..." -P EmbedPage.cmake
# The texts stay texts, in raw literals. `)page"` may not stand in them.
separate_arguments(FILES)
set(entries "")
foreach(name ${FILES})
  file(READ ${FOLDER}/${name} text)
  file(SHA256 ${FOLDER}/${name} hash)
  string(SUBSTRING ${hash} 0 16 hash)
  string(APPEND entries "    {\"${name}\", R\"page(${text})page\", \"\\\"${hash}\\\"\"},\n")
endforeach()
file(WRITE ${OUTPUT} "// Made by cmake/EmbedPage.cmake of the files in tool/service/page.
#include \"tool/service/page.h\"

namespace audiomatch {

std::span<const PageFile> pageFiles() noexcept {
  static constexpr PageFile kFiles[] = {
${entries}  };
  return kFiles;
}

}  // namespace audiomatch
")
