// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <iostream>
#include <memory>

class Divide : public MCommandSynchronous {
 public:
  Divide(const MExceptionHolder& outcome, std::uint32_t number, std::uint32_t divisor)
      : MCommandSynchronous(outcome), a(number), b(divisor) {}

 private:
  void Execute() override {  // on the processor's thread
    static MFlowPoint point(L"Divide", L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    if (b == 0) point.At(this).Raise(L"DivisorIsZero", L"number", a);
    std::wcout << a / b << L'\n';
  }

  std::uint32_t a, b;
};

int main() {
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Divide>(outcome, 7U, 0U);
  processor.ExecuteSynchronously(command);  // waits; a failure comes back in the outcome
  processor.Stop();
  try {
    outcome.ThrowIfError();
  } catch (const MException& exception) {
    const MError& error = *exception.GetError(0);
    std::wcout << error.GetCode() << L" number=" << error.GetParameters().at(L"number") << L'\n';
  }
}
