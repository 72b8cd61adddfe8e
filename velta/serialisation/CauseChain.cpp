// SPDX-License-Identifier: MIT
#include "velta/errors/internal/CauseChain.h"

#include "velta/errors/MException.h"
#include "velta/serialisation/MInFilerTaggedXml.h"

namespace Velta::Errors {

bool ReadCauseChain(const MString& text, MException* causes) {
  try {
    MInFilerTaggedXml filer(text, L"ExceptionChain", L"");
    return filer.BeginGroup(L"Exception") && causes->Read(filer, L"Exception") && filer.EndGroup();
  } catch (const MException&) {
    return false;  // a filer without its locale: the caller still has an error to report
  }
}

}  // namespace Velta::Errors
