// SPDX-License-Identifier: MIT
#pragma once

// The two operations whose names windows.h replaces: called under whatever they became, and
// overridden under their own names.

#if defined(_WIN32) && !(defined(GetMessage) && defined(GetClassInfo))
#error "a public header has removed a macro of windows.h"
#endif

namespace {

[[maybe_unused]] MString CallBothNames(const MError& error) {
  return error.GetClassInfo().className + error.GetMessage();
}

#pragma push_macro("GetMessage")
#undef GetMessage
#pragma push_macro("GetClassInfo")
#undef GetClassInfo
class OverridesBoth : public MError {
 public:
  const MClassInfo& GetClassInfo() const noexcept override { return MErrorBadInput; }
  MString GetMessage() const override { return L"overridden"; }
};
#pragma pop_macro("GetClassInfo")
#pragma pop_macro("GetMessage")

}  // namespace
