# SPDX-License-Identifier: MIT
# Puts the page's styles and scripts into its frame and the whole into a source file.
#
#   cmake -DPARTS=page.html;style.css;a.js;... -DOUTPUT=ViewPage.cpp -P EmbedPage.cmake
#
# As numbers, since compilers differ in how long a literal may be.
set(frame "")
set(styles "")
set(scripts "")
foreach(part IN LISTS PARTS)
  file(READ "${part}" hex HEX)
  if(part MATCHES "\\.html$")
    string(APPEND frame "${hex}")
  elseif(part MATCHES "\\.css$")
    string(APPEND styles "${hex}")
  else()
    string(APPEND scripts "${hex}")
  endif()
endforeach()

function(put marker content)
  string(HEX "${marker}" marker)
  string(FIND "${frame}" "${marker}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "The page's frame has no place for its parts")
  endif()
  string(REPLACE "${marker}" "${content}" frame "${frame}")
  set(frame "${frame}" PARENT_SCOPE)
endfunction()
put("@STYLES@" "${styles}")
put("@SCRIPTS@" "${scripts}")

string(REGEX REPLACE "(................................)" "\\1\n" lines "${frame}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${lines}")
file(WRITE "${OUTPUT}" "#include \"tools/velta-log/ViewPage.h\"
namespace {
constexpr unsigned char kBytes[] = {
${bytes}};
}
namespace Velta::Logging {
std::string_view ViewPage() noexcept {
  return {reinterpret_cast<const char*>(kBytes), sizeof kBytes};
}
}
")
