#include "app/WaitingLine.h"

#include <cstdio>

#include "app/Terminal.h"

namespace vesk::app {

namespace {

constexpr const char* cleared = "\r\x1b[K";

}  // namespace

WaitingLine::WaitingLine() : width_(Terminal::ofStandardOutput().width) {}

WaitingLine::WaitingLine(std::string_view text) : WaitingLine() { show(text); }

// Whoever waits may be leaving with an error of its own.
WaitingLine::~WaitingLine() {
  if (isShown_) std::fputs(cleared, stdout);
}

void WaitingLine::show(std::string_view text) {
  if (!width_) return;
  print("{}{}", cleared, shortened(safe(text), *width_ - 1));
  flush();
  isShown_ = true;
}

}  // namespace vesk::app
