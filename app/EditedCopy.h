#pragma once

#include <string>
#include <string_view>

namespace vesk::app {

// A copy of a text that the user changes in an editor of their own. It lies in a folder that only they can read, below
// the support directory, and stays there unless it is discarded: what was written is never lost.
class EditedCopy {
 public:
  // `name` is the file's, by which an editor tells what kind of text it is. Throws Error when no editor is set ($VISUAL
  // or $EDITOR).
  EditedCopy(std::string_view text, const std::string& name);

  const std::string& path() const { return path_; }

  // Opens the copy in the editor, which has the terminal until it ends. Returns what the copy holds then. Throws Error
  // when the editor can't be started or fails, or the text isn't UTF-8 any more.
  std::string edit() const;

  // Removes the copy, and what the editor has left beside it.
  void discard() const;

  // Likewise, when it holds what it did at first; false, and nothing done, when it doesn't.
  bool discardUnchanged() const;

 private:
  std::string read() const;

  std::string editor_;  // a command
  std::string text_;    // at first
  std::string folder_;
  std::string path_;
};

}  // namespace vesk::app
