#include <chrono>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "core/base/Base64.h"
#include "core/base/Charset.h"
#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/TransferEncoding.h"
#include "tests/mail/MailTexts.h"

namespace vesk {
namespace {

using namespace std::string_literals;
using test::filledWith;

// With the line breaks of the network.
std::string crlf(std::string_view text) { return text::withLineBreaks(text, "\r\n"); }

TEST(MIME, TakesMessagesApart) {
  const std::string message = crlf(R"(Received: from a (b [192.0.2.1])
	by c; Tue, 1 Jul 2025 09:30:00 +0200
From: =?iso-8859-1?Q?Jos=E9?= <jose@example.org>
To: Ana <ana@example.org>,
 bo@example.org
CC: "C, D" <c@example.org>
reply-to: list@example.org
Subject: =?utf-8?Q?Pr=C3=A9?=
 =?utf-8?Q?-plan?= and
	more
Date: Tue, 1 Jul 2025 09:30:00 +0200 (CEST)
Message-ID: <1@example.org>
In-Reply-To: <0@example.org>
References: <a@example.org>
 <0@example.org>
Subject: not this one
Content-Type: multipart/mixed; boundary="=_outer"

preamble
--=_outer
Content-Type: multipart/alternative; boundary="=_outer:inner"

--=_outer:inner
Content-Type: text/plain; charset=iso-8859-1; name=body.txt
Content-Transfer-Encoding: quoted-printable

Ol=E1, =
tudo bem?  
--not a boundary
--=_outer:inner  
Content-Type: text/html; charset="utf-8"
Content-Transfer-Encoding: base64

PHA+T2w=
w6E8L3A+
--=_outer:inner--
epilogue
--=_outer
Content-Type: text/plain; charset=utf-8
Content-Disposition: inline; filename*=utf-8''n%C3%B3s.txt

Not in the body
--=_outer
Content-Type: IMAGE/PNG; name="../a\b/c.png"
Content-Transfer-Encoding: base64

AAEC
AwQ=
--=_outer
Content-Type: message/rfc822

Subject: within

x
--=_outer

Sent from my phone
--=_outer--
)");
  const ParsedMail mail = MIME::parse(message);
  EXPECT_EQ(mail.from, (MailAddress{"José", "jose@example.org"}));
  EXPECT_EQ(mail.to, (std::vector<MailAddress>{{"Ana", "ana@example.org"}, {"", "bo@example.org"}}));
  EXPECT_EQ(mail.cc, (std::vector<MailAddress>{{"C, D", "c@example.org"}}));
  EXPECT_EQ(mail.replyTo, (std::vector<MailAddress>{{"", "list@example.org"}}));
  EXPECT_EQ(mail.subject, "Pré-plan and more");
  EXPECT_EQ(mail.date, time::parseIso8601("2025-07-01T07:30:00Z"));
  EXPECT_EQ(mail.messageID + mail.inReplyTo, "<1@example.org><0@example.org>");
  EXPECT_EQ(mail.references, "<a@example.org> <0@example.org>");
  EXPECT_EQ(mail.text, "Olá, tudo bem?\n--not a boundary\nSent from my phone");
  EXPECT_EQ(mail.html, "<p>Olá</p>");
  const std::vector<MailAttachment> attachments = {
      {"nós.txt", "text/plain", 15}, {"c.png", "image/png", 5}, {"", "message/rfc822", 20}};
  EXPECT_EQ(mail.attachments, attachments);
  EXPECT_EQ(MIME::attachment(0, message), "Not in the body");
  EXPECT_EQ(MIME::attachment(1, message), "\0\1\2\3\4"s);
  EXPECT_EQ(MIME::attachment(2, message), "Subject: within\r\n\r\nx");
  EXPECT_EQ(MIME::attachment(3, message), std::nullopt);
}

TEST(MIME, SortsPartsThatStandAlone) {
  struct Case {
    std::string header;
    std::string text = {};
    std::string html = {};
    std::string attachment = {};  // name and type
  };
  const Case cases[] = {
      {"X: y", "body"},
      {"Content-Type: text", "body"},
      {"Content-Type: text/plain; name=a.txt", "body"},
      {"Content-Type: text/x-unknown", "body"},
      {"Content-Type: text/HTML (with a comment)", "", "body"},
      {"Content-Type: (a; (comment)) text/html", "", "body"},
      {"Content-Type: text/html\nContent-Disposition: inline (c); filename=a.html", "", "body"},
      {"Content-Type: multipart/mixed", "body"},
      {"Content-Type: multipart/mixed; boundary=\"\"", "body"},
      {"Content-Type: multipart/mixed; boundary=never", "body"},
      {"Content-Type: text/html\nContent-Disposition: attachment; filename=a.html", "", "", "a.html text/html"},
      {"Content-Disposition: FILE; filename=..", "", "", " text/plain"},
      {"Content-Type: application/pdf; name=\"=?utf-8?Q?=C3=A9.pdf?=\"", "", "", "é.pdf application/pdf"},
      {"Content-Type: message/rfc822", "", "", " message/rfc822"},
      {"Content-Transfer-Encoding: base64", "n\u0087r"},
      {"Content-Transfer-Encoding: BASE64 (x)", "n\u0087r"},
      {"Content-Transfer-Encoding: base64;", "n\u0087r"},
      {"Content-Transfer-Encoding: unknown", "body"},
  };
  for (const Case& c : cases) {
    const ParsedMail mail = MIME::parse(c.header + "\n\nbody");
    EXPECT_EQ(mail.text, c.text) << c.header;
    EXPECT_EQ(mail.html, c.html) << c.header;
    std::string attachment;
    for (const MailAttachment& each : mail.attachments) attachment += each.name + " " + each.type;
    EXPECT_EQ(attachment, c.attachment) << c.header;
  }
}

TEST(MIME, TakesNamedTextForTheBodyWithoutAnother) {
  const std::string named =
      "--b\nContent-Type: text/html; name=a.html\nContent-Disposition: inline\n\n<p>\n"
      "--b\nContent-Type: text/plain; name=a.txt\n\na\n"
      "--b\nContent-Type: text/plain; name=b.txt\n\nb\n";
  struct Case {
    std::string message;
    std::string text;
    std::string html;
    std::size_t attachments;
  };
  const Case cases[] = {
      {"mixed; boundary=b\n\n" + named, "a", "<p>", 1},
      {"mixed; boundary=b\n\n" + named + "--b\n\nbody", "body", "", 3},
      {"mixed; boundary=b\n\n--b\nContent-Type: text/html\nContent-Disposition: attachment\n\n<p>", "", "", 1},
      {"signed; boundary=b\n\n" + named, "a\nb\n", "<p>", 0},
  };
  for (const Case& c : cases) {
    const ParsedMail mail = MIME::parse("Content-Type: multipart/" + c.message);
    EXPECT_EQ(mail.text, c.text) << c.message;
    EXPECT_EQ(mail.html, c.html) << c.message;
    EXPECT_EQ(mail.attachments.size(), c.attachments) << c.message;
  }
}

TEST(MIME, ReadsAllThatAMailSays) {
  const auto multipart = [](std::string_view type, const std::vector<std::string>& parts) {
    const std::string boundary = fmt::format("{}{}", type, parts.size());
    std::string all = fmt::format("Content-Type: multipart/{}; boundary={}\n\n", type, boundary);
    for (const std::string& part : parts) all += fmt::format("--{}\n{}\n", boundary, part);
    return all + "--" + boundary + "--";
  };
  const std::string html = "Content-Type: text/html\n\n<p>Pay &lt;me&gt;</p><p hidden>never</p>";
  const std::string plain = "Content-Type: text/plain\n\nPay me";
  const std::string notes = "Content-Type: text/plain; name=notes.txt\nContent-Disposition: inline\n\nnotes";
  const std::string blank = "\n \n";
  const std::string footer = "\nfooter";
  const std::string calendar = "Content-Type: text/calendar\n\nBEGIN:VCALENDAR";
  const std::string untyped = "\nSubject: a message\n\nwithin";
  const std::pair<std::string, std::string> cases[] = {
      {multipart("mixed", {html}), ""},
      {multipart("mixed", {blank, html}), " \n"},
      {multipart("mixed", {html, footer}), "Pay <me>\nfooter"},
      {multipart("mixed", {footer, html, footer}), "footer\nPay <me>\nfooter"},
      {multipart("related", {html, notes}), "Pay <me>\nnotes"},
      {multipart("alternative", {multipart("related", {html, notes})}), "Pay <me>\nnotes"},
      {multipart("mixed", {multipart("alternative", {blank, html}), footer}), " \nPay <me>\nfooter"},
      {multipart("mixed", {multipart("alternative", {plain, html}), footer}), "Pay me\nfooter"},
      {multipart("mixed", {multipart("alternative", {html, plain}), html}), "Pay me\nPay <me>"},
      {multipart("alternative", {plain, multipart("related", {multipart("alternative", {html}), notes})}),
       "Pay me\nnotes"},
      {multipart("alternative", {plain, html, calendar}), "Pay me"},
      {multipart("mixed", {plain, calendar, multipart("digest", {untyped, plain})}), "Pay me\nPay me"},
  };
  for (const auto& [message, text] : cases) EXPECT_EQ(MIME::parse(message).text, text) << message;
}

TEST(MIME, ReadsHTMLInTheCharsetThatItNames) {
  const std::pair<std::string, std::string> cases[] = {
      {"<META Charset = 'iso-8859-2'>\xB1", "ą"},
      {"<meta name=x><meta http-equiv=Content-Type content=\"text/html; charset=iso-8859-2\">\xB1", "ą"},
      {"<meta charset=utf-16>\xC4\x85", "ą"},
      {"<meta charset=unknown>\xC4\x85", "ą"},
      {"<meta charset>\xC4\x85", "ą"},
      {std::string(1024, ' ') + "<meta charset=iso-8859-2>\xC4\x85", "ą"},
  };
  for (const auto& [html, last] : cases)
    EXPECT_THAT(MIME::parse("Content-Type: text/html\n\n" + html).html, testing::EndsWith(">" + last)) << html;
  const std::string named = "Content-Type: text/html; charset=utf-8\n\n<meta charset=iso-8859-2>\xC4\x85";
  EXPECT_THAT(MIME::parse(named).html, testing::EndsWith(">ą"));
}

TEST(MIME, FindsAddressesInBrokenHeaders) {
  const std::pair<std::string, std::vector<MailAddress>> cases[] = {
      {"Ana <ana@x.org, Bo <bo@x.org>", {{"Ana", "ana@x.org"}, {"Bo", "bo@x.org"}}},
      {"Ana <ana\"@x.org>, \"Bo\" <bo@x.org>", {{"Ana", "ana\"@x.org"}, {"Bo", "bo@x.org"}}},
      {R"(<"a>b\">"@x.org>, "a\"b"@x.org, bo@x.org "c@d")",
       {{"", R"("a>b\">"@x.org)"}, {"", R"("a\"b"@x.org)"}, {"c@d", "bo@x.org"}}},
      {"Root <root>, root", {{"Root", "root"}}},
  };
  for (const auto& [header, addresses] : cases)
    EXPECT_EQ(MIME::parse("To: " + header + "\n\n").to, addresses) << header;
}

TEST(MIME, ReadsBoundariesAsTheyAreMeant) {
  const std::pair<std::string, std::string> cases[] = {
      {"multipart/mixed; boundary=abc (c)", "abc"},
      {"(x) multipart/mixed; boundary=abc", "abc"},
      {"multipart/mixed; boundary=\"abc", "abc"},
      {"multipart/mixed; boundary=\" abc \"", " abc"},
      {"multipart/mixed; boundary=\"a (b)\"", "a (b)"},
      {"multipart/mixed; boundary=\"=?utf-8?Q?abc?=\"", "=?utf-8?Q?abc?="},
      {"multipart/mixed; boundary*0=\"a b\"; boundary*1=c", "a bc"},
  };
  for (const auto& [type, boundary] : cases)
    EXPECT_EQ(MIME::parse("Content-Type: " + type + "\n\n--" + boundary + "\n\nbody\n--" + boundary + "--").text,
              "body")
        << type;
}

TEST(MIME, DecodesBodies) {
  struct Case {
    std::string charset;
    std::string bytes;
    std::string text;
  };
  const Case cases[] = {
      {"utf-8", "\xC3\xA9", "é"},
      {"UTF-8", "caf\xE9", "café"},  // it is none: ISO Latin-1
      {"us-ascii", "\xC3\xA9", "é"},
      {"", "\xE9", "é"},
      {"iso-8859-1", "\x93\xE9\x94", "“é”"},
      {"l1", "\x93", "“"},
      {"iso8859-1", "\x93", "“"},
      {"csISOLatin1", "\x93", "“"},
      {"chinese", "\xD6\xD0\x96\x7C", "中東"},
      {"GB_2312-80", "\xD6\xD0", "中"},
      {"iso-8859-8-i", "\xF9", "ש"},
      {"ks_c_5601-1987", "\x8C\x63", "똠"},
      {"x-sjis", "\x87\x40", "①"},
      {"KOI8-R", "\xF0\xD2\xC9", "При"},
      {"windows-1251", "\xCF\xF0\xE8", "При"},
      {"iso-8859-15", "\xA4", "€"},
      {"gb2312", "\xD6\xD0\x96\x7C", "中東"},  // of GBK
      {"Shift_JIS", "\x93\xFA\x96\x7B\\", "日本\\"},
      {"euc-kr", "\xB0\xA1\x8C\x63", "가똠"},
      {"iso-2022-jp", "a\x1B$BF|K\\\x1B(Bb", "a日本b"},
      {"utf-16", "\xFE\xFF\x65\xE5", "日"},
      {"utf-7", "Hi +ZeVnLA-", "Hi 日本"},
      {"big5", "\xA4\xA4\xA4", "¤¤¤"},  // cut short: ISO Latin-1
      {"no-such-charset", "\xE9", "é"},
      {"utf-8,swap", "\xE9", "é"},
  };
  for (const Case& c : cases) {
    const std::string message = "Content-Type: text/plain; charset=" + c.charset +
                                "\nContent-Transfer-Encoding: base64\n\n" + base64::encoded(c.bytes);
    EXPECT_EQ(MIME::parse(message).text, c.text) << c.charset;
  }
}

TEST(MIME, DecodesTransferEncodings) {
  using enum TransferEncoding;
  struct Case {
    TransferEncoding encoding;
    std::string written;
    std::string bytes;
  };
  const Case cases[] = {
      {base64, "SGVs\r\nbG8=", "Hello"},
      {base64, "SGVsbG8", "Hello"},
      {base64, "S-G!V s=bG8=\n=b", "Hello"},
      {base64, "SGVsbG8=SGVsbG8=", "HelloHello"},
      {base64, "====\0\xFF"s, ""},
      {base64, "S", ""},
      {quotedPrintable, "a=20b=\r\n c=3d=3D_ \t\r\nd=", "a b c==_\r\nd"},
      {quotedPrintable, "= \nlone = and =4 and =XY=", "lone = and =4 and =XY"},
      {quotedPrintable, "=0D=0A\n\n", "\r\n\n\n"},
      {none, "=20", "=20"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(decoded(c.written, c.encoding), c.bytes) << c.written;
    EXPECT_EQ(decodedSize(c.written, c.encoding), c.bytes.size()) << c.written;
  }
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    std::string bytes(random() % 400, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    ASSERT_EQ(base64::decoded(base64::encoded(bytes)), bytes);
    for (const auto encoding : {base64, quotedPrintable})
      ASSERT_EQ(decoded(bytes, encoding).size(), decodedSize(bytes, encoding));
  }
}

TEST(MIME, ShowsBrokenMessagesAsWellAsItCan) {
  const std::string multipart = "Content-Type: multipart/mixed; boundary=b\n\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"Subject: only a header", ""},
      {"Subject: only a header\r\n\r\n", ""},
      {"No header at all\nbut text", "No header at all\nbut text"},
      {"Subject: x\nNo empty line: here\nbut text", "No empty line: here\nbut text"},
      {"From ana@x.org Tue Jul 1\nSubject: mailbox\n\ntext", "text"},
      {">From ana@x.org Tue Jul 1 09:30:00 2025\nSubject: mailbox\n\ntext", "text"},
      {"\r\n\r\n\nSubject: late\n\ntext", "text"},
      {"\xEF\xBB\xBFSubject : x\n\ntext", "text"},
      {"X: y\n\nbare\rreturns\r\n\rand \0s"s, "bare\nreturns\n\nand \0s"s},
      {multipart + "--b\n\none\n--b\n\ntwo", "one\ntwo"},  // never closed
      {multipart + "--b--\nnothing", ""},
      {multipart + "said before\n--b--\nnothing", "said before"},
      {multipart + "--b\n--b\nX: y\n--b\n\none\n--bc\n--b --\n--b--", "one\n--bc\n--b --"},
      {multipart + "--b\nContent-Type: multipart/mixed; boundary=bb\n\n--bb\n\none\n--b\n\ntwo\n--bb\n",
       "one\ntwo\n--bb\n"},
      {multipart + "--b\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b--\n--b\n\ntwo\n--b--",
       "one\ntwo"},
      {"Content-Type: multipart/mixed; boundary=b:c\n\n--b:c\nX: y\n--b:c\n\none", "one"},
      {multipart + "--b\nno header\n\nbut text", "no header\n\nbut text"},
  };
  for (const auto& [message, text] : cases)
    EXPECT_EQ(MIME::parse(message).text, text) << testing::PrintToString(message);
  EXPECT_EQ(MIME::parse("From: =?utf-8?Q?Mailer=0ADaemon?=\n\n").from, (MailAddress{"Mailer Daemon"}));
  EXPECT_EQ(MIME::parse("From:\n\n").from, std::nullopt);
  const std::string returns =
      "Subject: old\rContent-Type: multipart/mixed; boundary=b\r\r--b\r\rtext\r--b\r"
      "Content-Type: image/png\r\rpng\r--b--\r";
  EXPECT_EQ(MIME::parse(returns).subject + MIME::parse(returns).text, "oldtext");
  EXPECT_EQ(MIME::attachment(0, returns), "png");
}

TEST(MIME, StaysLinearOnHostileMessages) {
  const std::string multipart = "Content-Type: multipart/mixed; boundary=b\n\n";
  const auto nested = [](std::size_t depth, bool sameBoundary) {
    std::string message;
    for (std::size_t i = 0; i < depth; ++i) {
      const std::string boundary = sameBoundary ? "b" : "b" + std::to_string(i);
      message.append("Content-Type: multipart/mixed; boundary=").append(boundary).append("\n\n--").append(boundary) +=
          '\n';
    }
    return message + "\nlast";
  };
  const std::string bombs[] = {
      multipart + filledWith("--b\n", 1'000'000),
      multipart + filledWith("\n--x", 1'000'000),
      multipart + filledWith("--b\nContent-Type: image/png\n\n\n", 1'000'000),
      multipart + filledWith("--b\nContent-Type: message/rfc822\n\n", 1'000'000),
      nested(99, false) + filledWith("\n--bx", 1'000'000),
      nested(100'000, false),
      nested(100'000, true),
      filledWith("Content-Type: message/rfc822\n\n", 1'000'000),
      "Content-Type: multipart/mixed; boundary=" + std::string(10'000, 'b') + "\n\n" +
          filledWith("--" + std::string(10'000, 'b') + "\n", 1'000'000),
      filledWith("\n", 200'000) + "Subject: x\n\ntext",
      "Subject: " + filledWith("x\n ", 5'000'000),
      "To: " + filledWith("(", 1'000'000),
      "To: " + filledWith("Ana <ana@example.org>,\n ", 1'000'000),
      "Subject: " + filledWith("=?utf-8?Q?x?=\n ", 1'000'000),
      filledWith("X: y\n", 1'000'000),
      filledWith("\r", 1'000'000),
      filledWith("--", 1'000'000),
      "Content-Type: a/b" + filledWith("; name*=", 1'000'000) + "\n\nx",
      "Content-Transfer-Encoding: base64\n\n" + filledWith("=", 1'000'000),
      "Content-Transfer-Encoding: quoted-printable\n\n" + filledWith("= ", 1'000'000),
  };
  for (const std::string& bomb : bombs) {
    SCOPED_TRACE(bomb.substr(0, 100));
    const auto start = std::chrono::steady_clock::now();
    const ParsedMail mail = MIME::parse(bomb);
    MIME::attachment(10'000, bomb);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));  // a hundredth without sanitizers
    EXPECT_LE(mail.attachments.size(), 10'000u);
    EXPECT_LE(mail.to.size(), 10'000u);
    EXPECT_LE(mail.subject.size(), 1u << 20);
  }
  // What is too deep or too much is text.
  EXPECT_THAT(MIME::parse(nested(101, false)).text, testing::StartsWith("--b100\n"));
  EXPECT_EQ(MIME::parse(nested(100, false)).text, "last");
  std::string parts = multipart;
  for (int i = 0; i < 10'000; ++i) parts += "--b\nContent-Type: image/png\n\n\n";
  const ParsedMail mail = MIME::parse(parts + "--b\n\nafterwards");
  EXPECT_EQ(mail.attachments.size(), 10'000u);
  EXPECT_THAT(mail.text, testing::EndsWith("afterwards"));
}

TEST(MIME, AlwaysGivesUtf8) {
  const auto charsets = text::split(
      "utf-8~us-ascii~iso-8859-1~iso-8859-2~iso-8859-3~iso-8859-4~iso-8859-5~iso-8859-6~iso-8859-7~iso-8859-8~"
      "iso-8859-8-i~iso-8859-9~iso-8859-10~iso-8859-13~iso-8859-14~iso-8859-15~iso-8859-16~windows-1250~windows-1251~"
      "windows-1252~windows-1253~windows-1254~windows-1255~windows-1256~windows-1257~windows-1258~windows-874~koi8-r~"
      "koi8-u~macintosh~x-mac-cyrillic~ibm437~ibm850~ibm852~ibm866~tis-620~gb2312~gbk~gb18030~hz-gb-2312~big5~"
      "big5-hkscs~shift_jis~windows-31j~euc-jp~iso-2022-jp~iso-2022-jp-2~iso-2022-kr~iso-2022-cn~euc-kr~"
      "ks_c_5601-1987~euc-tw~johab~utf-7~utf-16~utf-16le~utf-16be~utf-32~utf-32le~cesu-8~scsu~bocu-1~viscii~armscii-8~"
      "ebcdic-cp-us~ibm037~x-user-defined~unknown-8bit~x-unknown~default~binary~iso-10646-ucs-2~imap-mailbox-name~"
      "lmbcs~x11-compound-text~ ~%~''",
      '~');
  std::mt19937 random(75);
  for (const std::string_view charset : charsets) {
    for (int i = 0; i < 60; ++i) {
      std::string bytes(random() % 60, '\0');
      for (char& byte : bytes) byte = static_cast<char>(random() % (i % 2 == 0 ? 256 : 128));
      const std::string text = charset::text(bytes, charset);
      ASSERT_TRUE(text::isValidUtf8(text)) << charset;
    }
  }
}

}  // namespace
}  // namespace vesk
