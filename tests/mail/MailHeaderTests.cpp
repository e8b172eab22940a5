#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/mail/HeaderParameters.h"
#include "core/mail/MIME.h"
#include "tests/mail/MailTexts.h"

namespace vesk {
namespace {

using namespace std::string_literals;
using test::filledWith;

TEST(MailHeader, DecodesEncodedWords) {
  const std::pair<std::string, std::string> cases[] = {
      {"=?UTF-8?B?SGVsbG8=?= =?UTF-8?Q?_W=C3=B6rld?=", "Hello Wörld"},
      {"a =?utf-8?q?b?= c =?utf-8?q?d?=e", "a b c de"},
      {"=?utf-8?Q?=E2=9C?=\t=?UTF-8?Q?=93?=", "✓"},                                   // a character cut in two
      {"=?utf-8?B?w6TDtg==?= =?utf-8?B?w7zDnw==?= =?utf-8?B?4oI=?=", "äöüßâ\u0082"},  // the last one cut short
      {"=?utf-8?Q?=E2=9C?= =?iso-8859-1?Q?=E9?=", "â\u009Cé"},                        // of two charsets
      {"=?utf-8*en?Q?=C3=A9?=", "é"},                                                 // RFC 2231, 5
      {"\"=?iso-8859-15?q?=A4_in_quotes?=\"", "\"€ in quotes\""},
      {"=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=", "日本"},
      {"=?iso-2022-jp?B?GyRCRnwbKEI=?= =?iso-2022-jp?B?GyRCS1wbKEI=?=", "日本"},
      {"=?gb2312?B?1tC5+g==?= =?koi8-r?B?8NLJ18XU?=", "中国Привет"},
      {"=?utf-8?Q?lower_=c3=a9_lone_=_=3?=", "lower é lone = =3"},
      {"=?no-such?Q?=E9?=", "é"},
      {"=?utf-8?X?abc?= =?utf-8?Q?a b?= =??Q?a?= =?utf-8?Q?a", "=?utf-8?X?abc?= =?utf-8?Q?a b?= =??Q?a?= =?utf-8?Q?a"},
      {"=?=?utf-8?Q?a?==?utf-8?Q?b?=", "=?ab"},
      {"=?utf-8?Q?"
       "?= =?x",
       "=?x"},
      {"caf\xE9 =?utf-8?Q?=C3=A9?=", "café é"},
  };
  for (const auto& [header, text] : cases) EXPECT_EQ(MIME::decodeWords(header), text) << header;
}

TEST(MailHeader, FindsTheWordsThatThePatternDoes) {
  const auto pieces = text::split("=?~=?~?=~?~=~utf-8~?Q?~?b?~?x?~a~ ~\t~\u00A0~é~=?utf-8?q?a?=", '~');
  std::mt19937 random(7);
  for (int i = 0; i < 6000; ++i) {
    const std::string text = test::randomText(random, pieces, 16);
    // Words of unknown charsets and of letters that mean the same in all of them.
    const std::string expected = test::replaced(text, R"(=\?([^?\s]+)\?([qQ])\?([^?\s=]*)\?=(\s+(?==\?))?)", "$3");
    const bool isPlain = !test::firstMatch(text, R"(=\?[^?\s]+\?([bB]\?[^?\s]*|[qQ]\?[^?\s]*[=é][^?\s]*)\?=)");
    if (isPlain) {
      ASSERT_EQ(MIME::decodeWords(text), expected) << text;
    }
  }
}

TEST(MailHeader, ReadsAddresses) {
  struct Case {
    std::string header;
    std::vector<MailAddress> addresses;
  };
  const Case cases[] = {
      {"ana@x.org", {{"", "ana@x.org"}}},
      {"Ana Silva <ana@x.org>, <bo@x.org>; c@x.org", {{"Ana Silva", "ana@x.org"}, {"", "bo@x.org"}, {"", "c@x.org"}}},
      {R"("Silva, \"Ana\"" <ana@x.org>)", {{R"(Silva, "Ana")", "ana@x.org"}}},
      {"=?utf-8?Q?Silva=2C_Ana?= <ana@x.org>", {{"Silva, Ana", "ana@x.org"}}},
      {"\"=?utf-8?Q?Jo=C3=A3o?=\" <j@x.org>", {{"João", "j@x.org"}}},
      {"=?utf-8?Q?a=0AInjected:_b?= <a@x.org>", {{"a Injected: b", "a@x.org"}}},
      {"=?utf-8?Q?a,_b_@?= <a@x.org>", {{"a, b @", "a@x.org"}}},
      {"Friends: ana@x.org, Bo <bo@x.org>;, c@x.org", {{"", "ana@x.org"}, {"Bo", "bo@x.org"}, {"", "c@x.org"}}},
      {"undisclosed-recipients:;", {}},
      {R"(Pete(A nice \) chap) <pete(his account)@silly.test(his host)>)", {{"Pete", "pete@silly.test"}}},
      {"ana (x (y)) @ x.org (Ana)", {{"Ana", "ana@x.org"}}},
      {"root@x.org (Cron (\\(2\\)) =?utf-8?Q?=C3=A9?=), <bo@x.org>",
       {{"Cron ((2)) é", "root@x.org"}, {"", "bo@x.org"}}},
      {"<@a.org,@b.org:ana@x.org>, \"a b\"@x.org", {{"", "ana@x.org"}, {"", "\"a b\"@x.org"}}},
      {"\"Never closed <ana@x.org>, Bo (too <bo@x.org>", {{"\"Never closed", "ana@x.org"}, {"Bo (too", "bo@x.org"}}},
      {"Ana <ana@x.org, bo@x.org", {{"Ana", "ana@x.org"}, {"", "bo@x.org"}}},
      {"Ana Silva ana@x.org", {{"Ana Silva", "ana@x.org"}}},
      {"=?utf-8?Q?Ana_=3Cana=40x=2Eorg=3E?=", {{"Ana", "ana@x.org"}}},
      {"Nobody, <>, @, <\x01\t>, \xE9 <\xE9@x.org>", {{"é", "é@x.org"}}},
  };
  for (const Case& c : cases) EXPECT_EQ(MailAddress::list(c.header), c.addresses) << c.header;
}

TEST(MailHeader, ReadsDates) {
  const std::pair<const char*, const char*> cases[] = {
      {"Tue, 1 Jul 2025 09:30:00 +0200", "2025-07-01T07:30:00Z"},
      {"1 Jul 2025 09:30:00 -0230", "2025-07-01T12:00:00Z"},
      {"Tue, 1 Jul 2025 09:30 +0200", "2025-07-01T07:30:00Z"},
      {"01 Jul 2025 09:30 +0000", "2025-07-01T09:30:00Z"},
      {"01-Jul-2025 09:30:05 +0000", "2025-07-01T09:30:05Z"},
      {"Fri, 21 Nov 97 09(comment (in it)):   55 : 06 -0600 (CST)", "1997-11-21T15:55:06Z"},  // RFC 5322, A.6.2
      {"Tuesday,\r\n 1 july 2025 9:30:60 EST", "2025-07-01T14:31:00Z"},
      {"1 Jul 25 09:30 GMT", "2025-07-01T09:30:00Z"},
      {"1 Jul 103 09:30 Z", "2003-07-01T09:30:00Z"},
      {"29 Feb 2024 00:00 GMT+01:00", "2024-02-28T23:00:00Z"},
  };
  for (const auto& [header, moment] : cases) {
    const auto date = MIME::date(header);
    ASSERT_TRUE(date) << header;
    EXPECT_EQ(time::iso8601(*date), moment) << header;
  }
  EXPECT_EQ(MIME::date("1 Jan 9999 00:00 +0000"), Timestamp::max());
  for (const char* header :
       {"", "yesterday", "1 Jul 2025", "1 Jul 2025 09:30", "30 Feb 2025 00:00 +0000", "0 Jul 2025 00:00 +0000",
        "1 Jul 0000 00:00 +0000", "1 Jul 99999 00:00 +0000", "1 Jul 2025 24:00 +0000", "1 Jul 2025 9:5 +9999",
        "1 Xyz 2025 09:30 +0000", "1 uly 2025 09:30 +0000", "2025-07-01T09:30:00Z", "99999999999999999999 Jul 2025"})
    EXPECT_FALSE(MIME::date(header)) << header;
}

TEST(MailHeader, ReadsParameters) {
  struct Case {
    std::string header;
    const char* name;
    std::string value;
  };
  const Case cases[] = {
      {"text/plain; charset=utf-8; format=flowed", "charset", "utf-8"},
      {R"(a; filename="C:\dir\x; \"y\".txt" ; z=1)", "filename", R"(C:\dir\x; "y".txt)"},
      {"a; filename=not quoted.pdf; z=1", "filename", "not quoted.pdf"},
      {"a; FileName*=UTF-8'en'%e2%82%ac%20rates.pdf; filename=x", "filename", "€ rates.pdf"},
      {"a; filename*1*=%A9; filename*0*=utf-8''%c3; filename*2=\".pdf\"; filename*4=no", "filename", "é.pdf"},
      {"a; name*1=b; name*0=a; name*1=x", "name", "ab"},
      {"a; name*1=b; name=whole", "name", "whole"},
      {"a; name*=no-quotes%21", "name", "no-quotes!"},
      {"a; name*=unknown''%E9", "name", "é"},
      {"a; name=\"=?utf-8?Q?=C3=A9?=\"", "name", "é"},
      {"a; name=\"never closed; z=1", "name", "never closed"},
      {"a; name=\"never closed; z=1", "z", "1"},
      {"a;;; =; name; name=x", "name", "x"},
  };
  for (const Case& c : cases) EXPECT_EQ(HeaderParameters(c.header).get(c.name), c.value) << c.header;
}

TEST(MailHeader, StaysLinearOnHostileTexts) {
  // Anything quadratic takes minutes here.
  for (const std::string shape : {"=?",
                                  "=?utf-8?Q?",
                                  "=?utf-8?Q?a",
                                  "=?utf-8?Q?a?= ",
                                  "=?l2x?Q?=E2?= ",
                                  "=?a?b?"
                                  "?=",
                                  "=? ",
                                  "(",
                                  "((a)",
                                  "\"",
                                  "\"a\" ",
                                  "<",
                                  "<a,",
                                  "a:",
                                  "a@:",
                                  "a@ ",
                                  "a@x, ",
                                  "@",
                                  "\\",
                                  "; a=",
                                  ";name*0=",
                                  ";name*=\"",
                                  "; x*1*=%"}) {
    const std::string text = filledWith(shape, 300'000);
    EXPECT_LE(MIME::decodeWords(text).size(), text.size()) << shape;
    EXPECT_LE(MailAddress::list(text).size(), 10'000u) << shape;
    EXPECT_LE(MailAddress::list("a@x" + text).size(), 10'000u) << shape;
    EXPECT_LE(HeaderParameters(text).get("name").size(), text.size()) << shape;
    EXPECT_FALSE(MIME::date(text)) << shape;
  }
  std::string pieces = "a";
  for (int i = 10'000; i-- > 0;) pieces += "; name*" + std::to_string(i) + "*=%41";
  EXPECT_EQ(HeaderParameters(pieces).get("name"), std::string(10'000, 'A'));
}

}  // namespace
}  // namespace vesk
