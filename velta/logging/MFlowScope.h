// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <cstdint>

/// The time during which an operation runs, as the log shows it: opened by `MFlowPoint::OpenScope`,
/// which logs its begin; its destruction logs the end, also while an exception unwinds.
///
/// A local variable only. It repeats the names, object and values that the point had when it
/// opened, whatever other threads do with the point meanwhile.
class MFlowScope {
 public:
  MFlowScope(const MFlowScope&) = delete;
  MFlowScope& operator=(const MFlowScope&) = delete;

  ~MFlowScope() { Close(); }

  /// Logs the end of the scope now; the destructor then logs nothing. A second call does nothing.
  VELTA_API void Close() noexcept;

 private:
  friend class MFlowPoint;

  MFlowScope(std::uint32_t firstValue, std::uint32_t secondValue, const wchar_t* ownerClass,
             const wchar_t* operation, const void* subject) noexcept
      : value1(firstValue),
        value2(secondValue),
        className(ownerClass),
        operationName(operation),
        object(subject) {}

  std::uint32_t value1;
  std::uint32_t value2;
  bool active = true;
  const wchar_t* className;
  const wchar_t* operationName;
  const void* object;
};
