// SPDX-License-Identifier: MIT
// Uses every room of the framework once, as a host that has only what is installed.
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstdio>
#include <memory>
#include <sstream>

namespace {

class Fail : public MCommandSynchronous {
 public:
  explicit Fail(const MExceptionHolder& outcome) : MCommandSynchronous(outcome) {}

 private:
  void Execute() override {
    static MFlowPoint point(L"Fail", L"Execute");
    point.At(this).Raise(L"Asked", L"answer", 42U);
  }
};

/// The failure of a command, through its text form and back.
MException FailAndStore() {
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Fail>(outcome);
  processor.ExecuteSynchronously(command);
  processor.Stop();

  MOutFilerTaggedXml writer(L"Stored", L"");
  MString text;
  try {
    outcome.ThrowIfError();
  } catch (const MException& failure) {
    if (!failure.Write(writer, L"Failure") || !writer.GetText(&text)) {
      text.clear();
    }
  }
  MInFilerTaggedXml reader(text, L"Stored", L"");
  MException read;
  if (!reader.BeginGroup(L"Failure") || !read.Read(reader, L"Failure")) {
    read.Clear();
  }
  return read;
}

}  // namespace

int main() {
  const MException failure = FailAndStore();
  std::ostringstream dump;
  MFlowLogger::Instance()->Dump(dump);
  const bool logged = dump.str().find("Root_error Asked in_class") != std::string::npos;
  const MError* const error = failure.GetError(0);
  if (error == nullptr || error->GetCode() != L"Fail.Execute:Asked" || !logged) {
    return 1;
  }
  std::printf("%ls answer=%ls\n", error->GetCode().c_str(),
              error->GetParameters().at(L"answer").c_str());
}
