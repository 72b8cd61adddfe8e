// SPDX-License-Identifier: MIT
#pragma once

namespace Velta::Libraries {

/// Base of classes that cannot be copied.
class NonCopyable {
 public:
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;

 protected:
  NonCopyable() = default;
  ~NonCopyable() = default;
};

}  // namespace Velta::Libraries
