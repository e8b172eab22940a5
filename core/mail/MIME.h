#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Time.h"
#include "core/mail/ParsedMail.h"

// What a mail's bytes say (RFC 5322, 2045 to 2049, 2183, 2231). Everything here takes any bytes, gives UTF-8 and never
// fails: what can't be decoded is given as well as it can be. All of it takes time linear in what it is given.
namespace vesk::MIME {

// Takes a whole message apart, as a server gives it.
//
// The leaves of a kind make up one body, joined by line breaks; line breaks are "\n". HTML that no
// multipart/alternative offers as plain text, too, also stands in the text, as readers see it, unless there is no other
// text: either the text holds all that the mail says, or nothing. HTML without a charset is read in the one that its
// <meta> names.
//
// A leaf is an attachment when its disposition is other than "inline", when it is neither plain text nor HTML, or when
// it has a file name and stands in a multipart that is none of "alternative", "related" and "signed". Without any body,
// the first named text and HTML are it. A message within the message is an attachment, too. Of several fields of one
// name the first counts.
ParsedMail parse(std::string_view message);

// The decoded bytes of the attachment with this index in ParsedMail::attachments; nullopt when there is none.
std::optional<std::string> attachment(std::size_t index, std::string_view message);

// A header's value with its encoded words decoded (RFC 2047), wherever they stand: every match of
// =\?([^?\s]+)\?([bBqQ])\?([^?\s]*)\?=(\s+(?==\?))?. Characters may be cut in two between adjacent words.
std::string decodeWords(std::string_view header);

// A date as headers have it ("Tue, 1 Jul 2025 09:30:00 +0200"), without seconds, without the day of the week, in its
// obsolete forms (RFC 5322, 4.3), with comments, and as IMAP has it ("1-Jul-2025 09:30:00 +0200"). Nullopt when it is
// none of these or of a year before 1900 or after 9999; the nearest moment for what a Timestamp can't hold.
std::optional<Timestamp> date(std::string_view header);

// The text of an HTML document: a line for each block and each break, entities decoded, nothing of styles, scripts,
// the head and comments.
std::string plainText(std::string_view html);

// What a reader sees, and the number of characters that are there besides, hidden from readers but not from a program.
struct VisibleText {
  std::string text = {};
  std::size_t hidden = 0;  // white space isn't counted
  bool operator==(const VisibleText&) const = default;
};

// `text` without characters that nothing shows: zero-width ones, tags, variation selectors on their own. They stay
// where they make up letters and emoji.
VisibleText visibleText(std::string_view text);

// Likewise, on one line and without the spaces around it.
std::string visibleLine(std::string_view text);

// As plainText, and without what inline styles and attributes hide: not displayed, invisible, transparent, in letters
// of no size or in the colour of what is behind them.
VisibleText visibleTextOfHTML(std::string_view html);

// Of a mail's two bodies the plain text is read, unless it says nothing.
bool isReadAsHTML(std::string_view text, std::string_view html);

// What a reader sees of the one that is read.
VisibleText visibleBody(std::string_view text, std::string_view html);

// The beginning of a text or an HTML document, for a list: one line of at most `length` characters without tags, links
// and addresses of web pages. Goes by the first 256 KB.
std::string snippet(std::string_view text, std::size_t length);

// The same of a text that is none of HTML: its "<" and "&" stand for themselves.
std::string snippetOfText(std::string_view text, std::size_t length);

}  // namespace vesk::MIME
