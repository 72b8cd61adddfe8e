// SPDX-License-Identifier: MIT
// A value in the registry through the filers, beside the same system calls made by hand.
#include "velta/platform/internal/Win32.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

namespace {

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

/// A store for this process, in memory where the system has such a place: a disk would be measured
/// otherwise.
class Store {
 public:
  Store() {
    const bool inMemory = std::filesystem::is_directory("/dev/shm");
    std::string pattern = inMemory ? "/dev/shm/velta-XXXXXX" : "/tmp/velta-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    place = pattern;
    ::setenv("VELTA_REGISTRY", place.c_str(), 1);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() {
    std::error_code ignored;
    std::filesystem::remove_all(place, ignored);
  }

 private:
  std::filesystem::path place;
};

const Store store;

HKEY Open(HKEY parent, const wchar_t* name, REGSAM access) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(parent, name, 0, access, &key) != ERROR_SUCCESS) {
    std::abort();
  }
  return key;
}

HKEY Create(HKEY parent, const wchar_t* name) {
  HKEY key = nullptr;
  if (::RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, kReadWrite, nullptr,
                        &key, nullptr) != ERROR_SUCCESS) {
    std::abort();
  }
  return key;
}

/// The key of a group, opened as the filers do.
class GroupKey {
 public:
  explicit GroupKey(bool writing)
      : base(Open(HKEY_CURRENT_USER, L"Software", kReadWrite)),
        company(Create(base, L"Velta")),
        application(Create(company, L"Bench")),
        group(writing ? Create(application, L"Panel\\Layout")
                      : Open(application, L"Panel\\Layout", KEY_READ)) {}
  GroupKey(const GroupKey&) = delete;
  GroupKey& operator=(const GroupKey&) = delete;
  ~GroupKey() {
    for (const HKEY key : {group, application, company, base}) {
      ::RegCloseKey(key);
    }
  }
  operator HKEY() const { return group; }

 private:
  const HKEY base;
  const HKEY company;
  const HKEY application;
  const HKEY group;
};

template <class Filer>
void Enter(Filer& filer) {
  if (!filer.BeginGroup(L"Panel") || !filer.BeginGroup(L"Layout")) {
    std::abort();
  }
}

void Check(benchmark::State& state, bool done) {
  if (!done) {
    state.SkipWithError("failed");
  }
}

void WriteByHand(benchmark::State& state, DWORD type, const void* data, DWORD size) {
  for (auto _ : state) {
    const GroupKey key(true);
    Check(state, ::RegSetValueExW(key, L"Value", 0, type, static_cast<const BYTE*>(data), size) ==
                     ERROR_SUCCESS);
  }
}

void RegistryWriteIntByHand(benchmark::State& state) {
  const std::int32_t value = 42;
  WriteByHand(state, REG_DWORD, &value, sizeof value);
}

void RegistryWriteIntVelta(benchmark::State& state) {
  IOutFilerTaggedRegistry filer(L"Bench");
  Enter(filer);
  for (auto _ : state) {
    Check(state, filer.WriteInt(L"Value", 42));
  }
}

void RegistryWriteDoubleByHand(benchmark::State& state) {
  const std::wstring text = L"1.50000000000000e+00";
  WriteByHand(state, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void RegistryWriteDoubleVelta(benchmark::State& state) {
  IOutFilerTaggedRegistry filer(L"Bench");
  Enter(filer);
  for (auto _ : state) {
    Check(state, filer.WriteDouble(L"Value", 1.5));
  }
}

void RegistryReadIntByHand(benchmark::State& state) {
  {
    const std::int32_t value = 42;
    const GroupKey key(true);
    Check(state, ::RegSetValueExW(key, L"Value", 0, REG_DWORD,
                                  reinterpret_cast<const BYTE*>(&value), sizeof value) == 0);
  }
  for (auto _ : state) {
    const GroupKey key(false);
    BYTE data[4];
    DWORD size = sizeof data;
    Check(state, ::RegQueryValueExW(key, L"Value", nullptr, nullptr, data, &size) == ERROR_SUCCESS);
    benchmark::DoNotOptimize(data);
  }
}

void RegistryReadIntVelta(benchmark::State& state) {
  IOutFilerTaggedRegistry writer(L"Bench");
  Enter(writer);
  Check(state, writer.WriteInt(L"Value", 42));
  IInFilerTaggedRegistry filer(L"Bench", false);
  Enter(filer);
  for (auto _ : state) {
    std::int32_t value = 0;
    Check(state, filer.ReadInt(L"Value", &value, 0));
    benchmark::DoNotOptimize(value);
  }
}

void RegistryReadDoubleByHand(benchmark::State& state) {
  {
    IOutFilerTaggedRegistry writer(L"Bench");
    Enter(writer);
    Check(state, writer.WriteDouble(L"Value", 1.5));
  }
  for (auto _ : state) {
    const GroupKey key(false);
    wchar_t data[64];
    DWORD size = 0;
    Check(state,
          ::RegQueryValueExW(key, L"Value", nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS &&
              ::RegQueryValueExW(key, L"Value", nullptr, nullptr, reinterpret_cast<BYTE*>(data),
                                 &size) == ERROR_SUCCESS);
    benchmark::DoNotOptimize(data);
  }
}

void RegistryReadDoubleVelta(benchmark::State& state) {
  IOutFilerTaggedRegistry writer(L"Bench");
  Enter(writer);
  Check(state, writer.WriteDouble(L"Value", 1.5));
  IInFilerTaggedRegistry filer(L"Bench", false);
  Enter(filer);
  for (auto _ : state) {
    double value = 0.0;
    Check(state, filer.ReadDouble(L"Value", &value, 0.0));
    benchmark::DoNotOptimize(value);
  }
}

BENCHMARK(RegistryWriteIntByHand);
BENCHMARK(RegistryWriteIntVelta);
BENCHMARK(RegistryWriteDoubleByHand);
BENCHMARK(RegistryWriteDoubleVelta);
BENCHMARK(RegistryReadIntByHand);
BENCHMARK(RegistryReadIntVelta);
BENCHMARK(RegistryReadDoubleByHand);
BENCHMARK(RegistryReadDoubleVelta);

}  // namespace
