// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace Velta::Simulation {

/// Events and threads of one run, every call for them with its begin and end, and the question
/// whether some order of the calls explains all results: a call takes effect at one moment between
/// its begin and its end. That covers lost and doubled signals, the lowest index, closed handles,
/// and waits that sleep on although they could end.
class History {
 public:
  enum class Reset : bool { Manual, Automatic };

  /// Long, in virtual time: who still waits after `Settle` waits for what never came.
  static constexpr DWORD kLong = 3'600'000;

  History() = default;
  History(const History&) = delete;
  History& operator=(const History&) = delete;
  ~History();

  /// @return its number
  int MakeEvent(Reset reset, bool signalled = false);
  /// A thread that does nothing and ends.
  int MakeThread();

  void Set(int object);
  void ResetEvent(int object);
  void Close(int object);
  DWORD Wait(std::initializer_list<int> objects, DWORD milliseconds = kLong);

  /// Waits until all others rest, looks for the order, and lets those end that still wait. For the
  /// owner of the run.
  void Settle();

 private:
  enum class Kind : std::uint8_t { Set, Reset, Close, Wait, ThreadEnd };

  struct Object {
    HANDLE handle;
    bool isThread;
    bool isManual;
    bool isSignalled;
  };

  struct Call {
    Kind kind;
    std::vector<int> objects;
    DWORD milliseconds;
    DWORD result = WAIT_FAILED;
    std::uint32_t begin = 0;
    std::uint32_t end = UINT32_MAX;
    std::int64_t since = 0;  // virtual time
  };

  /// Two bits an object: signalled, closed.
  using State = std::uint64_t;

  std::size_t Begin(Kind kind, std::initializer_list<int> objects, DWORD milliseconds = 0);
  void End(std::size_t call, DWORD result);
  [[nodiscard]] bool IsSignalled(State state, int object) const;
  [[nodiscard]] bool Apply(const Call& call, State* state) const;
  [[nodiscard]] bool IsExplained(std::uint64_t done, State state,
                                 std::map<std::uint64_t, std::vector<State>>* seen) const;
  [[nodiscard]] std::string Describe() const;

  std::vector<Object> objects_;
  std::vector<Call> calls_;
  std::uint32_t moment_ = 0;
};

}  // namespace Velta::Simulation
