// What MIME::parse does, by GMime, the library of its kind that is known for its speed:
//
//   mime-floor FOLDER    every message of a folder: headers, addresses, date, bodies in UTF-8, and the names, types and
//                        sizes of the attachments
//
// Prints what vesk-bench mime prints. No other program of ours has anything to do with that library.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <gmime/gmime.h>
#include <memory>
#include <string_view>

#include <fmt/format.h>

#include "bench/MailFiles.h"

namespace vesk::bench {

namespace {

struct Release {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using Held = std::unique_ptr<Object, Release>;

struct Free {
  void operator()(char* text) const { g_free(text); }
};

std::size_t addressesIn(InternetAddressList* list) {
  std::size_t count = 0;
  for (int i = 0; list && i < internet_address_list_length(list); ++i) {
    InternetAddress* address = internet_address_list_get_address(list, i);
    const char* name = internet_address_get_name(address);
    const bool isMailbox = INTERNET_ADDRESS_IS_MAILBOX(address);
    const char* mailbox = isMailbox ? internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)) : nullptr;
    count += name || mailbox;
  }
  return count;
}

std::size_t sizeWithoutReturns(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count(text.begin(), text.end(), '\r'));
}

void readPart(GMimePart* part, MailTotals& totals) {
  GMimeObject* object = GMIME_OBJECT(part);
  GMimeContentType* type = g_mime_object_get_content_type(object);
  const char* disposition = g_mime_object_get_disposition(object);
  const bool isText =
      g_mime_content_type_is_type(type, "text", "plain") || g_mime_content_type_is_type(type, "text", "html");
  if (isText && (!disposition || std::strcmp(disposition, "attachment") != 0)) {
    const std::unique_ptr<char, Free> text(g_mime_text_part_get_text(GMIME_TEXT_PART(part)));
    if (text) totals.texts += sizeWithoutReturns(text.get());
    return;
  }
  const std::unique_ptr<char, Free> mimeType(g_mime_content_type_get_mime_type(type));
  const char* name = g_mime_part_get_filename(part);
  totals.attachments += mimeType || name;
  // There is no cheaper way to the size.
  const Held<GMimeStream> nowhere(g_mime_stream_null_new());
  const ssize_t size = g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(part), nowhere.get());
  totals.attachmentBytes += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
}

void readObject(GMimeObject*, GMimeObject* object, void* totals) {
  if (GMIME_IS_PART(object)) readPart(GMIME_PART(object), *static_cast<MailTotals*>(totals));
}

void parse(std::string_view text, MailTotals& totals) {
  // The array borrows the text, and gives it back before it is let go.
  GByteArray* bytes = g_byte_array_new();
  const guint8* const none = bytes->data;
  bytes->data = reinterpret_cast<guint8*>(const_cast<char*>(text.data()));
  bytes->len = static_cast<guint>(text.size());
  {
    const Held<GMimeStream> stream(g_mime_stream_mem_new_with_byte_array(bytes));
    g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(stream.get()), false);
    const Held<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    const Held<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
    const char* subject = g_mime_message_get_subject(message.get());
    const char* id = g_mime_message_get_message_id(message.get());
    const char* reply = g_mime_object_get_header(GMIME_OBJECT(message.get()), "In-Reply-To");
    const char* references = g_mime_object_get_header(GMIME_OBJECT(message.get()), "References");
    if (!subject && !id && !reply && !references) fmt::print(stderr, "mime-floor: a message says nothing\n");
    for (InternetAddressList* list : {g_mime_message_get_from(message.get()), g_mime_message_get_to(message.get()),
                                      g_mime_message_get_cc(message.get()), g_mime_message_get_reply_to(message.get())})
      totals.addresses += addressesIn(list);
    totals.dates += g_mime_message_get_date(message.get()) != nullptr;
    g_mime_message_foreach(message.get(), readObject, &totals);
  }
  bytes->data = const_cast<guint8*>(none);
  bytes->len = 0;
  g_byte_array_free(bytes, true);
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  if (argc != 2) {
    fmt::print(stderr, "Usage: mime-floor FOLDER\n");
    return 2;
  }
  try {
    g_mime_init();
    vesk::bench::measureMails(argv[1], vesk::bench::parse);
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "mime-floor: {}\n", error.what());
    return 1;
  }
}
