#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "app/Interrupts.h"

namespace vesk::app {

struct Typed {
  enum class Kind {
    line,
    interrupt,  // Ctrl-C
    end,        // of the input; it stays so
    nothing,    // the time is up
  };
  Kind kind = Kind::nothing;
  std::string line = {};  // well-formed UTF-8
};

// The lines that are typed at the terminal.
class TypedLines {
 public:
  explicit TypedLines(const Interrupts& interrupts) : interrupts_(interrupts) {}

  // Waits for the next line, Ctrl-C or the end. Throws FileError when the input can't be read.
  Typed next(std::optional<std::chrono::milliseconds> time = {});

 private:
  std::optional<std::string> takeLine();
  void read();

  const Interrupts& interrupts_;
  std::string rest_;  // what was read and not handed out
  bool isEnded_ = false;
};

}  // namespace vesk::app
