// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/Describe.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <utility>

namespace {

// Adds the numbers from 1 to a limit. The caller shares the total.
class Sum : public MCommandSynchronous {
 public:
  Sum(const MExceptionHolder& outcome, std::uint32_t limit, std::shared_ptr<std::uint32_t> total)
      : MCommandSynchronous(outcome), limit_(limit), total_(std::move(total)) {}

 private:
  void Execute() override {
    static MFlowPoint point(L"Sum", L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    if (limit_ > 65535) {
      point.At(this).Raise(L"LimitTooHigh", L"limit", limit_);
    }
    *total_ = limit_ % 2 == 0 ? limit_ / 2 * (limit_ + 1) : (limit_ + 1) / 2 * limit_;
  }

  std::uint32_t limit_;
  std::shared_ptr<std::uint32_t> total_;
};

void AddUp(MCommandProcessor& processor, std::uint32_t limit) {
  const auto total = std::make_shared<std::uint32_t>();
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Sum>(outcome, limit, total);
  processor.ExecuteSynchronously(command);
  outcome.ThrowIfError();
  std::wcout << L"1 + ... + " << limit << L" = " << *total << L'\n';
}

}  // namespace

int main(int argc, char** argv) {
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  try {
    processor.Start();
    AddUp(processor, 100);
    AddUp(processor, 1000000);
  } catch (const MException& exception) {
    std::wcout << Describe(exception) << L'\n';
  }
  processor.ForceStop();

  if (argc > 1) {
    std::ofstream file(argv[1]);
    MFlowLogger::Instance()->Dump(file);
  }
}
