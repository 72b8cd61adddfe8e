// SPDX-License-Identifier: MIT
// The process's log and the handles to it: made on first use, in whatever order static initialisers
// ask for them. Two threads that race for a first use may each make one; the last one stored stays
// and the other is never freed, since it may be in use. A handle is stored with release and loaded
// with acquire: who finds it finds what it points to constructed.
#include "velta/logging/internal/ProcessLog.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MKLoggerAdapter.h"

#include <atomic>
#include <new>

namespace Velta::Logging::ProcessLog {

constinit std::atomic<KLogger*> core{nullptr};
constinit std::atomic<MKLoggerAdapter*> adapter{nullptr};
constinit std::atomic<MFlowLogger*> logger{nullptr};
constinit std::atomic<MDiagnosticsRegistry*> registry{nullptr};

}  // namespace Velta::Logging::ProcessLog

using namespace Velta::Logging;

namespace {

template <typename T, typename Make>
T* GetOrMake(std::atomic<T*>& place, Make make) noexcept {
  T* present = place.load(std::memory_order_acquire);
  if (present == nullptr) {
    try {
      present = make();
    } catch (...) {  // out of memory: the next request tries again
    }
    if (present != nullptr) {
      place.store(present, std::memory_order_release);
    }
  }
  return present;
}

}  // namespace

KLogger* KLogger::Instance() noexcept {
  return GetOrMake(ProcessLog::core, [] { return new KLogger; });
}

MKLoggerAdapter* MKLoggerAdapter::Instance() noexcept {
  return GetOrMake(ProcessLog::adapter, []() -> MKLoggerAdapter* {
    KLogger* const log = KLogger::Instance();
    return log != nullptr ? new MKLoggerAdapter(log) : nullptr;
  });
}

MFlowLogger* MFlowLogger::Instance() noexcept {
  return GetOrMake(ProcessLog::logger, []() -> MFlowLogger* {
    MKLoggerAdapter* const adapter = MKLoggerAdapter::Instance();
    return adapter != nullptr ? new MFlowLogger(adapter) : nullptr;
  });
}

MDiagnosticsRegistry* MDiagnosticsRegistry::Instance() noexcept {
  return GetOrMake(ProcessLog::registry, []() -> MDiagnosticsRegistry* {
    MKLoggerAdapter* const adapter = MKLoggerAdapter::Instance();
    return adapter != nullptr ? new MDiagnosticsRegistry(adapter) : nullptr;
  });
}

namespace {

// The log exists once the first of these has run.
struct AdapterInitialiser {
  AdapterInitialiser() noexcept {
    if (MDiagnosticsRegistryImplementation* const registry = MKLoggerAdapter::Instance()) {
      registry->RegisterObjectName(this, L"MKLoggerAdapter initialiser");
    }
  }
  AdapterInitialiser(const AdapterInitialiser&) = delete;
  AdapterInitialiser& operator=(const AdapterInitialiser&) = delete;

  // The exit handler. Nothing of the log is undone: destructors that run later still log.
  ~AdapterInitialiser() {}  // NOLINT(modernize-use-equals-default)
};
const AdapterInitialiser adapterInitialiser;

struct CoreInitialiser {
  CoreInitialiser() noexcept {
    KLogger::RegisterObjectName(KLogger::Instance(), this, "KLogger initialiser");
  }
};
const CoreInitialiser coreInitialiser;

// Names of the stream interfaces that hosts log under, registered for them.
const wchar_t InputStream[] = L"InputStream";
const wchar_t OutputStream[] = L"OutputStream";
const wchar_t Streamable[] = L"Streamable";
const wchar_t TInputStream[] = L"TInputStream";
const wchar_t TOutputStream[] = L"TOutputStream";
const wchar_t TStreamable[] = L"TStreamable";
const ClassNameRegistration streamRegistrations[] = {
    ClassNameRegistration(InputStream),   ClassNameRegistration(OutputStream),
    ClassNameRegistration(Streamable),    ClassNameRegistration(TInputStream),
    ClassNameRegistration(TOutputStream), ClassNameRegistration(TStreamable)};

}  // namespace
