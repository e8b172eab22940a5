// Vesk's parser beside GMime's on well-formed mails.

#include <glib.h>
#include <gmime/gmime.h>
#include <memory>

#include "bench/generator/MailText.h"
#include "core/mail/MIME.h"
#include "tests/mail/MailTexts.h"

namespace vesk {
namespace {

struct Release {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using Held = std::unique_ptr<Object, Release>;

std::string orEmpty(const char* text) { return text ? text : ""; }

std::vector<MailAddress> addresses(InternetAddressList* list) {
  std::vector<MailAddress> all;
  for (int i = 0; i < internet_address_list_length(list); ++i) {
    InternetAddress* address = internet_address_list_get_address(list, i);
    all.push_back({orEmpty(internet_address_get_name(address)),
                   orEmpty(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)))});
  }
  return all;
}

struct Parts {
  ParsedMail mail = {};
  std::vector<std::string> bytes = {};  // of the attachments
};

void addPart(GMimeObject*, GMimeObject* object, void* parts) {
  if (!GMIME_IS_PART(object)) return;
  auto& [mail, bytes] = *static_cast<Parts*>(parts);
  char* const type = g_mime_content_type_get_mime_type(g_mime_object_get_content_type(object));
  if (GMIME_IS_TEXT_PART(object)) {
    char* const text = g_mime_text_part_get_text(GMIME_TEXT_PART(object));
    std::string& body = orEmpty(type) == "text/html" ? mail.html : mail.text;
    body = orEmpty(text);
    std::erase(body, '\r');  // Vesk has "\n" for line breaks
    g_free(text);
  } else {
    const Held<GMimeStream> stream(g_mime_stream_mem_new());
    g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(GMIME_PART(object)), stream.get());
    const GByteArray* array = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    bytes.emplace_back(reinterpret_cast<const char*>(array->data), array->len);
    mail.attachments.push_back({orEmpty(g_mime_part_get_filename(GMIME_PART(object))), orEmpty(type), array->len});
  }
  g_free(type);
}

// References are left out: GMime gives them as a list.
Parts parseWithGMime(const std::string& text) {
  const Held<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  const Held<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  const Held<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  Parts parts;
  ParsedMail& mail = parts.mail;
  mail.subject = orEmpty(g_mime_message_get_subject(message.get()));
  mail.from = addresses(g_mime_message_get_from(message.get())).at(0);
  mail.to = addresses(g_mime_message_get_to(message.get()));
  mail.cc = addresses(g_mime_message_get_cc(message.get()));
  mail.replyTo = addresses(g_mime_message_get_reply_to(message.get()));
  mail.date = Timestamp(std::chrono::seconds(g_date_time_to_unix(g_mime_message_get_date(message.get()))));
  mail.messageID = "<" + orEmpty(g_mime_message_get_message_id(message.get())) + ">";
  mail.inReplyTo = orEmpty(g_mime_object_get_header(GMIME_OBJECT(message.get()), "In-Reply-To"));
  g_mime_message_foreach(message.get(), addPart, &parts);
  return parts;
}

// GMime reads nothing behind the padding of an encoded word that another follows.
bool hasPaddedWords(const std::string& message) { return message.find("=?=\r\n =?") != std::string::npos; }

TEST(MIME, AgreesWithGMimeOnOrdinaryMails) {
  g_mime_init();
  for (std::uint64_t seed = 1'000'000; seed < 1'001'000; ++seed) {
    SCOPED_TRACE(seed);
    const std::string message = bench::mailText(seed);
    if (message.size() > 200'000) continue;  // nothing else than in the others, only more of it
    ParsedMail mail = MIME::parse(message);
    mail.references.clear();
    const Parts expected = parseWithGMime(message);
    ASSERT_EQ(mail.text, expected.mail.text);
    ASSERT_EQ(mail.html, expected.mail.html);
    if (!hasPaddedWords(message)) {
      ASSERT_EQ(mail.subject, expected.mail.subject);
      ASSERT_EQ(mail, expected.mail);
    }
    for (std::size_t i = 0; i < mail.attachments.size(); ++i)
      ASSERT_EQ(MIME::attachment(i, message), expected.bytes.at(i));
  }
}

}  // namespace
}  // namespace vesk
