// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <cstdint>
#include <iosfwd>

/// Takes the framework's events and writes them out on request.
///
/// The framework supplies one implementation, `MKLoggerAdapter`; instrumented code reaches it
/// through `MFlowLogger`. Implement it yourself to give a test or a module a log of its own.
///
/// The order of the virtual operations is part of the interface between modules.
///
/// Threads: any thread calls any operation at any time, several at once. `LogEvent` must not block.
/// Errors: no operation throws.
class VELTA_API MFlowLoggerImplementation {
 public:
  MFlowLoggerImplementation(const MFlowLoggerImplementation&) = delete;
  MFlowLoggerImplementation& operator=(const MFlowLoggerImplementation&) = delete;

  virtual ~MFlowLoggerImplementation();

  /// Records one event of the calling thread.
  ///
  /// @param kind      the number of an `MFlowEventKind`; another number is the caller's mistake, is
  ///                  not detected and has no defined effect
  /// @param value1    error name key, state, message key or first timing value; else 0
  /// @param value2    source line, or second timing value
  /// @param classKey  key of the class name, as given to the registry
  /// @param pointKey  key of the operation's name
  /// @param object    the object concerned; only its address is kept, null is allowed
  virtual void LogEvent(std::uint32_t kind, std::uint32_t value1, std::uint32_t value2,
                        std::uint32_t classKey, std::uint32_t pointKey,
                        const void* object) noexcept = 0;

  /// Writes the log as 8-bit text and empties it.
  ///
  /// @param stream  used during the call only; it is not closed
  virtual void Dump(std::ostream& stream) noexcept = 0;

  /// Dumps into the log's fixed file.
  ///
  /// @return true if the file could be opened, even if the dump then failed
  virtual bool DumpToFile() noexcept = 0;

  /// Mirrors further events and names into another module's log, or ends that.
  ///
  /// @param other  the logger to mirror into; null, or one of a type unknown to the implementation,
  ///               ends the mirroring. Not owned; it must live until it is detached or replaced
  virtual void Attach(MFlowLoggerImplementation* other) noexcept = 0;

 protected:
  MFlowLoggerImplementation() = default;
};
