#pragma once

#include "app/Terminal.h"
#include "core/mail/MailEngine.h"

namespace vesk::app {

// Shows how far the fetching of mail is: on a terminal, in one line that is written over; else in a line for each
// folder once it is there.
class MailProgressBar {
 public:
  explicit MailProgressBar(const Terminal& terminal) : terminal_(terminal) {}
  ~MailProgressBar();
  MailProgressBar(const MailProgressBar&) = delete;
  MailProgressBar& operator=(const MailProgressBar&) = delete;

  void show(const MailProgress& progress);

  // Takes the line away.
  void end();

 private:
  const Terminal terminal_;
  bool isShown_ = false;
};

}  // namespace vesk::app
