# SPDX-License-Identifier: Apache-2.0
# cmake -D folder=FOLDER -D output=FILE -P embed.cmake: writes page_files() (page_files.h) with the files of a folder.
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

file(GLOB files RELATIVE ${folder} ${folder}/*)
set(rows "")
foreach(file IN LISTS files)
  cmake_path(GET file EXTENSION LAST_ONLY extension)
  string(SUBSTRING ${extension} 1 -1 extension)
  if(NOT DEFINED type_${extension})
    message(FATAL_ERROR "${file}: no type for .${extension}")
  endif()
  # A compiler need not take a literal of more than 65536 bytes.
  file(SIZE ${folder}/${file} size)
  if(size GREATER 65535)
    message(FATAL_ERROR "${file}: ${size} bytes are too many for a literal")
  endif()
  file(READ ${folder}/${file} text)
  string(APPEND rows "    page_file{\"${file}\", \"${type_${extension}}\", R\"page(${text})page\"},\n")
endforeach()
file(WRITE ${output} "// Made by embed.cmake.
#include \"sim/web/page_files.h\"

#include <array>

namespace varnel::sim::web {

std::span<const page_file> page_files() {
    static constexpr std::array files{
${rows}    };
    return files;
}

} // namespace varnel::sim::web
")
