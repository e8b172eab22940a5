#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/mail/WipedText.h"

namespace vesk {

// A command for an IMAP server. Whatever its arguments hold, it is one command on the wire. As one of them may be a
// password, its memory is overwritten when it goes.
class IMAPCommand {
 public:
  // What is sent at once. A part that ends in a literal waits for the server's "+" before its literal.
  struct Part {
    WipedText line = {};  // without CRLF
    std::string_view literal = {};
    bool endsInLiteral = false;
  };

  // The text, which goes out as it stands, comes from this program.
  IMAPCommand(std::string tag, std::string_view text);

  // Adds a space and that argument. Text is quoted, or made a literal where quotes can't hold it; a NUL throws
  // MailError, as IMAP has no way to send one. A literal's bytes aren't copied: they have to outlive the command.
  IMAPCommand& word(std::string_view text);
  IMAPCommand& string(std::string_view value);
  IMAPCommand& literal(std::string_view bytes);

  const std::string& tag() const { return tag_; }
  const std::vector<Part>& parts() const { return parts_; }

 private:
  std::string tag_;
  std::vector<Part> parts_;
};

namespace imap {

// `"value"`, with backslashes where they are needed. For values without line breaks.
WipedText quoted(std::string_view value);

// "3:5,9:10,12" of 5, 3, 4, 9, 10, 12, in as many pieces as servers take well: one command may not be too long, nor its
// answer. None of nothing.
std::vector<std::string> uidSets(std::vector<std::uint32_t> uids);

// "05-Nov-2026"
std::string date(Day day);

// "(\Seen $Forwarded)". Throws MailError when one of them is no flag.
std::string flagList(const std::vector<std::string>& flags);

}  // namespace imap

}  // namespace vesk
