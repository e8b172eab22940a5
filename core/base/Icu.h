#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

#include <fmt/format.h>
#include <unicode/normalizer2.h>
#include <unicode/stringpiece.h>
#include <unicode/utypes.h>

#include "core/base/Error.h"

// What our calls of ICU have in common. For the sources of this folder; everyone else uses Text.h and Unicode.h.
namespace vesk::icuCalls {

// ICU's functions fail on what no caller can mend: memory that ran out, or data that isn't there.
inline void require(UErrorCode status) {
  if (U_FAILURE(status)) throw Error(fmt::format("The text could not be processed ({}).", u_errorName(status)));
}

// ICU counts in 32 bits.
inline std::int32_t length(std::string_view text) {
  if (text.size() > std::numeric_limits<std::int32_t>::max()) throw Error("The text is too long to be processed.");
  return static_cast<std::int32_t>(text.size());
}

inline icu::StringPiece piece(std::string_view text) { return {text.data(), length(text)}; }

// Lives as long as the program, and may be used by several threads at once.
inline const icu::Normalizer2& nfc() {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
  require(status);
  return *normalizer;
}

}  // namespace vesk::icuCalls
