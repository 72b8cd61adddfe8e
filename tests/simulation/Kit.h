// SPDX-License-Identifier: MIT
#pragma once

#include "Campaign.h"
#include "Scheduler.h"
#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MException.h"
#include "velta/platform/internal/Win32.h"
#include "velta/threads/MCallbackFunctor.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What scenarios are made of.
namespace Velta::Simulation {

/// Fails the run, with a verdict in the manner of printf, unless the condition holds.
[[gnu::format(printf, 2, 3)]] void Check(bool condition, const char* format, ...);

/// A thread of the scenario itself. Joined by its destructor.
class Actor {
 public:
  Actor(const char* name, std::function<void()> action);
  Actor(const Actor&) = delete;
  Actor& operator=(const Actor&) = delete;
  ~Actor() { Join(); }

  void Join() const;
  [[nodiscard]] bool HasEnded() const { return thread_->ended; }

 private:
  std::function<void()> action_;
  const Thread* thread_;
};

class Event {
 public:
  Event() : handle_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { ::CloseHandle(handle_); }

  void Set() const { ::SetEvent(handle_); }
  void Wait() const { ::WaitForSingleObject(handle_, INFINITE); }
  [[nodiscard]] HANDLE handle() const { return handle_; }

 private:
  HANDLE handle_;
};

class Callback final : public MCallbackFunctor {
 public:
  explicit Callback(std::function<void()> action) : action_(std::move(action)) {}
  void operator()() override { action_(); }

 private:
  std::function<void()> action_;
};

struct Error {
  std::string name;          // empty: none
  std::string winErrorCode;  // the parameter, if it has one
};

/// Makes a call that may raise one of the errors `documented` ("A|B"; "*": any), no other.
Error Call(const char* operation, std::string_view documented, const std::function<void()>& call);

/// Runs a scenario's body between the begin and the end of a run of the platform.
Scenario InRun(std::string name, std::function<void()> body);

void AddProcessorScenarios(std::vector<Scenario>& scenarios);
void AddSchedulerScenarios(std::vector<Scenario>& scenarios);
/// Scenarios with a fault of their own, each with the verdict that it must get.
void AddPlantedFaults(std::vector<Scenario>& scenarios);

}  // namespace Velta::Simulation
