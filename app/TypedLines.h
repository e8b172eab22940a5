#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

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
  bool isCut = false;     // the line was too long for the terminal, which dropped its end
};

inline constexpr std::string_view cutLineComplaint =
    "The terminal takes 4,095 bytes of a line, and dropped the end of this one. Break it into lines, or save it in the "
    "vault and name the note.";

// The lines that are typed at the terminal.
class TypedLines {
 public:
  explicit TypedLines(const Interrupts& interrupts) : interrupts_(interrupts) {}

  // Waits for the next line, Ctrl-C or the end. Throws FileError when the input can't be read.
  Typed next(std::optional<std::chrono::milliseconds> time = {});

  // Drops what was typed so far: it can't be the answer to a question that is only asked now.
  void forget();

 private:
  std::optional<Typed> takeLine();
  void read();

  const Interrupts& interrupts_;
  std::string rest_;  // what was read and not handed out
  bool isEnded_ = false;
};

}  // namespace vesk::app
