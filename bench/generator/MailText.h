#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vesk::bench {

// The bytes of a message as a server gives it, made from a number: nine charsets, quoted-printable, base64 and neither,
// HTML beside the text, attachments. The median of many is some 10 KB, their mean some 31 KB. The same number gives the
// same bytes.
std::string mailText(std::uint64_t seed);

// A message of about that size: a tenth is text, another one HTML, the rest attachments.
std::string largeMailText(std::size_t size);

}  // namespace vesk::bench
