// SPDX-License-Identifier: MIT
#include "velta/errors/internal/CauseChain.h"

#include "velta/errors/MException.h"
#include "velta/serialisation/MInFilerTaggedXml.h"

bool ReadCauseChain(const MString& text, MException& causes) {
  try {
    MInFilerTaggedXml filer(text, L"ExceptionChain", L"");
    return filer.BeginGroup(L"Exception") && causes.Read(filer, L"Exception") && filer.EndGroup();
  } catch (const MException&) {
    return false;  // a filer without its locale: whoever asks still has an error to report
  }
}
