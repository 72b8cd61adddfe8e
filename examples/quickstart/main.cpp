// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <iostream>
#include <memory>

class Divide : public MCommandSynchronous {  // runs on the processor's thread
 public:
  Divide(const MExceptionHolder& outcome, std::uint32_t a, std::uint32_t b)
      : MCommandSynchronous(outcome), dividend(a), divisor(b) {}

 protected:
  void Execute() override {
    static MFlowPoint point(L"Divide", L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();  // two events in the log
    if (divisor == 0) point.At(this).Raise(L"DivisorIsZero", L"dividend", dividend);
    std::wcout << dividend / divisor << L'\n';
  }

 private:
  std::uint32_t dividend, divisor;
};

int main() {
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  for (const std::uint32_t divisor : {2U, 0U}) {
    const MExceptionHolder outcome = MExceptionHolder::Create();
    std::unique_ptr<MCommandSynchronous> command = std::make_unique<Divide>(outcome, 7U, divisor);
    processor.ExecuteSynchronously(command);  // waits; a failure comes back in the outcome
    try {
      outcome.ThrowIfError();
    } catch (const MException& exception) {
      const MError& error = *exception.GetError(0);
      std::wcout << error.GetCode();
      for (const auto& [name, text] : error.GetParameters())
        std::wcout << ' ' << name << '=' << text;
      std::wcout << L'\n';
    }
  }
  processor.Stop();
}
