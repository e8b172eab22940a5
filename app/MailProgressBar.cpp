#include "app/MailProgressBar.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>

#include <fmt/format.h>

namespace vesk::app {

namespace {

constexpr std::size_t barWidth = 20;
constexpr std::size_t folderWidth = 24;

// "INBOX  ████░░░░  1200 of 5000"
std::string lineFor(const MailProgress& progress) {
  const std::size_t filled = progress.total == 0 ? barWidth : progress.done * barWidth / progress.total;
  std::string bar;
  for (std::size_t i = 0; i < barWidth; ++i) bar += i < filled ? "█" : "░";
  return fmt::format("{}  {}  {} of {}", shortened(safe(progress.folder), folderWidth), bar, progress.done,
                     progress.total);
}

}  // namespace

MailProgressBar::~MailProgressBar() {
  try {
    end();
  } catch (const std::exception&) {  // there is nobody left to see it
  }
}

void MailProgressBar::show(const MailProgress& progress) {
  if (terminal_.width) {
    write("\r\x1b[K" + shortened(lineFor(progress), *terminal_.width - std::min<std::size_t>(*terminal_.width, 1)));
    isShown_ = true;
  } else if (progress.done >= progress.total) {
    print("{}: {} fetched\n", safe(progress.folder), counted(progress.total, "mail"));
  }
  flush();
}

void MailProgressBar::end() {
  if (isShown_) write("\r\x1b[K");
  isShown_ = false;
  flush();
}

}  // namespace vesk::app
