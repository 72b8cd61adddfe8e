// SPDX-License-Identifier: MIT
// Asks a stream locale for facets and makes no stream: where each module has a C++ runtime of its
// own, nothing else here numbers them.
#include "velta/text/MLocale.h"

#include <cctype>
#include <locale>

int main() {
  const std::locale& locale = MLocale::GetClassic().GetStreamLocale();
  if (!std::isdigit(L'5', locale)) {
    return 1;
  }
  return std::use_facet<std::numpunct<wchar_t>>(locale).decimal_point() == L'.' ? 0 : 2;
}
