// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <cstdint>

class MDiagnosticsRegistryImplementation;

/// A handle to the tables that give the log's numbers their names.
///
/// Events carry 32-bit keys; a dump shows the name registered for each. A class, operation or error
/// is keyed by the address of its name, so register the very array that the flow points use: an
/// equal text elsewhere is another key. Only the low 32 bits of an address count.
///
/// Rules of every registration: the first name given for a key stays, later ones are ignored; a
/// null name registers nothing; names are never removed.
///
/// A character keeps its low 8 bits only, so one above U+00FF shows as another, and those that end
/// in 0A or 0D (U+4E0A, U+040A and U+010A among them) break the line in a dump. Use names in
/// Latin-1.
///
/// Threads: any thread may call any operation at any time; each takes a short lock.
/// Ownership: names are copied; the handle does not own what it points at.
/// Errors: no operation throws; a registration for which memory is missing is skipped.
class MDiagnosticsRegistry {
 public:
  /// A handle to `implementation`, which must outlive it. With null every operation does nothing.
  explicit MDiagnosticsRegistry(MDiagnosticsRegistryImplementation* implementation) noexcept
      : implementation_(implementation) {}
  MDiagnosticsRegistry(const MDiagnosticsRegistry&) = delete;
  MDiagnosticsRegistry& operator=(const MDiagnosticsRegistry&) = delete;

  /// The process-wide handle, made on first use and never destroyed; safe in static initialisers.
  ///
  /// @return null while memory for it cannot be had; the next call tries again
  [[nodiscard]] VELTA_API static MDiagnosticsRegistry* Instance() noexcept;

  /// Names a class.
  ///
  /// @param classKey  the address that its flow points give as class name
  VELTA_API void RegisterClassName(const void* classKey, const wchar_t* name) noexcept;

  /// Names an operation; `classKey` is not used. A flow point does this for itself.
  VELTA_API void RegisterPointName(const void* classKey, const void* pointKey,
                                   const wchar_t* name) noexcept;

  /// Names one object, by its full address. The name outlives the object.
  VELTA_API void RegisterObjectName(const void* object, const wchar_t* name) noexcept;

  /// Names the calling thread, in the log and to the system's debugger.
  VELTA_API void RegisterThreadName(const wchar_t* name) noexcept;

  /// Names a state of a class, as shown for its state changes.
  ///
  /// States and messages share one table: state `s` of a class with key `k` stands under
  /// `k * 100 + s`, computed in 32 bits.
  VELTA_API void RegisterStateName(const void* classKey, std::uint32_t state,
                                   const wchar_t* name) noexcept;

  /// Names an error. Raising through a flow point does this for itself.
  VELTA_API void RegisterErrorName(const void* errorKey, const wchar_t* name) noexcept;

  /// Names a message, by the number that its send event carries.
  VELTA_API void RegisterMessageName(std::uint32_t messageKey, const wchar_t* name) noexcept;

 private:
  MDiagnosticsRegistryImplementation* implementation_;
};
