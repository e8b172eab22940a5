#pragma once

#include "core/base/Error.h"

namespace vesk {

// A failure of a tool, as a sentence for the assistant: what is wrong and, where it can, what to do next.
class ToolError : public Error {
 public:
  using Error::Error;
};

}  // namespace vesk
