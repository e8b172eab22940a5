#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "app/Terminal.h"

namespace vesk::app {

// An assistant's answer as the user reads it while it comes, in pieces cut anywhere. The notes that it cites as
// [[Note]] or [[Note|label]] are shown by their names, but in code. Takes linear time.
class AnswerText {
 public:
  // Beside a meeting, what the assistant writes for Vesk alone isn't shown: <proposal>…</proposal>, <tasks>…</tasks>
  // and <nothing/>.
  AnswerText(const Terminal& terminal, bool isOfMeeting) : terminal_(terminal), isOfMeeting_(isOfMeeting) {}

  // What can be shown now. Of a citation or a tag that isn't whole yet the beginning waits, and so do line breaks.
  std::string add(std::string_view piece);

  // The rest, and the end of its line. What is added from now on is another answer.
  std::string end();

  // A whole answer beside a meeting; "" when nothing of it is shown.
  static std::string shown(std::string_view answer, const Terminal& terminal);

 private:
  // How many bytes to take of what was added, and what they show.
  struct Step {
    std::size_t taken = 0;  // 0 to wait for more
    std::string shown = {};
  };

  std::string takeSteps();
  Step nextStep();
  Step codeMark();
  Step citation() const;
  Step tag() const;
  Step plain(std::size_t length) const;
  bool isInCode() const { return fence_ > 0 || span_ > 0; }
  void put(std::string_view text, std::string& shown);
  std::string_view rest() const { return std::string_view(held_).substr(taken_); }

  Terminal terminal_;
  bool isOfMeeting_;
  std::string held_;       // what was added and isn't shown
  std::size_t taken_ = 0;  // bytes of it that were
  bool isWhole_ = false;   // no more will be added
  bool hasShown_ = false;  // something of this answer
  bool isLineStart_ = true;
  std::size_t breaks_ = 0;  // line breaks that wait for something to follow
  std::size_t span_ = 0;    // the backticks that opened the code in this line
  std::size_t fence_ = 0;   // likewise of a block of code
  char fenceMark_ = '`';
};

}  // namespace vesk::app
