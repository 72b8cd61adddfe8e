// SPDX-License-Identifier: MIT
#pragma once

namespace Velta::Libraries {

/// Forbids copying to whoever derives from it.
class NonCopyable {
 public:
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;

 protected:
  NonCopyable() = default;
  ~NonCopyable() = default;
};

}  // namespace Velta::Libraries
