#include <chrono>
#include <glib.h>
#include <gmime/gmime.h>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <rapidcheck/gtest.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/MessageID.h"
#include "core/mail/OutgoingMessage.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;

const MailAccount ana{.address = "ana@example.org", .name = "Ana"};
const Timestamp now = std::chrono::sys_days(2026y / 11 / 5) + 9h + 19min + 29s;

OutgoingMessage written(const MailDraft& draft, const MailAccount& sender = ana) {
  return outgoingMessage(draft, sender, "<1@example.org>", now, Calendar("Europe/Paris"));
}

TEST(OutgoingMessage, IsWrittenAsMailIs) {
  const MailDraft draft{.to = {{"Silva, Rui", "rui@example.org"}, {"", "eva@example.org"}},
                        .cc = {{"José", "ze@example.org"}, {"", "EVA@example.org"}},
                        .bcc = {{"", "secret@example.org"}},
                        .subject = "Compost",
                        .body = "The compost is ready.\r\n.\n\nAna",
                        .inReplyTo = "<0@x>",
                        .references = "junk <a@x> <b@x>\r\n <0@x>"};
  const OutgoingMessage message = written(draft);
  EXPECT_EQ(message.text,
            "Date: Thu, 05 Nov 2026 10:19:29 +0100\r\n"
            "From: Ana <ana@example.org>\r\n"
            "To: \"Silva, Rui\" <rui@example.org>, eva@example.org\r\n"
            "Cc: =?utf-8?Q?Jos=C3=A9?= <ze@example.org>, EVA@example.org\r\n"
            "Subject: Compost\r\n"
            "Message-ID: <1@example.org>\r\n"
            "In-Reply-To: <0@x>\r\n"
            "References: <a@x> <b@x> <0@x>\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "Content-Transfer-Encoding: 7bit\r\n"
            "\r\n"
            "The compost is ready.\r\n.\r\n\r\nAna\r\n");
  // Too long a word once it is in quotes.
  const MailAddress person{std::string(59, 'z') + ".", "rui@example.org"};
  EXPECT_EQ(MIME::parse(written({.to = {person}}).text).to.at(0), person);
  EXPECT_EQ(message.sender, "ana@example.org");
  EXPECT_EQ(message.recipients,
            (std::vector<std::string>{"rui@example.org", "eva@example.org", "ze@example.org", "secret@example.org"}));
}

TEST(OutgoingMessage, NeverGetsAHeaderOfWhatIsInItsFields) {
  for (const std::string& evil : {std::string("a\r\nBcc: eve\r\n\r\nText"), std::string("a\nBcc: x"),
                                  std::string("a\rBcc: x"), std::string("a\0\r\n b", 6)}) {
    MailDraft draft{.to = {{evil, "rui@example.org"}}, .subject = evil, .body = "Text", .inReplyTo = evil};
    draft.references = "<x" + evil + "@y>";
    const std::string text = written(draft, {.address = "ana@example.org", .name = evil}).text;
    for (const auto line : text::split(std::string_view(text).substr(0, text.find("\r\n\r\n")), '\n')) {
      EXPECT_FALSE(line.starts_with("Bcc") || line.starts_with("\r")) << text;
      EXPECT_EQ(line.find('\0'), std::string_view::npos);
    }
    const ParsedMail mail = MIME::parse(text);
    EXPECT_EQ(mail.to.size(), 1u);
    EXPECT_EQ(mail.text, "Text\n");
    EXPECT_EQ(mail.inReplyTo + mail.references, "");
  }
  const std::vector<MailAddress> refused = {{"", "rui"},
                                            {"", "rui@example.org\r\nBcc: eve@example.org"},
                                            {"", "rui@example.org, eve@example.org"},
                                            {"", "<rui@example.org>"},
                                            {"rui@example.org", "eve@example.org"}};
  for (const MailAddress& each : refused) {
    EXPECT_THROW(written({.bcc = {each}}), Error) << each.address;
    EXPECT_THROW(written({.to = {{"", "rui@example.org"}}}, {.address = each.address, .name = each.name}), Error);
  }
  EXPECT_THROW(written({.subject = "To nobody"}), Error);
}

TEST(OutgoingMessage, GoesByTheClock) {
  struct Case {
    const char* zone;
    const char* date;
  };
  for (const Case& c : {Case{"UTC", "Thu, 05 Nov 2026 09:19:29 +0000"},
                        {"America/St_Johns", "Thu, 05 Nov 2026 05:49:29 -0330"},
                        {"Pacific/Marquesas", "Wed, 04 Nov 2026 23:49:29 -0930"},
                        {"Pacific/Kiritimati", "Thu, 05 Nov 2026 23:19:29 +1400"}}) {
    const std::string text = outgoingMessage({.to = {{"", "a@b"}}}, ana, "<1@x>", now, Calendar(c.zone)).text;
    EXPECT_EQ(text.substr(0, text.find('\r')), fmt::format("Date: {}", c.date));
    EXPECT_EQ(MIME::parse(text).date, now);
  }
}

// ---- What goes in comes out again.

// Text of all kinds that writing has to tell apart.
std::string anyText() {
  const std::vector<std::string> pieces = {"word",
                                           "a",
                                           " ",
                                           "=?utf-8?Q?x?=",
                                           "=?",
                                           "?=",
                                           "é",
                                           "ção",
                                           "汉字",
                                           "👩‍👩‍👧",
                                           "\"",
                                           "\\",
                                           "<",
                                           ">",
                                           "(",
                                           ",",
                                           ";",
                                           ":",
                                           "@",
                                           ".",
                                           "_",
                                           "=",
                                           "=41",
                                           "From ",
                                           "F",
                                           "-- ",
                                           std::string(70, 'x'),
                                           std::string(200, 'y'),
                                           "ﬁ",
                                           "\u202E",
                                           "😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀😀"};
  const auto chosen = *rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(pieces));
  std::string text;
  for (const std::string& piece : chosen) text += piece;
  return text;
}

std::string anyBody() {
  std::string body;
  const int lines = *rc::gen::inRange(0, 6);
  for (int i = 0; i < lines; ++i) {
    body += anyText();
    body += *rc::gen::element("", " ", "\t");
    body += '\n';
  }
  return body;
}

struct Release {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using Held = std::unique_ptr<Object, Release>;

std::string orEmpty(const char* text) { return text ? text : ""; }

struct Read {
  std::string subject = {};
  std::string name = {};
  std::string body = {};
};

Read readWithGMime(const std::string& text) {
  const Held<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  const Held<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  const Held<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  Read read{.subject = orEmpty(g_mime_message_get_subject(message.get()))};
  InternetAddressList* to = g_mime_message_get_to(message.get());
  read.name = orEmpty(internet_address_get_name(internet_address_list_get_address(to, 0)));
  char* const body = g_mime_text_part_get_text(GMIME_TEXT_PART(g_mime_message_get_mime_part(message.get())));
  read.body = orEmpty(body);
  std::erase(read.body, '\r');
  g_free(body);
  return read;
}

RC_GTEST_PROP(OutgoingMessage, GivesWhatWentIn, ()) {
  g_mime_init();
  const std::string subject(text::trimSpaces(anyText()));
  std::string typed = anyText();
  std::erase(typed, '@');  // a name isn't another address
  const std::string name(text::trimSpaces(typed));
  const std::string body = anyBody();
  const std::string text =
      written({.to = {{name, "rui@example.org"}, {name, "eva@example.org"}}, .subject = subject, .body = body}).text;
  RC_ASSERT(text::isAscii(text));
  for (const auto line : text::split(text, '\n')) RC_ASSERT(line.size() <= 79 && (line.empty() || line.back() == '\r'));
  const ParsedMail mail = MIME::parse(text);
  RC_ASSERT(mail.subject == subject);
  RC_ASSERT(mail.to == (std::vector<MailAddress>{{name, "rui@example.org"}, {name, "eva@example.org"}}));
  RC_ASSERT(mail.text == body);
  const Read other = readWithGMime(text);
  RC_ASSERT(other.subject == subject);
  RC_ASSERT(other.name == name);
  RC_ASSERT(other.body == body);
}

TEST(MessageID, IsReadOnlyWhereItIsOne) {
  EXPECT_EQ(messageIDsIn("<a@b><c@d> (x) <e f@g> <h@é> <i\r\n@j> <k<l@m> <> <" + std::string(300, 'x') + "> <n"),
            (std::vector<std::string>{"<a@b>", "<c@d>", "<l@m>"}));
  std::vector<std::string> thread(100);
  for (std::size_t i = 0; i < thread.size(); ++i) thread[i] = fmt::format("<{}@x>", i);
  const auto shortened = shortenedThread(thread);
  EXPECT_EQ(shortened.size(), 21u);
  EXPECT_EQ(shortened[0] + shortened[1] + shortened[20], "<0@x><80@x><99@x>");
  EXPECT_EQ(messageIDsIn(newMessageID("ana@example.org")).size(), 1u);
  EXPECT_TRUE(newMessageID("ana@münchen.example").ends_with("@vesk.invalid>"));
  EXPECT_NE(newMessageID("a@b"), newMessageID("a@b"));
}

}  // namespace
}  // namespace vesk
