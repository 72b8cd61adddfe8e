// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

/// Gives up the superuser's rights for one scope, so that permissions count. POSIX only.
///
/// Declare it before whatever creates files: those of the superuser could not even be read.
class OrdinaryUser {
 public:
  OrdinaryUser() : wasSuperuser(::geteuid() == 0 && ::seteuid(kNobody) == 0) {}
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  ~OrdinaryUser() {
    // Failing, it would only leave fewer rights.
    if (wasSuperuser) {
      static_cast<void>(::seteuid(0) == 0);
    }
  }

 private:
  static constexpr uid_t kNobody = 65534;
  const bool wasSuperuser;
};
