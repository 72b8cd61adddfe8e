// SPDX-License-Identifier: MIT
#define PLUGIN_BUILDING  // exports what others import
#include "modules_plugin.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"

#include <memory>

namespace {

const wchar_t ClassName[] = L"Measurement";
const Velta::Logging::ClassNameRegistration registration(ClassName);

class Measurement final : public MCommandSynchronous {
 public:
  Measurement(const MExceptionHolder& outcome, std::uint32_t channel)
      : MCommandSynchronous(outcome), channel_(channel) {}

 private:
  void Execute() override {
    static MFlowPoint point(ClassName, L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    if (channel_ > 3) {
      point.At(this).Raise(L"NoSuchChannel", L"channel", channel_);
    }
  }

  std::uint32_t channel_;
};

}  // namespace

std::unique_ptr<MCommandSynchronous> NewMeasurement(const MExceptionHolder& outcome,
                                                    std::uint32_t channel) {
  return std::make_unique<Measurement>(outcome, channel);
}
