// SPDX-License-Identifier: MIT
#include "Kit.h"

#include "Platform.h"
#include "velta/errors/MError.h"
#include "velta/logging/KLogger.h"

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <map>

namespace Velta::Simulation {

namespace {

std::string Narrow(const MString& text) { return {text.begin(), text.end()}; }

/// The scopes that the thread has open, by the log. For a process that has run one schedule: the
/// log has its records only.
std::string OpenScopes(const Thread& thread) {
  std::map<unsigned long, std::vector<std::string>> scopes;
  const KLogger* const log = KLogger::Instance();
  std::string record;
  for (std::uint32_t i = 0; log != nullptr && !(record = log->FormatRecord(i, 0)).empty(); ++i) {
    char kind[32];
    char owner[64];
    char operation[64];
    constexpr std::string_view kThread = " in_thread ";
    const std::size_t threadAt = record.find(kThread);
    if (threadAt == std::string::npos ||
        std::sscanf(record.c_str(), "%% %31s in_class %63s at %63s", kind, owner, operation) != 3) {
      continue;
    }
    const unsigned long id = std::stoul(record.substr(threadAt + kThread.size()));
    if (kind == std::string_view("Scope_push")) {
      scopes[id].push_back(std::string(owner) + "." + operation);
    } else if (kind == std::string_view("Scope_pop") && !scopes[id].empty()) {
      scopes[id].pop_back();
    }
    if (i + 1 == KLogger::kCapacity) {
      break;
    }
  }
  std::string text;
  for (const std::string& scope : scopes[thread.id]) {
    text += (text.empty() ? ", in " : " > ") + scope;
  }
  return text;
}

[[noreturn]] void OnTerminate() noexcept {
  std::string name = "an exception of another type";
  try {
    if (const std::exception_ptr exception = std::current_exception()) {
      std::rethrow_exception(exception);
    }
  } catch (const MException& exception) {
    name = exception.GetErrorCount() > 0 ? Narrow(exception.GetError(0)->GetCode()) : "no error";
  } catch (...) {
  }
  if (Scheduler* const scheduler = Scheduler::Current()) {
    scheduler->Fail("uncaught exception: %s", name.c_str());
  }
  std::abort();
}

}  // namespace

void Check(bool condition, const char* format, ...) {
  if (!condition) {
    va_list arguments;
    va_start(arguments, format);
    char text[sizeof(Record::verdict)];
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    Scheduler::Current()->Fail("%s", text);
  }
}

Actor::Actor(const char* name, std::function<void()> action)
    : action_(std::move(action)),
      thread_(&Scheduler::Current()->Spawn(
          name, {[](void* actor) { static_cast<Actor*>(actor)->action_(); }, [](void*) {}, this})) {
}

void Actor::Join() const {
  Scheduler::Current()->Wait(
      "joins an actor", 0,
      {[this] { return thread_->ended; },
       [this] { return "the end of thread " + std::to_string(thread_->number); }});
}

Error Call(const char* operation, std::string_view documented, const std::function<void()>& call) {
  Error error;
  try {
    call();
    return error;
  } catch (const MException& exception) {
    Check(exception.GetErrorCount() == 1, "%s raised a chain", operation);
    const std::string code = Narrow(exception.GetError(0)->GetCode());
    error.name = code.substr(code.find(':') + 1);
    for (const auto& [name, value] : exception.GetError(0)->GetParameters()) {
      if (name == L"winErrorCode") {
        error.winErrorCode = Narrow(value);
      }
    }
  }
  const std::string all = "|" + std::string(documented) + "|";
  Check(documented == "*" || all.find("|" + error.name + "|") != std::string::npos,
        "%s was told \"%s\"", operation, error.name.c_str());
  return error;
}

Scenario InRun(std::string name, std::function<void()> body) {
  Scheduler::describeThread = &OpenScopes;
  return {std::move(name),
          [body = std::move(body)] {
            std::set_terminate(&OnTerminate);
            Platform::BeginRun();
            body();
            Scheduler::Current()->WaitForOthers("all end", true);
            Platform::EndRun();
          },
          ""};
}

}  // namespace Velta::Simulation
