#pragma once

#include <string>

#include "core/base/Time.h"

namespace vesk::test {

// When the sample is looked at: a Saturday morning.
Timestamp sampleTime();

// Makes in the folder `base` all that the tools work on: "vault", a copy of the sample vault that syncs with
// "origin.git", and "support" with every switch on, a mailbox, and a meeting in which the screen is shared. All of it
// is the same each time, the dates of files and commits too. Throws when anything of it fails.
void makeSample(const std::string& base);

}  // namespace vesk::test
