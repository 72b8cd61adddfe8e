// SPDX-License-Identifier: MIT
#pragma once

#include "ContentCounter.h"
#include "ProcessorContext.h"
#include "velta/commands/MCommandSynchronous.h"

namespace host {

/// The command by which a caller adds its totals to those of the run. Many callers may do so at
/// once, without a lock: commands run one at a time.
class AddTotals final : public MCommandSynchronous {
 public:
  AddTotals(MExceptionHolder outcome, ProcessorContext& context, const Totals& totals);

 protected:
  void Execute() override;

 private:
  ProcessorContext& context_;
  Totals totals_;
};

}  // namespace host
