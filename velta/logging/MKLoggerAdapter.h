// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MDiagnosticsRegistryImplementation.h"
#include "velta/logging/MFlowLoggerImplementation.h"
#include "velta/platform/Api.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>

class KLogger;

VELTA_EXPORTS_BEGIN

/// Brings events and names into the process's event log, and into that of a second module while one
/// is attached.
///
/// Use it through `MFlowLogger` and `MDiagnosticsRegistry`. `Instance` lives from first use until
/// the process ends; one that a host constructs serves a separate log.
///
/// Names are cut to the low 8 bits of each character: see `MDiagnosticsRegistry`. Keys given as
/// pointers count with their low 32 bits, objects with the full address.
///
/// Threads: any thread may call any operation at any time, but two logs must not be attached to
/// each other at once. `Attach` is not synchronised with events and registrations under
/// way: those may reach one log or both.
/// Ownership: neither log is owned; both must outlive the adapter or, for the second, be detached.
/// Errors: no operation throws.
class VELTA_API MKLoggerAdapter : public MFlowLoggerImplementation,
                                  public MDiagnosticsRegistryImplementation {
 public:
  /// An adapter to `target`, with nothing attached. With null all it logs is dropped.
  explicit MKLoggerAdapter(KLogger* target) noexcept;

  /// Forgets the process's adapter if this is it, so that the next request makes a new one. The log
  /// stays as it is.
  ~MKLoggerAdapter() override;

  /// The process's adapter, made on first use (with the process's log, if there is none yet) and
  /// never destroyed; safe in static initialisers.
  ///
  /// @return null while memory for it cannot be had; the next call tries again
  [[nodiscard]] static MKLoggerAdapter* Instance() noexcept;

  void LogEvent(std::uint32_t kind, std::uint32_t value1, std::uint32_t value2,
                std::uint32_t classKey, std::uint32_t pointKey,
                const void* object) noexcept override;

  /// Dumps the adapter's own log; an attached one is left alone.
  void Dump(std::ostream& stream) noexcept override;

  /// Dumps the adapter's own log into its fixed file; an attached one is left alone.
  bool DumpToFile() noexcept override;

  /// Mirrors what follows into the log of another `MKLoggerAdapter`, and copies the names
  /// registered so far into it. Each of the two logs gets a Log_module_added event that shows the
  /// other's address; a log attached before is replaced without an event. Two threads that attach
  /// two logs to each other at the same time would wait for each other forever.
  ///
  /// @param other  null, or a logger of another type, detaches: each of the two logs gets a
  ///               Log_module_removed event. With nothing attached nothing happens
  void Attach(MFlowLoggerImplementation* other) noexcept override;

  void RegisterClassName(const void* classKey, const wchar_t* name) noexcept override;
  void RegisterPointName(const void* classKey, const void* pointKey,
                         const wchar_t* name) noexcept override;
  void RegisterObjectName(const void* object, const wchar_t* name) noexcept override;
  void RegisterThreadName(const wchar_t* name) noexcept override;
  void RegisterStateName(const void* classKey, std::uint32_t state,
                         const wchar_t* name) noexcept override;
  void RegisterErrorName(const void* errorKey, const wchar_t* name) noexcept override;
  void RegisterMessageName(std::uint32_t messageKey, const wchar_t* name) noexcept override;

 private:
  template <typename Enter>
  void Register(const wchar_t* name, Enter enter) noexcept;

  KLogger* core;
  std::atomic<KLogger*> attached{nullptr};
};

VELTA_EXPORTS_END
