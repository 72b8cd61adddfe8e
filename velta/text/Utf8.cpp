// SPDX-License-Identifier: MIT
#include "velta/text/Utf8.h"

#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/text/internal/Characters.h"

#include <cstddef>
#include <new>
#include <optional>

namespace {

const wchar_t ClassName[] = L"Utf8";
const Velta::Logging::ClassNameRegistration registration(ClassName);

using Velta::Text::Append;
using Velta::Text::Decode;

/// Converts all of it; @return where the first fault is, if there is one
template <class To, class From>
std::optional<std::size_t> Convert(From text, To& converted) {
  std::optional<std::size_t> fault;
  try {
    converted.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
      const Velta::Text::Step step = Decode(text.substr(at));
      if (!step.valid && !fault) {
        fault = at;
      }
      Append(converted, step.character);
      at += step.length;
    }
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  }
  return fault;
}

template <class To, class From>
To ConvertStrictly(From text, MFlowPoint& point) {
  To converted;
  if (const std::optional<std::size_t> fault = Convert(text, converted)) {
    MError malformed = point.MakeRootError(L"MalformedText");
    malformed.AddParameter(L"offset", *fault);
    point.Throw(malformed);
  }
  return converted;
}

}  // namespace

MString FromUtf8(std::string_view text) {
  static MFlowPoint point(ClassName, L"FromUtf8");
  return ConvertStrictly<MString>(text, point.At(nullptr));
}

MString FromUtf8Lossy(std::string_view text) {
  MString converted;
  Convert(text, converted);
  return converted;
}

std::string ToUtf8(std::wstring_view text) {
  static MFlowPoint point(ClassName, L"ToUtf8");
  return ConvertStrictly<std::string>(text, point.At(nullptr));
}

std::string ToUtf8Lossy(std::wstring_view text) {
  std::string converted;
  Convert(text, converted);
  return converted;
}
