#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vesk {

// How the bytes of a part are written (RFC 2045, 6).
enum class TransferEncoding { none, base64, quotedPrintable };

// By the value of a "Content-Transfer-Encoding" field, in any case; `none` for every other one.
TransferEncoding transferEncodingNamed(std::string_view name);

std::string decoded(std::string_view body, TransferEncoding encoding);

// decoded(body, encoding).size(), without decoding.
std::size_t decodedSize(std::string_view body, TransferEncoding encoding);

// RFC 2045, 6.7, and with `underscoreIsSpace` the form of encoded words (RFC 2047, 4.2). What follows a "=" that is
// neither a byte's beginning nor at the end of a line stays as it is.
std::string quotedPrintable(std::string_view text, bool underscoreIsSpace);

// Bytes written as "%" and two digits, in the extended values of parameters (RFC 2231, 4).
std::string percentDecoded(std::string_view text);

}  // namespace vesk
