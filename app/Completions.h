#pragma once

#include <string>

#include "app/CommandTree.h"

// Scripts that teach a shell to complete the commands of `vesk`, their options, and the values of those that have few.
namespace vesk::app::completions {

std::string forBash(const DescribedCommand& program);
std::string forZsh(const DescribedCommand& program);
std::string forFish(const DescribedCommand& program);

}  // namespace vesk::app::completions
