#include <chrono>

#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/MailCode.h"
#include "tests/mail/MailTexts.h"

namespace vesk {
namespace {

using namespace std::string_view_literals;
using test::filledWith;
using test::replaced;

std::string plainTextByPatterns(std::string text) {
  text = replaced(text, R"((?is)<(style|script|head|title)\b.*?<\/\1\s*>)", "");
  text = replaced(text, "(?is)<!--.*?-->", "");
  text = replaced(text, R"((?i)<br\s*\/?>)", "\n");
  text = replaced(text, R"((?i)<\/(p|div|tr|li|h[1-6])\s*>)", "\n");
  text = replaced(text, "<[a-zA-Z/!?][^>]*>", "");
  for (const auto& [entity, character] : {std::pair("&lt;", "<"), {"&nbsp;", "\u00A0"}, {"&#x41;", "A"}})
    text = replaced(text, entity, character);
  text = replaced(text, "[ \\t\u00A0]+", " ");
  return std::string(text::trimWhitespace(replaced(text, "\\n{3,}", "\n\n")));
}

std::string snippetByPatterns(std::string text) {
  if (test::firstMatch(text, R"((?i)<(table|div|td|tr|p|span|html|body|style|a)\b)")) text = plainTextByPatterns(text);
  text = replaced(text, R"((?s)<\/?[a-zA-Z!][^>]{0,400}>)", "");
  text = replaced(text, R"(<\/?[a-zA-Z][^>]*$)", "");
  text = replaced(text, R"(\[([^\]]*)\]\((?:https?:|mailto:)[^)]*\)?)", "$1");
  text = replaced(text, R"(<?(?:https?:\/\/|www\.)\S+>?)", "");
  text = replaced(text, R"(\[\s*\]|\(\s*\))", "");
  return text::collapseWhitespace(text);
}

TEST(MailHtml, AgreesWithItsPatternsOnRandomTexts) {
  const auto pieces = text::split(
      "<~<~</~>~>~/>~style~STYLE~script~head~title~styled~br~BR~p~P~div~h1~h7~li~tr~td~a ~b~!--~--~<!--~-->~<p>~</p>~"
      "</style>~</Style >~<style>~<br/>~&lt;~&nbsp;~&#x41;~&bogus~\n~\n~\n\n~ ~ ~\t~\u00A0~\u2028~é~中~[~]~(~)~](~"
      "http:~https://~www.~mailto:~http://x.y~\"~'~/~3~word",
      '~');
  std::mt19937 random(20261121);
  for (int i = 0; i < 6000; ++i) {
    const std::string text = test::randomText(random, pieces, 30);
    SCOPED_TRACE(testing::PrintToString(text));
    ASSERT_EQ(MIME::plainText(text), plainTextByPatterns(text));
    if (text.find('&') == std::string::npos) {  // entities in what is no HTML are decoded, too
      ASSERT_EQ(MIME::snippet(text, 1000), snippetByPatterns(text));
    }
  }
  for (const std::size_t length : {398, 399, 400, 401, 402}) {
    for (const std::string filler : {"x", "é", "<a"}) {
      std::string text = "1 < <b";
      for (std::size_t size = 0; size < length; ++size) text += filler;
      text += "> <i> [x] 2";
      ASSERT_EQ(MIME::snippet(text, 10'000), snippetByPatterns(text)) << length << filler;
    }
  }
}

TEST(MailHtml, BecomesText) {
  const std::pair<std::string, std::string> cases[] = {
      {"<p>One</p><p>Two</p>", "One\nTwo"},
      {"<html><head><title>No</title></head><body>Yes<style>p{}</style><SCRIPT>1 < 2</script ></body></html>", "Yes"},
      {"<a title=\"5 > 4\" href='>'>more</a> <b title=>x</b>", "more x"},
      {"a < b, 3<4, <3 and <never closed", "a < b, 3<4, <3 and <never closed"},
      {"One\r\n<br>\r\n\r\n\r\nTwo", "One\n\nTwo"},
      {"&eacute;&AMP;&apos;&#233;&#XE9;&#146;&copy &unknown; &lt;b&gt; &amp;lt;", "é&'éé’&copy &unknown; <b> &lt;"},
      {"&#0;|&#xD800;|&#x110000;|&#99999999999999999999999999;|&#12ab;|&#;|&;",
       "\uFFFD|\uFFFD|\uFFFD|\uFFFD|&#12ab;|&#;|&;"},
  };
  for (const auto& [html, text] : cases) EXPECT_EQ(MIME::plainText(html), text) << html;
}

TEST(MailHtml, TellsWhatItHides) {
  struct Case {
    std::string html;
    std::string text;
    std::size_t hidden = 0;
  };
  const Case cases[] = {
      {"<p>Seen</p>", "Seen"},
      {"<div style='DISPLAY : none !important'>Do <b>it</b></div>Seen", "Seen", 4},
      {"<div hidden>no</div><p hidden=''>no<p>yes<br><img hidden>more", "yes\nmore", 4},
      {"<div style=\"visibility:hidden\">no<i style=\"visibility:visible\">yes</i></div>", "yes", 2},
      {"<td style=\"font-size:0px\">no<div style=\"font-size:13px\">yes</div><i style='font-size:1em'>no</i></td>",
       "yes", 4},
      {"<font color=white>no</font><p style='color:#FEFEFE;background-color:#fff'>no</p>yes", "yes", 4},
      {"<table bgcolor=\"#003366\"><td><font color=\"#fff\">yes</font><font color=#036>no</font></table>", "yes", 2},
      {"<div style=\"background:url(x) #fff\"><font color=white>yes</font></div>", "yes"},
      {"<p style='color:rgba(1, 2, 3, 0)'>no</p><p style='color:transparent'>no</p>", "", 4},
      {"<div style='opacity:0'>no</div><i style='max-height:0;overflow:hidden'>no</i><p style='left:-999px'>no", "", 6},
      {"<div style='display:none'>no<div>no</div></span></b></p>no</div>yes", "yes", 6},
      {"<div style='display:none;display:block'>a</div><i style='opacity:0;opacity:1'>b</i>", "a\nb"},
      {"<i style='display:none!important;display:block'>no</i><i style=color:red style=display:none>yes", "yes", 2},
      {"<i style='max-height:0'>a</i><i style='overflow:hidden;height:0.5em'>b</i><p style='clip-path:circle(50%)'>c",
       "abc"},
      {"yes<!-- no", "yes", 2},
      {"<!--[if !mso]><!-->a<!--<![endif]--><!-->b<!-- no --!>c", "abc"},
      {"yes<div><script>no</div>no", "yes", 4},
      {"<style>no</style x>yes<style>no<b style='display:block'>no", "yes", 6},
      {"<template>no<template>no</template></b>no</template>yes<iframe>no</iframe><noembed>no</noembed>", "yes", 10},
      {"ab\u200Bc\U000E0041\U000E0042 \u2060", "abc", 4},
      {"<div style='display:none'>Pre&zwnj;&nbsp;&#847;</div>", "", 3},
      {"<td style='max-width:0;overflow:hidden;text-overflow:ellipsis;white-space:nowrap'>yes</td>", "yes"},
      {"<td style='display:block;max-width:0;overflow:hidden'>no</td>", "", 2},
      {"<body bgcolor=black text=white>yes</body>", "yes"},
      {"<body text=white>no<font color=ffffff>no</font><p style='color:#000'>yes", "yes", 4},
      {"<table bgcolor=003366><td><font color=fff>yes</font><font color=036>yes</font><font "
       "color=003366>no</font></table>",
       "yesyes", 2},
      {"<div style=display:none><table><tr><td></div>no</td>no</table>no</div>yes", "yes", 6},
      {"<table><caption hidden>no<tr><td><div style=display:none>no<td>yes<tr><td hidden>no<tbody><tr><td>yes</table>",
       "yesyes", 6},
      {"<a style=display:none>no<a>yes</a>yes<dl><dt hidden>no<dd>yes</dl>", "yesyesyes", 4},
      {"<button hidden>no<button>yes</button><select><option hidden>no<option>yes</select>", "yesyes", 4},
      {"<div><font style=display:none></div>no</font>yes<b><div hidden></b>no</div>yes", "yesyes", 4},
      {"<span><div hidden></span>no</div>yes<span hidden><b></span>yes", "yesyes", 2},
      {"<dialog>no</dialog><dialog "
       "open>yes</dialog><datalist>no</datalist><video>no<p>no</p></video><canvas>no</canvas>",
       "yes", 10},
      {"<details>no<summary>yes</summary>no<p>no<summary>no</summary></details><details open>yes</details>", "yesyes",
       8},
      {"<svg><desc>no</desc><metadata>no</metadata><defs>no</defs></svg><desc>yes</desc>", "yes", 6},
  };
  for (const Case& c : cases)
    EXPECT_EQ(MIME::visibleTextOfHTML(c.html), (MIME::VisibleText{.text = c.text, .hidden = c.hidden})) << c.html;
  for (const std::string style : {"height:0;overflow:hidden",
                                  "font:0/0 a",
                                  "font:bold 1px Arial",
                                  "font-size:1%",
                                  "font-size:0.1em",
                                  "font-size:1px",
                                  "opacity:.01",
                                  "opacity:1%",
                                  "color:#ffffff00",
                                  "color:#0000",
                                  "color:rgba(1,2,3,.01)",
                                  "color:rgb(100%,100%,100%)",
                                  "color:rgb(0 0 0 / 1%)",
                                  "-webkit-text-fill-color:transparent",
                                  "margin-left:-9999px",
                                  "margin:0 0 0 -99em",
                                  "text-indent:-9999px",
                                  "transform:scale(0)",
                                  "transform:translateX(-9999px)",
                                  "clip-path:inset(100%)",
                                  "clip:rect(0, 0, 0, 0)",
                                  "display:/**/none",
                                  "display:none;display:bogus;display:;display:block!bogus",
                                  "display:none;x:&quot;;display:block;&quot;",
                                  "display:none;x:(;display:block;)",
                                  "x:url(a&quot;);display:none",
                                  "x:&quot;/*&quot;;display:none;y:&quot;*/&quot;",
                                  "visibility:hidden;visibility:shown",
                                  "opacity:0;opacity:1x;opacity:",
                                  "opacity:1e-9",
                                  "font-size:0;font-size:12bogus;font-size:big",
                                  "color:#fff;color:bogus;color:#12;color:rgb(1,2)",
                                  "color:hsl(0,0%,100%)",
                                  "color:hsl(-240deg 100% 50% / 0)",
                                  "background:hsl(120,100%,25%);color:green",
                                  "background:rebeccapurple;color:#639",
                                  "margin-left:-9999px;left:50%",
                                  "margin-left:-600px;left:1px",
                                  "right:-9999px",
                                  "bottom:-9999px",
                                  "transform:scale(1,0)",
                                  "transform:translate(0, -9999px)",
                                  "filter:opacity(0)",
                                  "width:0;overflow-x:hidden",
                                  "height:0;padding:0 9px;overflow:hidden;overflow-x:visible"})
    EXPECT_EQ(MIME::visibleTextOfHTML("<p style='" + style + "'>no</p>yes"), (MIME::VisibleText{"yes", 2})) << style;
  for (const std::string style : {"mso-hide:all",
                                  "width:0;min-width:100%;overflow:hidden",
                                  "max-height:0;min-height:9px;overflow:hidden",
                                  "height:0;padding-bottom:56%;overflow:hidden",
                                  "height:0;padding:0 0 9px;overflow:hidden",
                                  "left:50%;margin-left:-600px",
                                  "margin:-600px 0 0 -600px;top:50%;left:50%",
                                  "display:none;display:-webkit-box",
                                  "display:none;display:initial",
                                  "font-size:0;font-size:medium",
                                  "font-size:0;font-size:calc(1px + 1em)",
                                  "opacity:0;opacity:90%",
                                  "color:#fff;color:windowtext",
                                  "color:#fff;color:crimson",
                                  "color:white;color:var(--x)",
                                  "color:#fff;background:url(x;y) no-repeat",
                                  "color:hsl(240,100%,50%)",
                                  "transform:scale(1) translate(9px, 0)",
                                  "filter:opacity(1) blur(0)",
                                  "overflow:hidden;width:calc(0px + 9em)"})
    EXPECT_EQ(MIME::visibleTextOfHTML("<p style='" + style + "'>yes</p>"), (MIME::VisibleText{"yes"})) << style;
  // What makes up letters and emoji is seen.
  for (const std::string text :
       {"👩‍👩‍👧 ☎️ 1️⃣", "ᠠ\u180B", "a\u200Fb\u202A\u061C", "a\tb\r\nc\f\v\u0085d",
        "می‌خواهم", "🏴\U000E0067\U000E0062\U000E0065\U000E006E\U000E0067\U000E007F", "葛󠄀"})
    EXPECT_EQ(MIME::visibleText(text), (MIME::VisibleText{.text = text})) << text;
  EXPECT_EQ(MIME::visibleText("co\u00ADop a\uFE0Fb"), (MIME::VisibleText{.text = "coop ab", .hidden = 1}));
  EXPECT_EQ(MIME::visibleText("a\x1B\x7F\0b"sv), (MIME::VisibleText{.text = "ab", .hidden = 3}));
  EXPECT_EQ(MIME::visibleText("é\x1B\u0080\u17B4\u206A\u2065\U0001D173\U000E0FFF"),
            (MIME::VisibleText{.text = "é", .hidden = 7}));
  for (const std::string empty : {"", " \n\u00A0", "\u200B\r\n", "\u200E\u2060"})
    EXPECT_EQ(MIME::visibleBody(empty, "<p>yes").text, "yes") << empty;
  EXPECT_EQ(MIME::visibleBody("\u200Bseen", "<p>no").text, "seen");
}

TEST(MailHtml, ReadsStyleSheets) {
  struct Case {
    std::string sheet;
    std::string html;
    std::string text;
    std::size_t hidden = 0;
  };
  const Case cases[] = {
      {"td.h{background:#036}", "<td class=h style='color:#fff'>Invoice <b>123</b>", "Invoice 123"},
      {"a.btn{background-image:url(x)}", "<a class=btn style='color:#fff'>Pay now</a><i style=color:#fff>no", "Pay now",
       2},
      {"a{color:red}", "<a class=btn style='color:#fff'>no</a>", "", 2},
      {"td.h{background:#036}", "<td class=h style='background:#fff;color:#fff'>no</td>yes", "yes", 2},
      {"body{background:#036}", "<i style='color:#fff'>yes</i>", "yes"},
      {"body{background:#fff}", "<i style='color:#fff'>no</i>", "", 2},
      {".x{display:none}",
       "<i class=x>no</i><i class='a x'>no</i><i class=xy>yes</i><i class=x style=display:inline>yes", "yesyes", 4},
      {"@import 'a'; <!-- p, #y ,.x { visibility:hidden } -->", "<i class=x>no<i id=y>no</i></i>yes", "yes", 4},
      {".x/* { */{display:none!important}", "<i class=x style='display:block'>no</i>yes", "yes", 2},
      {"p{display:none} TD.x{display:none} i#y{display:none}",
       "<P>no</P><td class=x>no</td><i id=y>no</i><i class=x>yes</i>", "yes", 6},
      {"#x{display:block}.x{display:none}p{opacity:0}p.x{opacity:1}", "<p class=x id=x>yes</p><p id=x>no", "yes", 2},
      {"div .b{background:#036} .c:hover{background:#036}",
       "<p class=b style=color:#fff>yes</p><p class=c style=color:#fff>no</p>", "yes", 2},
      {"td > a.p.q[href]{background:#036}", "<p class=q style=color:#fff>yes</p><a class=p style=color:#fff>no</a>",
       "yes", 2},
      {"@media only screen{.x{display:none}} @media print , screen{.y{display:none}} @media print{.z{display:none}}",
       "<i class=x>no</i><i class=y>no</i><i class=z>yes</i>", "yes", 4},
      {".x{content:'}';display:none}", "<i class=x>no</i>yes", "yes", 2},
      {".x{display:none}.x{display:block}", "<i class=x>yes</i>", "yes"},
      {".a .x, .x:hover, .x.y{display:none}", "<i class=x>yes</i>", "yes"},
      {"@media (max-width:9px){.x{display:none} p{}} .y{opacity:0}", "<i class=x>yes</i><i class=y>no</i>", "yes", 2},
      {"@media screen{.z{} .x{display:none}} .y{opacity:0}", "<i class=x>no</i><i class=y>no</i>yes", "yes", 4},
  };
  for (const Case& c : cases) {
    const std::string html = "<html><head><STYLE type='text/css' title='a>b'>" + c.sheet + "</STYLE ></head>" + c.html;
    EXPECT_EQ(MIME::visibleTextOfHTML(html), (MIME::VisibleText{.text = c.text, .hidden = c.hidden})) << html;
    EXPECT_EQ(MIME::visibleTextOfHTML("<!--[if mso]><style>i{display:none}.xy{display:none}</style>-->" + html),
              (MIME::VisibleText{.text = c.text, .hidden = c.hidden}))
        << "commented out: " << html;
  }
  for (const std::string attribute : {"media=print", "media='only print, speech'", "type=text/x", "type='a>b'"})
    EXPECT_EQ(MIME::visibleTextOfHTML("<style " + attribute + ">i{display:none}</style><i>yes").text, "yes");
  EXPECT_EQ(MIME::visibleTextOfHTML("<style media='print,only screen'>i{display:none}</style><i>no").text, "");
}

TEST(MailHtml, ShowsNothingThatIsNestedTooDeep) {
  const std::string html = "yes" + filledWith("<b>", 11'000 * 3) + "<i style='display:none'>no</i>no";
  EXPECT_EQ(MIME::visibleTextOfHTML(html), (MIME::VisibleText{.text = "yes", .hidden = 4}));
}

TEST(MailHtml, MakesSnippets) {
  const std::pair<std::string, std::string> cases[] = {
      {"<div>Hello&nbsp;<b>you</b></div>\n<p>there", "Hello you there"},
      {"See [our site](https://example.org/a?b=c) or <https://x.org> (www.y.org) &amp; [", "See our site or ( & ["},
      {"Cut <a href=\"https://exa", "Cut"},
      {"1 < 2 > 0", "1 < 2 > 0"},
  };
  for (const auto& [text, line] : cases) EXPECT_EQ(MIME::snippet(text, 200), line) << text;
  EXPECT_EQ(MIME::snippet("one two", 4), "one");
  EXPECT_EQ(MIME::snippet("Zoe\u0308 👩‍👩‍👧 and", 5), "Zoe\u0308 👩‍👩‍👧");
}

TEST(MailHtml, StaysLinearOnHostileTexts) {
  // Anything quadratic takes minutes here.
  for (const std::string shape : {"<",
                                  "<style",
                                  "<style>",
                                  "</style ",
                                  "<script><style>",
                                  "<!--",
                                  "<!-",
                                  "<br ",
                                  "</p ",
                                  "<a",
                                  "<a b=\"",
                                  "<a b=\">\" ",
                                  "<a b='>' c=\"",
                                  "&#",
                                  "&amp",
                                  "&#x1",
                                  "[",
                                  "[]",
                                  "[a](http:",
                                  "(\t",
                                  "www.",
                                  "http://",
                                  "<p>",
                                  "<p><td>",
                                  "</p>",
                                  "<div style='",
                                  "\u200B",
                                  "🏴",
                                  "<b style=color:#fff>",
                                  "<!-- --!>",
                                  "<template>",
                                  "<style>@media{",
                                  "<style>.a{color:red}",
                                  "<style>@media screen{</style>",
                                  "<b style=a/*",
                                  "<b style='x:(\"url(",
                                  "<b style=background:a,b>",
                                  "<style>x{(url(\"",
                                  "<style>a.b .c{background:red}",
                                  "<b><div></b>",
                                  "<table><td><b></table>",
                                  "<details><summary>",
                                  "<table><div></p></td></div>",
                                  "<a <b",
                                  "\n \n",
                                  "1 ",
                                  "1.",
                                  "12 123 "}) {
    const std::string text = filledWith(shape, 500'000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_LE(MIME::plainText(text).size(), text.size()) << shape;
    EXPECT_LE(MIME::visibleTextOfHTML(text).text.size(), text.size()) << shape;
    EXPECT_LE(MIME::snippet(text, 200).size(), 4000u) << shape;
    MailCode::find("", text);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << shape;
  }
}

TEST(MailCode, FindsWhatItsPatternDoes) {
  constexpr const char* pattern = R"((?<![\d.,/:-])\d{4,8}(?![\d.,/:]*\d))";
  const auto pieces = text::split("1~23~456~7890~12345678~123456789~.~,~/~:~-~;~a~\n~é~\u0663\u0664", '~');
  std::mt19937 random(4);
  for (int i = 0; i < 4000; ++i) {
    const std::string text = test::randomText(random, pieces, 12);
    ASSERT_EQ(MailCode::find("", text), test::firstMatch(text, pattern)) << text;
  }
}

TEST(MailCode, FindsCodes) {
  struct Case {
    const char* subject;
    const char* text;
    std::optional<std::string> code;
  };
  const Case cases[] = {
      {"", "Your code is 482913.", "482913"},
      {"Code 1111", "2222", "1111"},
      {"Hello", "3.14159 or 12345678901", std::nullopt},
      {"Invoice 2024-05-01", "", "2024"},
      {"", "Use 482 913 to sign in", "482913"},
      {"", "Use 482\u00A0913.", "482913"},
      {"", "4 8 2 9 1 3", "482913"},
      {"", "Call 123 456 789, or 1 2 3 4 5 6 7 8 9", std::nullopt},
      {"", "in 2 days: 5511", "5511"},
  };
  for (const Case& c : cases) EXPECT_EQ(MailCode::find(c.subject, c.text), c.code) << c.subject << c.text;
}

}  // namespace
}  // namespace vesk
