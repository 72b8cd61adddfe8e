// SPDX-License-Identifier: MIT
#pragma once

#include "ContentCounter.h"
#include "Workbench.h"
#include "velta/commands/MCommandSynchronous.h"

namespace host {

/// The command by which a caller adds its totals to those of the workbench. Many callers may do so
/// at once, without a lock: commands run one at a time.
class HandOver final : public MCommandSynchronous {
 public:
  HandOver(MExceptionHolder outcome, Workbench& commandBench, const Totals& callerTotals);

 protected:
  void Execute() override;

 private:
  Workbench& bench;
  Totals totals;
};

}  // namespace host
