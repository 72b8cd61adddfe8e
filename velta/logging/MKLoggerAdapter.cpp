// SPDX-License-Identifier: MIT
#include "velta/logging/MKLoggerAdapter.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/MFlowEventKind.h"
#include "velta/logging/internal/EventTable.h"
#include "velta/logging/internal/NameKey.h"
#include "velta/logging/internal/ProcessLog.h"
#include "velta/platform/internal/ThreadName.h"
#include "velta/platform/internal/Win32.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

using namespace Velta::Logging;

namespace {

const wchar_t ClassName[] = L"MKLoggerAdapter";
const ClassNameRegistration registration(ClassName);

constexpr std::uint32_t kKindCount = static_cast<std::uint32_t>(MFlowEventKind::MessageReceive) + 1;

constexpr auto kCodeOfKind = [] {
  std::array<std::int32_t, kKindCount> codes{};
  for (const Event& event : kEvents) {
    for (std::uint32_t kind = 0; kind < kKindCount; ++kind) {
      if ((event.kinds >> kind & 1U) != 0) {
        codes[kind] = event.code;
      }
    }
  }
  return codes;
}();

constexpr bool EachKindHasOneCode() {
  std::uint32_t seen = 0;
  for (const Event& event : kEvents) {
    if ((seen & event.kinds) != 0) {
      return false;
    }
    seen |= event.kinds;
  }
  return seen == (1U << kKindCount) - 1;
}
static_assert(EachKindHasOneCode());

std::int32_t Key(const void* key) noexcept { return static_cast<std::int32_t>(NameKey(key)); }

std::string Narrow(const wchar_t* name) {
  std::string narrow;
  for (; *name != L'\0'; ++name) {
    narrow += static_cast<char>(*name & 0xFF);
  }
  return narrow;
}

}  // namespace

MKLoggerAdapter::MKLoggerAdapter(KLogger* target) noexcept : core(target) {}

MKLoggerAdapter::~MKLoggerAdapter() {
  MKLoggerAdapter* expected = this;  // null publishes nothing: no order is needed
  ProcessLog::adapter.compare_exchange_strong(expected, nullptr, std::memory_order_relaxed);
}

void MKLoggerAdapter::LogEvent(std::uint32_t kind, std::uint32_t value1, std::uint32_t value2,
                               std::uint32_t classKey, std::uint32_t pointKey,
                               const void* object) noexcept {
  const auto write = [&](KLogger* log) {
    KLogger::Write(log, kCodeOfKind[kind], static_cast<std::int32_t>(value1),
                   static_cast<std::int32_t>(value2), static_cast<std::int32_t>(classKey),
                   static_cast<std::int32_t>(pointKey), object);
  };
  write(core);
  if (KLogger* const second = attached.load(std::memory_order_acquire)) {
    write(second);
  }
}

void MKLoggerAdapter::Dump(std::ostream& stream) noexcept { KLogger::Dump(core, stream); }

bool MKLoggerAdapter::DumpToFile() noexcept {
  try {
    return core != nullptr && core->DumpToFile();
  } catch (...) {
    return false;
  }
}

void MKLoggerAdapter::Attach(MFlowLoggerImplementation* other) noexcept {
  if (const auto* const adapter = dynamic_cast<MKLoggerAdapter*>(other)) {
    KLogger* const added = adapter->core;
    KLogger::Write(core, kLogModuleAdded, 0, 0, 0, 0, added);
    attached.store(added, std::memory_order_release);
    KLogger::Write(added, kLogModuleAdded, 0, 0, 0, 0, core);
    if (core != nullptr) {
      core->MergeNamesInto(added);
    }
  } else if (KLogger* const removed = attached.load(std::memory_order_acquire)) {
    KLogger::Write(core, kLogModuleRemoved, 0, 0, 0, 0, removed);
    attached.store(nullptr, std::memory_order_release);
    KLogger::Write(removed, kLogModuleRemoved, 0, 0, 0, 0, core);
  }
}

// Calls `enter` with each log and the 8-bit name; without memory for it the name is skipped.
template <typename Enter>
void MKLoggerAdapter::Register(const wchar_t* name, Enter enter) noexcept {
  if (name == nullptr) {
    return;
  }
  try {
    const std::string narrow = Narrow(name);
    enter(core, narrow);
    if (KLogger* const second = attached.load(std::memory_order_acquire)) {
      enter(second, narrow);
    }
  } catch (...) {
  }
}

void MKLoggerAdapter::RegisterClassName(const void* classKey, const wchar_t* name) noexcept {
  Register(name, [&](KLogger* log, const std::string& narrow) {
    KLogger::RegisterName(log, Key(classKey), narrow);
  });
}

void MKLoggerAdapter::RegisterPointName(const void* /*classKey*/, const void* pointKey,
                                        const wchar_t* name) noexcept {
  Register(name, [&](KLogger* log, const std::string& narrow) {
    KLogger::RegisterName(log, Key(pointKey), narrow);
  });
}

void MKLoggerAdapter::RegisterObjectName(const void* object, const wchar_t* name) noexcept {
  Register(name, [&](KLogger* log, const std::string& narrow) {
    KLogger::RegisterObjectName(log, object, narrow);
  });
}

void MKLoggerAdapter::RegisterThreadName(const wchar_t* name) noexcept {
  Register(name, [](KLogger* log, const std::string& narrow) {
    const std::uint32_t threadId = ::GetCurrentThreadId();
    Velta::Platform::AnnounceThreadName(threadId, narrow.c_str());
    KLogger::RegisterThreadName(log, threadId, narrow);
  });
}

void MKLoggerAdapter::RegisterStateName(const void* classKey, std::uint32_t state,
                                        const wchar_t* name) noexcept {
  Register(name, [&](KLogger* log, const std::string& narrow) {
    KLogger::RegisterStateName(log, Key(classKey), static_cast<std::int32_t>(state), narrow);
  });
}

void MKLoggerAdapter::RegisterErrorName(const void* errorKey, const wchar_t* name) noexcept {
  Register(name, [&](KLogger* log, const std::string& narrow) {
    KLogger::RegisterName(log, Key(errorKey), narrow);
  });
}

void MKLoggerAdapter::RegisterMessageName(std::uint32_t messageKey, const wchar_t* name) noexcept {
  Register(name, [&](KLogger* log, const std::string& narrow) {
    KLogger::RegisterMessageName(log, static_cast<std::int32_t>(messageKey), narrow);
  });
}
