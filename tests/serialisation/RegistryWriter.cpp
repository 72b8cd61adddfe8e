// SPDX-License-Identifier: MIT
// Another process that stores settings: registry_writer APPLICATION
#include "velta/serialisation/IOutFilerTaggedRegistry.h"

#include <string>

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const std::string application = arguments[1];
  IOutFilerTaggedRegistry filer(MString(application.begin(), application.end()));
  const bool written = filer.WriteInt(L"Count", 42) && filer.WriteDouble(L"Scale", -0.25) &&
                       filer.BeginGroup(L"Panel") &&
                       filer.WriteString(L"Title", L"from elsewhere") && filer.EndGroup();
  return written ? 0 : 1;
}
