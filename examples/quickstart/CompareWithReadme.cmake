# SPDX-License-Identifier: MIT
# Fails unless README shows the source, less its licence line, as one block of code.
file(READ "${README}" readme)
file(READ "${SOURCE}" source)
string(REGEX REPLACE "^//[^\n]*\n" "" source "${source}")
string(FIND "${readme}" "```cpp\n${source}```" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${SOURCE} as it is")
endif()
