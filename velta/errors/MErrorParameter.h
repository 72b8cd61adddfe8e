// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/MString.h"
#include "velta/text/TextOf.h"

#include <cstdint>
#include <type_traits>

/// The code that the last failed call of the platform left on this thread (`GetLastError`).
///
/// As a parameter it is "winErrorCode", and "winErrorMessage" with the system's text for it where
/// there is one. Read it first: whatever is called in between may set another.
struct VELTA_API LastError {
  LastError() noexcept;
  explicit LastError(std::uint32_t known) noexcept : code(known) {}

  std::uint32_t code;
};

/// A result of COM, as `HRESULT` has it.
///
/// As a parameter it is "hResult", in eight hexadecimal digits and "h" (80004005h), and
/// "hResultMessage" with the system's text for it where there is one.
struct HResult {
  std::int32_t code;
};

VELTA_EXPORTS_BEGIN

/// A named value of an error, as text. It is made of a name and of any value that has a text
/// (`Velta::TextOf`), and written in place:
///
/// ```cpp
/// point.At(this).Raise(L"NotCopied", {{L"file", path}, {L"bytes", size}, LastError()});
/// ```
///
/// A null name is an empty one. Errors: `std::bad_alloc`, or an `MException` that holds an
/// `MErrorOutOfMemory`.
class VELTA_API MErrorParameter {
 public:
  template <Velta::HasText Value>
  MErrorParameter(const wchar_t* name, const Value& value)
      : name_(name != nullptr ? name : L""),
        text_(Velta::TextOf<std::decay_t<const Value>>::Make(value)) {}

  MErrorParameter(const LastError& error);  // NOLINT(google-explicit-constructor)
  MErrorParameter(const HResult& result);   // NOLINT(google-explicit-constructor)

 private:
  friend class MError;

  MString name_;
  MString text_;
  const wchar_t* messageName_ = L"";
  MString message_;  // the system's, if it has one
};

VELTA_EXPORTS_END
