// SPDX-License-Identifier: MIT
#include "velta/errors/internal/CauseChain.h"

// TODO(issue 3): read the chain through the XML filer, which does not exist yet. Until then every
// text is one that cannot be read, which leaves the error that carries it alone in the chain.
bool ReadCauseChain(const MString& /*text*/, MException& /*causes*/) { return false; }
