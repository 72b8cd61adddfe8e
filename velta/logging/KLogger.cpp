// SPDX-License-Identifier: MIT
#include "velta/logging/KLogger.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/internal/EventTable.h"
#include "velta/logging/internal/KLockHolder.h"
#include "velta/logging/internal/KLogWords.h"
#include "velta/platform/internal/Win32.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

using namespace Velta::Logging;

namespace {

const wchar_t ClassName[] = L"KLogger";
const ClassNameRegistration registration(ClassName);

template <typename Table>
void Insert(Table& table, typename Table::key_type key, std::string_view name) noexcept {
  try {
    table.try_emplace(key, name);
  } catch (...) {  // out of memory: the key stays unnamed
  }
}

template <typename Table>
void Merge(const Table& from, Table& into) noexcept {
  try {
    into.insert(from.begin(), from.end());
  } catch (...) {  // out of memory: the rest of this table is not copied
  }
}

}  // namespace

KLogger::KLogger() {
  for (const Event& event : kEvents) {
    eventNames.emplace(event.code, event.name);
  }
  LARGE_INTEGER ticks;
  ::QueryPerformanceFrequency(&ticks);
  frequency = ticks.QuadPart;
  ::QueryPerformanceCounter(&ticks);
  startCounter = ticks.QuadPart;
  __timeb64 now{};
  ::_ftime64_s(&now);
  startWallClock = {now.time, now.millitm, now.timezone, now.dstflag};
  capacity = kCapacity;
  counter.store(1, std::memory_order_relaxed);  // whoever publishes the log publishes all of it
  ready = true;
  // calloc leaves the pages untouched until records reach them.
  records = static_cast<std::uint64_t*>(
      std::calloc(kCapacity * KLogWords::kPerRecord, sizeof(std::uint64_t)));
}

KLogger::~KLogger() { std::free(records); }

void KLogger::Write(KLogger* core, std::int32_t code, std::int32_t value1, std::int32_t value2,
                    std::int32_t classKey, std::int32_t pointKey, const void* object) noexcept {
  if (core == nullptr || core->records == nullptr) {
    return;
  }
  // Acquire: after a dump the new record must not be overtaken by the dump's clearing of its slot.
  const std::uint32_t before = core->counter.fetch_add(2, std::memory_order_acq_rel);
  if ((before & 1U) == 0) {
    return;
  }
  const std::uint32_t slot = before >> 1U;
  std::uint64_t* const words = core->records + KLogWords::Offset(slot & (kCapacity - 1));
  KLogWords::FetchForWriting(core->records +
                             KLogWords::Offset((slot + KLogWords::kFetchAhead) & (kCapacity - 1)));
  LARGE_INTEGER now;
  ::QueryPerformanceCounter(&now);
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object));
  KLogWords::Store(words[0], static_cast<std::uint64_t>(now.QuadPart));
  KLogWords::Store(words[1], KLogWords::Join(code, value1));
  KLogWords::Store(words[2], KLogWords::Join(value2, classKey));
  KLogWords::Store(words[3], KLogWords::Join(pointKey, address));
  KLogWords::Store(words[4], KLogWords::Join(address >> 32U, ::GetCurrentThreadId()));
}

void KLogger::RegisterName(KLogger* core, std::int32_t key, std::string_view name) noexcept {
  if (core != nullptr) {
    const KLockHolder lock(core->namesLock_);
    Insert(core->names, key, name);
  }
}

void KLogger::RegisterStateName(KLogger* core, std::int32_t classKey, std::int32_t state,
                                std::string_view name) noexcept {
  if (core != nullptr) {
    const KLockHolder lock(core->stateNamesLock_);
    Insert(core->stateNames, StateKey(classKey, state), name);
  }
}

void KLogger::RegisterMessageName(KLogger* core, std::int32_t key, std::string_view name) noexcept {
  if (core != nullptr) {
    const KLockHolder lock(core->stateNamesLock_);
    Insert(core->stateNames, key, name);
  }
}

void KLogger::RegisterObjectName(KLogger* core, const void* object,
                                 std::string_view name) noexcept {
  if (core != nullptr) {
    const KLockHolder lock(core->objectNamesLock_);
    Insert(core->objectNames, reinterpret_cast<std::uintptr_t>(object), name);
  }
}

void KLogger::RegisterThreadName(KLogger* core, std::uint32_t threadId,
                                 std::string_view name) noexcept {
  if (core != nullptr) {
    const KLockHolder lock(core->threadNamesLock_);
    Insert(core->threadNames, static_cast<std::int32_t>(threadId), name);
  }
}

void KLogger::MergeNamesInto(KLogger* other) noexcept {
  if (other == nullptr) {
    return;
  }
  {
    const KLockHolder fromLock(threadNamesLock_);
    const KLockHolder intoLock(other->threadNamesLock_);
    Merge(threadNames, other->threadNames);
  }
  {
    const KLockHolder fromLock(namesLock_);
    const KLockHolder intoLock(other->namesLock_);
    Merge(names, other->names);
  }
  {
    const KLockHolder fromLock(stateNamesLock_);
    const KLockHolder intoLock(other->stateNamesLock_);
    Merge(stateNames, other->stateNames);
  }
  {
    const KLockHolder fromLock(objectNamesLock_);
    const KLockHolder intoLock(other->objectNamesLock_);
    Merge(objectNames, other->objectNames);
  }
}

std::int32_t KLogger::StateKey(std::int32_t classKey, std::int32_t state) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(classKey) * 100U +
                                   static_cast<std::uint32_t>(state));
}
