// SPDX-License-Identifier: MIT
// Any text as the cause chain of an error: what can be read of it comes first, the error last.
#include "fuzz/FuzzInput.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace {

class CarryingError : public MError {
 public:
  explicit CarryingError(MString text) : MError(L"Fuzz.Carry:Chain"), chain(std::move(text)) {}
  MString GetCauseChain() const override { return chain; }

 private:
  MString chain;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MException exception(CarryingError(FuzzInput(data, size).Text()));
  Require(exception.GetErrorCount() >= 1);
  const MError* const last = exception.GetError(exception.GetErrorCount() - 1);
  Require(last != nullptr && last->GetCode() == L"Fuzz.Carry:Chain");
  return 0;
}
